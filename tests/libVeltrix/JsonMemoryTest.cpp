// What becomes of the JSON form when memory runs short at any point of the way.
#include <Veltrix/DataTypes.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "tests/libVeltrix/BusFixture.h"
#include "tests/support/ShortMemory.h"

namespace {

const std::string kJson = R"({"tag":3,"metrics":{"ArcDuration":{"unit":"s","value":2.5}}})";
constexpr int kMoreThanEnough = 1000;

TEST(JsonMemory, WritingGivesAllOrNothing) {
    WeldTriggerEnd end;
    ASSERT_TRUE(end.FromJson(kJson));
    int allowed = 0;
    std::string written;
    for (; written.empty() && allowed < kMoreThanEnough; ++allowed) {
        const ShortMemory memory(allowed);
        written = end.ToJson();
    }
    EXPECT_EQ(written, kJson);
    EXPECT_GT(allowed, 10);
}

TEST(JsonMemory, ReadingGivesAllOrNothing) {
    int allowed = 0;
    for (bool isRead = false; !isRead && allowed < kMoreThanEnough; ++allowed) {
        const ShortMemory memory(allowed);
        WeldTriggerEnd end;
        const JsonReport report = end.ReadJson(kJson);
        isRead = report.isComplete;
        EXPECT_EQ(report.problem.empty(), isRead) << allowed;
        EXPECT_EQ(end.get_tag(), isRead ? 3 : 0) << allowed;
    }
    EXPECT_GT(allowed, 10);
    EXPECT_LT(allowed, kMoreThanEnough);
}

class PublishingWithoutMemory : public BusFixture {};

TEST_F(PublishingWithoutMemory, IsRefusedInsteadOfSendingAnEmptyMessage) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    PowerDownStatus status;
    status.set_nameOfCaller("me");
    {
        const ShortMemory memory(0);
        EXPECT_EQ(client.Publish("power_down_status", status), -ENOMEM);
    }
    EXPECT_EQ(client.Publish("power_down_status", status), 0);
}

}  // namespace
