// The last steps of the start, and their order.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/ServiceStart.h"

#include <filesystem>
#include <optional>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char* kSettingsFile = "Veltrix/settings.json";
constexpr const char* kIdentityFails =
    "An error occurred while publishing HAL identity data. Transport endpoint is not connected";
constexpr const char* kLastSubscriptionFails = "An error occurred while subscribing to req_delayed_device_settings.";
constexpr const char* kReadinessFails = "Could not publish process_ready. Transport endpoint is not connected";

// Everything that is to go on the bus fails, and is logged at the very moment.
class ServiceStartOrderTest : public CarrierTest {
protected:
    // Lets `look` see each line while it is being logged, on this thread. Returns all of them.
    std::vector<std::string> Start(const std::function<void(const std::string& line)>& look) {
        std::vector<std::string> lines;
        const ConsoleCapture errors(STDERR_FILENO);
        const LogWatch watch([&](const std::string& line) {
            lines.push_back(line);
            look(line);
        });
        StartService(mClient, *mCarrier, mInfo, mStatus);
        return lines;
    }

    HALInfo mInfo;
    HALStatus mStatus;
};

TEST_F(ServiceStartOrderTest, TheSettingsAreReadBeforeAnythingGoesOnTheBus) {
    mFolder.Write(kSettingsFile, R"({"Core":1})");
    std::optional<bool> isCoreEnabled;
    const auto lines = Start([&](const std::string& line) {
        if (line == kIdentityFails) {
            isCoreEnabled = gCoreEnabled;
        }
    });
    ASSERT_THAT(lines, Not(IsEmpty()));
    EXPECT_EQ(lines.front(), kIdentityFails);
    EXPECT_EQ(isCoreEnabled, true);
}

TEST_F(ServiceStartOrderTest, ASettingsFileThatIsMissingIsMadeFirst) {
    std::filesystem::create_directory(mFolder.Path("Veltrix"));
    gCoreEnabled = true;
    const auto lines = Start([](const std::string&) {});
    ASSERT_THAT(lines, Not(IsEmpty()));
    EXPECT_EQ(lines.front(), "file does not exist.  Creating file /Veltrix/settings.json");
    EXPECT_THAT(lines, Contains(kIdentityFails));
    EXPECT_TRUE(mFolder.Exists(kSettingsFile));
    EXPECT_FALSE(gCoreEnabled);
}

TEST_F(ServiceStartOrderTest, WithoutAUsableSettingTheClockIsNotSetAndTheStartGoesOn) {
    for (const char* const settings : {"{}", R"({"Core":"1"})", R"({"Core":true})", "no JSON"}) {
        mFolder.Write(kSettingsFile, settings);
        gCoreEnabled = true;
        const auto lines = Start([](const std::string&) {});
        EXPECT_FALSE(gCoreEnabled) << settings;
        ASSERT_THAT(lines, Not(IsEmpty())) << settings;
        EXPECT_EQ(lines.back(), kReadinessFails) << settings;
    }
}

TEST_F(ServiceStartOrderTest, TheReadinessIsAnnouncedBehindTheLastSubscription) {
    mFolder.Write(kSettingsFile, R"({"Core":0})");
    const auto lines = Start([](const std::string&) {});
    ASSERT_THAT(lines, SizeIs(17));  // the identity, fifteen subscriptions, the readiness
    EXPECT_EQ(lines[15], kLastSubscriptionFails);
    EXPECT_EQ(lines[16], kReadinessFails);
}

TEST_F(ServiceStartOrderTest, TheLastWeldCountsAsEndedJustBeforeTheReadinessIsAnnounced) {
    std::optional<DateTime> atLastSubscription;
    std::optional<DateTime> atReadiness;
    DateTime before;
    Start([&](const std::string& line) {
        if (line == kLastSubscriptionFails) {
            atLastSubscription = HalGlobals::gEndTimeOfLastWeld;
            before = DateTime::Now(0);
        } else if (line == kReadinessFails) {
            atReadiness = HalGlobals::gEndTimeOfLastWeld;
        }
    });
    EXPECT_EQ(atLastSubscription, DateTime());
    ASSERT_TRUE(atReadiness.has_value());
    EXPECT_GE(*atReadiness, before);
    EXPECT_LE(*atReadiness, DateTime::Now(0));
}

TEST_F(ServiceStartOrderTest, AStopDuringTheLastSubscriptionLeavesOutTheReadiness) {
    const auto lines = Start([](const std::string& line) {
        if (line == kLastSubscriptionFails) {
            gKeepRunning = false;
        }
    });
    EXPECT_FALSE(gKeepRunning);
    ASSERT_THAT(lines, Not(IsEmpty()));
    EXPECT_EQ(lines.back(), kLastSubscriptionFails);
}

class ServiceStartTest : public CarrierOnBusTest {
protected:
    // What is subscribed to here holds the identity below.
    ~ServiceStartTest() override { mClient.Disconnect(); }

    void Start(const std::string& settings) {
        mFolder.Write(kSettingsFile, settings);
        StartService(mClient, *mCarrier, mInfo, mStatus);
        EXPECT_THAT(mLog.Take(), IsEmpty());
    }

    HALInfo mInfo;
    HALStatus mStatus;
};

TEST_F(ServiceStartTest, TheReadinessIsAnnouncedOnceWithTheIndexOfTheProcess) {
    Start(R"({"Core":0})");
    EXPECT_THAT(Published("process_ready"), ElementsAre(R"({"index":512})"));
    EXPECT_THAT(mProbe.Payloads("hal_info"), SizeIs(1));
    EXPECT_THAT(mProbe.Payloads("hal_status"), IsEmpty());
}

TEST_F(ServiceStartTest, WhileStoppingTheReadinessIsNotAnnounced) {
    gKeepRunning = false;
    Start(R"({"Core":0})");
    EXPECT_THAT(Published("process_ready"), IsEmpty());
    EXPECT_THAT(mProbe.Payloads("hal_info"), SizeIs(1));
}

TEST_F(ServiceStartTest, TheSettingCoreDecidesWhetherTheClockIsSet) {
    Start(R"({"Core":1})");
    EXPECT_TRUE(gCoreEnabled);
    Start(R"({"Core":0})");
    EXPECT_FALSE(gCoreEnabled);
}

}  // namespace
