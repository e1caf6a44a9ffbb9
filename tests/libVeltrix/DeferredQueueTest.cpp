#include "libVeltrix/src/DeferredQueue.h"

#include <Veltrix/DataTypes.h>

#include <thread>

#include "tests/libVeltrix/LogFixture.h"
#include "tests/support/WaitUntil.h"

namespace {

using namespace std::chrono_literals;
using VeltrixDetail::Delivery;
using VeltrixDetail::Subscription;

constexpr std::size_t kBound = 10'000;

class DeferredQueue : public LogFixture {
protected:
    void Push(const std::string& topic, std::uint32_t number, std::size_t bytes = 10) {
        auto subscription = std::make_shared<Subscription>();
        subscription->topic = topic;
        auto message = std::make_unique<ProcessReady>();
        message->set_index(number);
        mQueue.Push(Delivery{std::move(subscription), std::move(message), bytes});
    }

    // "topic number" of the oldest that is not younger than that; empty for none.
    std::string Pop(std::uint64_t youngest = ~std::uint64_t{0}) {
        const auto delivery = mQueue.Pop(youngest);
        if (!delivery) {
            return "";
        }
        const auto& message = dynamic_cast<const ProcessReady&>(*delivery->message);
        return delivery->subscription->topic + " " + std::to_string(message.get_index());
    }

    VeltrixDetail::DeferredQueue mQueue;
};

TEST_F(DeferredQueue, KeepsTheOrderAcrossTopics) {
    Push("b", 1);
    Push("a", 2);
    Push("b", 3);
    Push("c", 4);
    EXPECT_EQ(Pop(), "b 1");
    EXPECT_EQ(Pop(), "a 2");
    EXPECT_EQ(Pop(), "b 3");
    EXPECT_EQ(Pop(), "c 4");
    EXPECT_EQ(Pop(), "");
}

TEST_F(DeferredQueue, GivesNothingYoungerThanAsked) {
    Push("a", 1);
    Push("b", 2);
    const std::uint64_t youngest = mQueue.WaitForFirst(0ms);
    Push("a", 3);
    EXPECT_EQ(Pop(youngest), "a 1");
    EXPECT_EQ(Pop(youngest), "b 2");
    EXPECT_EQ(Pop(youngest), "");
    EXPECT_EQ(Pop(mQueue.WaitForFirst(0ms)), "a 3");
    EXPECT_EQ(mQueue.WaitForFirst(0ms), 0U);
}

TEST_F(DeferredQueue, WaitsForAFirstMessage) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(mQueue.WaitForFirst(30ms), 0U);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    std::thread pusher([this] { Push("a", 1); });
    EXPECT_NE(mQueue.WaitForFirst(10s), 0U);
    pusher.join();
    EXPECT_EQ(mQueue.WaitForFirst(-1ms), 1U);
}

TEST_F(DeferredQueue, OfOneTopicTheOldestAreDropped) {
    for (std::uint32_t i = 0; i < kBound + 5; ++i) {
        Push("a", i);
    }
    EXPECT_EQ(Pop(), "a 5");
    std::size_t left = 0;
    while (!Pop().empty()) {
        ++left;
    }
    EXPECT_EQ(left, kBound - 1);
}

TEST_F(DeferredQueue, AFloodOfOneTopicCostsNoOtherTopicAnything) {
    Push("quiet", 1);
    Push("settings", 2);
    for (std::uint32_t i = 0; i < 3 * kBound; ++i) {
        Push("flood", i);
    }
    Push("quiet", 3);
    EXPECT_EQ(Pop(), "quiet 1");
    EXPECT_EQ(Pop(), "settings 2");
    std::string last;
    std::string next;
    std::size_t left = 0;
    while (!(next = Pop()).empty()) {
        last = next;
        ++left;
    }
    EXPECT_EQ(last, "quiet 3");
    EXPECT_EQ(left, kBound - 2);
}

TEST_F(DeferredQueue, SaysHowManyOfWhichTopicWereDroppedAndNotTooOften) {
    for (std::uint32_t i = 0; i < kBound + 100; ++i) {
        Push("flood", i);
    }
    EXPECT_EQ(CountInLog("waiting messages on \"flood\" dropped"), 1U);
    EXPECT_EQ(CountInLog("[warning] 1 waiting messages on \"flood\" dropped: they came faster than they were handled"),
              1U);
    EXPECT_TRUE(WaitUntil([this] {
        mQueue.ReportDropped();
        return CountInLog("dropped") == 2;
    }));
    EXPECT_EQ(CountInLog("[warning] 99 waiting messages on \"flood\" dropped"), 1U);
    mQueue.ReportDropped();
    EXPECT_EQ(CountInLog("dropped"), 2U);
}

TEST_F(DeferredQueue, IsBoundedInBytesAndTheBulkiestTopicPays) {
    constexpr std::size_t kMebibyte = 1024 * 1024;
    for (std::uint32_t i = 0; i < 1000; ++i) {
        Push("small", i);
    }
    for (std::uint32_t i = 0; i < 100; ++i) {
        Push("large", i, kMebibyte);
    }
    std::size_t small = 0;
    std::size_t large = 0;
    std::string next;
    while (!(next = Pop()).empty()) {
        ++(next.starts_with("small") ? small : large);
    }
    EXPECT_EQ(small, 1000U);
    EXPECT_EQ(large, 63U);  // with the small ones, the 64th would be past 64 MiB
}

TEST_F(DeferredQueue, ClosedItIsEmptyAndStaysSo) {
    Push("a", 1);
    std::thread closer([this] { mQueue.Close(); });
    closer.join();
    EXPECT_EQ(Pop(), "");
    Push("a", 2);
    EXPECT_EQ(Pop(), "");
    EXPECT_EQ(mQueue.WaitForFirst(10s), 0U);
}

}  // namespace
