// Everything the process listens to on the bus.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/Subscriptions.h"
#include "tests/libVeltrix/FakeBroker.h"
#include "tests/support/WaitUntil.h"

#include <future>
#include <sstream>
#include <stdexcept>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr const char* kReason = "Transport endpoint is not connected";

// In the order of the subscriptions: how a failure is logged behind "An error occurred while ", and whether it is
// printed too, then ending in a full stop.
struct Failure {
    const char* what;
    const char* logged;
    bool isPrinted;
};

const Failure kFailures[] = {
    {"publishing HAL identity data", "publishing HAL identity data. ", true},
    {"subscribing to HalIdentityRequest", "subscribing to HalIdentityRequest. ", true},
    {"", "subscribing to power_down_status.", false},
    {"subscribing to WeldTriggerStart", "subscribing to WeldTriggerStart. ", true},
    {"subscribing to WeldTraceDataPoint", "subscribing to WeldTraceDataPoint. ", true},
    {"subscribing to WeldTriggerEnd", "subscribing to WeldTriggerEnd ", true},
    {"subscribing to system_led_Status", "subscribing to system_led_Status. ", true},
    {"subscribing to LED_SETTINGS_TYPE", "subscribing to LED_SETTINGS_TYPE. ", true},
    {"subscribing to TESSIMOR_SETTINGS_TYPE", "subscribing to TESSIMOR_SETTINGS_TYPE. ", true},
    {"subscribing to carrier_file", "subscribing to carrier_file. ", true},
    {"subscribing to firmware_update_end", "subscribing to firmware_update_end. ", true},
    {"subscribing to admin_access", "subscribing to admin_access. ", true},
    {"subscribing to incoming_commands", "subscribing to incoming_commands. ", true},
    {"subscribing to time_sync", "subscribing to time_sync. ", true},
    {"", "subscribing to system_health.", false},
    {"", "subscribing to req_delayed_device_settings.", false},
};

class SubscriptionFailureTest : public CarrierTest {
protected:
    std::string ErrorsOfActivation() {
        ConsoleCapture errors(STDERR_FILENO);
        activateSubscriptions(mClient, *mCarrier, mInfo, mStatus);
        return errors.Take();
    }

    HALInfo mInfo;
    HALStatus mStatus;
};

TEST_F(SubscriptionFailureTest, EachIsLoggedInItsWordsAndNoneStopsTheNext) {
    ErrorsOfActivation();
    std::vector<LogLine> expected;
    for (const Failure& failure : kFailures) {
        expected.push_back(
            Error(std::string("An error occurred while ") + failure.logged + (failure.isPrinted ? kReason : "")));
    }
    EXPECT_THAT(mLog.Take(), ElementsAreArray(expected));
}

TEST_F(SubscriptionFailureTest, MostArePrintedOnStandardErrorToo) {
    VeltrixErrorLog::gVerbosity = -1;
    const auto lines = Lines(ErrorsOfActivation());
    std::size_t at = 0;
    for (const Failure& failure : kFailures) {
        if (failure.isPrinted) {
            ASSERT_LT(at + 1, lines.size());
            EXPECT_THAT(lines[at], MatchesRegex(std::string("\\[ERROR \\(-107\\)\\] in [A-Za-z]+\\.cpp@ line [0-9]+: "
                                                            "An error occurred while ") +
                                                failure.what + "\\."));
            EXPECT_EQ(lines[at + 1], kReason);
            at += 2;
        }
    }
    EXPECT_EQ(at, lines.size());
}

TEST_F(SubscriptionFailureTest, NothingIsWrittenOnStandardOutput) {
    EXPECT_THAT(Printed([&] { ErrorsOfActivation(); }), IsEmpty());
}

TEST_F(SubscriptionFailureTest, WhileStoppingNoSubscriptionIsBegun) {
    gKeepRunning = false;
    ErrorsOfActivation();
    EXPECT_THAT(mLog.Take(), SizeIs(1));
}

// A broker that grants everything but one topic.
TEST_F(SubscriptionFailureTest, OneThatIsRefusedDoesNotStopTheNext) {
    FakeBroker broker;
    std::vector<std::string> topics;
    auto serving = std::async(std::launch::async, [&] {
        broker.Accept();
        broker.ReadPacket();
        broker.Write(std::string("\x20\x02\x00\x00", 4));
        while (topics.size() < 15) {
            const std::string packet = broker.ReadPacket();
            const std::size_t length = static_cast<unsigned char>(packet[packet[0] == '\x82' ? 5 : 3]);
            if (packet[0] == '\x82') {
                topics.push_back(packet.substr(6, length));
                broker.Write(std::string("\x90\x03", 2) + packet.substr(2, 2) +
                             (topics.back() == "led_settings" ? "\x80" : "\x01"));
            } else {  // the identity; confirmed by its number
                broker.Write(std::string("\x40\x02", 2) + packet.substr(4 + length, 2));
            }
        }
    });
    ASSERT_EQ(mClient.Connect(broker.Socket()), 0);
    const auto printed = Lines(ErrorsOfActivation());
    serving.get();
    EXPECT_EQ(topics.back(), "req_delayed_device_settings");
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("An error occurred while subscribing to LED_SETTINGS_TYPE. Permission denied")));
    ASSERT_THAT(printed, SizeIs(2));
    EXPECT_THAT(printed[0],
                MatchesRegex("\\[ERROR \\(-13\\)\\] in [A-Za-z]+\\.cpp@ line [0-9]+: An error occurred while "
                             "subscribing to LED_SETTINGS_TYPE\\."));
    EXPECT_EQ(printed[1], "Permission denied");
    broker.HangUp();
    mClient.Disconnect();
}

class SubscriptionsTest : public CarrierOnBusTest {
protected:
    SubscriptionsTest() {
        mInfo.set_serialNumber("S1");
        HalGlobals::g_TessimorUpdateTimer = 1;
    }

    void Activate() {
        activateSubscriptions(mClient, *mCarrier, mInfo, mStatus);
        EXPECT_THAT(mLog.Take(), IsEmpty());
    }

    // Everything that was put on the bus before has reached the process: it has answered a request behind it.
    void AwaitArrival() {
        const std::size_t answers = mProbe.Payloads("hal_info").size();
        mProbe.Publish("req_hal_info", "{}");
        ASSERT_TRUE(mProbe.WaitFor("hal_info", answers + 1));
    }

    void ExpectHandled(const std::string& topic, const std::string& payload) {
        mProbe.Publish(topic, payload);
        EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(10'000), 1) << topic;
    }

    HALInfo mInfo;
    HALStatus mStatus;
};

TEST_F(SubscriptionsTest, AreMadeInTheirOrder) {
    const std::string before = mBroker.Log();
    Activate();
    EXPECT_TRUE(WaitUntil([&] { return mBroker.Log().find("req_delayed_device_settings") != std::string::npos; }));
    // The broker notes each subscription in a line of its own, indented.
    std::istringstream log(mBroker.Log().substr(before.size()));
    std::vector<std::string> topics;
    for (std::string line; std::getline(log, line);) {
        if (const auto tab = line.find('\t'); tab != std::string::npos) {
            topics.push_back(line.substr(tab + 1));
        }
    }
    EXPECT_THAT(topics,
                ElementsAre("req_hal_info (QoS 1)", "power_down_status (QoS 1)", "weld_trigger_start (QoS 1)",
                            "weld_trace_data (QoS 1)", "weld_trigger_end (QoS 1)", "system_led_status (QoS 1)",
                            "led_settings (QoS 1)", "tessimor_settings (QoS 1)", "carrier_file (QoS 1)",
                            "firmware_update_end (QoS 1)", "admin_access (QoS 1)", "incoming_commands (QoS 1)",
                            "time_sync (QoS 1)", "system_health (QoS 1)", "req_delayed_device_settings (QoS 1)"));
}

TEST_F(SubscriptionsTest, TheIdentityIsPublishedAtOnceAndOnRequest) {
    Activate();
    ASSERT_TRUE(mProbe.WaitFor("hal_info", 1));
    mInfo.set_serialNumber("S2");
    // Answered by the library's thread: nobody runs deferred handlers here.
    AwaitArrival();
    EXPECT_THAT(mProbe.Payloads("hal_info"),
                ElementsAre(R"({"serialNumber":"S1","machineType":"","revisionNumber":0})",
                            R"({"serialNumber":"S2","machineType":"","revisionNumber":0})"));
}

TEST_F(SubscriptionsTest, EverythingElseWaitsForTheMainThread) {
    Activate();
    const char* const kTopics[] = {"weld_trigger_start",
                                   "weld_trace_data",
                                   "weld_trigger_end",
                                   "system_led_status",
                                   "led_settings",
                                   "tessimor_settings",
                                   "carrier_file",
                                   "firmware_update_end",
                                   "admin_access",
                                   "incoming_commands",
                                   "time_sync",
                                   "system_health",
                                   "req_delayed_device_settings",
                                   "power_down_status"};
    for (const char* const topic : kTopics) {
        mProbe.Publish(topic, "{}");
    }
    AwaitArrival();
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(mProbe.Payloads("delayed_device_settings"), IsEmpty());
    EXPECT_TRUE(gKeepRunning);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 14);
    EXPECT_FALSE(gKeepRunning);
}

TEST_F(SubscriptionsTest, EachTopicReachesItsHandlerWithItsContext) {
    Activate();
    VeltrixErrorLog::gVerbosity = 2;
    ExpectHandled("weld_trigger_start", R"({"tag": 7, "timestamp": 0})");
    EXPECT_TRUE(HalGlobals::gIsWeldInProgress);
    EXPECT_THAT(Printed([&] { ExpectHandled("weld_trace_data", R"({"sequence": 5, "data": {"amps": 1}})"); }),
                ElementsAre("Sample: 5, Voltage: 0, Current: 1, WFS: 0"));
    ExpectHandled("weld_trigger_end", R"({"tag": 7, "metrics": {}})");
    EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());

    const std::vector<std::pair<const char*, std::string>> kToCarrier = {
        {"system_led_status", "1A"}, {"led_settings", "30"},
        {"tessimor_settings", "31"}, {"firmware_update_end", "2A"},
        {"admin_access", "25"},      {"incoming_commands", "27"},
        {"time_sync", "0E"}};
    for (const auto& [topic, command] : kToCarrier) {
        SCOPED_TRACE(topic);
        ExpectHandled(topic, R"({"ethernetIsUp": true, "currentSensorTypeReceived": true,
                                 "expiryDate": "2025-12-31T23:59:58.999Z", "receivedTimeFromCloud": true,
                                 "serverTimestamp": "2025-03-04T05:06:07Z"})");
        const auto frames = mLine.TakeFrames();
        ASSERT_THAT(frames, SizeIs(1));
        EXPECT_EQ(frames[0].substr(3, 2), command);
        if (command == "25") {
            // The announcement of the restart comes back to the process, which would stop on it.
            EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(10'000), 1);
            gKeepRunning = true;
        }
    }
    mLog.Take();
    ExpectHandled("carrier_file", R"({"fileSize": 5, "fileName": "VeltrixApp.hex", "fileFullPath": "/no/such/file"})");
    EXPECT_THAT(mLog.Take(), Contains(Error("Could not open firmware file. Aborting update")));
    ExpectHandled("system_health", R"({"processName": "Tessimor", "code": 4096})");
    EXPECT_GT(HalGlobals::g_TessimorUpdateTimer, 1);
    ExpectHandled("req_delayed_device_settings", "");
    EXPECT_TRUE(mProbe.WaitFor("delayed_device_settings", 1));
    ExpectHandled("power_down_status", R"({"nameOfCaller": "A", "reasonForPowerdown": "B"})");
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Powerdown received from A - B.")));
    EXPECT_FALSE(gKeepRunning);
}

TEST_F(SubscriptionsTest, WhileStoppingHandlersReturnAtOnce) {
    Activate();
    mProbe.Publish("system_led_status", R"({"ethernetIsUp": true})");
    mProbe.Publish("power_down_status", "{}");
    AwaitArrival();
    gKeepRunning = false;
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 2);
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
}

class ThrowingCarrier : public TestCarrier {
public:
    using TestCarrier::TestCarrier;
    e_commError ProcessResponseFromCarrier(Packet&, CommCommands_t sent, int) override {
        if (sent == CommCommands_EnetUp) {
            throw std::runtime_error("no such {}");
        }
        if (sent == CommCommands_WiFiUp) {
            throw 7;
        }
        return commError_None;
    }
};

TEST_F(SubscriptionsTest, AnExceptionOfAHandlerIsLoggedAndTheNextMessageWorks) {
    mCarrier = std::make_unique<ThrowingCarrier>(mLine.Port(), mClient);
    Activate();
    ExpectHandled("system_led_status", R"({"ethernetIsUp": true})");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unexpected error in the handler of system_led_status: no such {}")));
    ExpectHandled("system_led_status", R"({"wifiIsUp": true})");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unexpected error in the handler of system_led_status")));
    mLine.TakeFrames();
    ExpectHandled("system_led_status", R"({"operatorIsUp": true})");
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 17 00 00 29 E0"));
}

}  // namespace
