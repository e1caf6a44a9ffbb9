// The module's clock from the carrier's, and the battery's voltage, at the first heartbeat.
#include <cmath>
#include <limits>

#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using simulator::ScriptedFault;
using testing::ElementsAre;
using testing::IsEmpty;

// 2025-03-04T05:06:07.089Z
constexpr simulator::TimeRecord kMarch2025 = {25, 3, 4, 5, 6, 7, 89, 0};

class ClockTest : public EndToEndTest {
protected:
    static MachineOptions WithClock(const simulator::TimeRecord& time, const std::string& settings) {
        MachineOptions options;
        options.carrier.clock = time;
        options.settings = settings;
        return options;
    }
};

TEST_F(ClockTest, IsSetOnceWithItsMilliseconds) {
    Machine& machine = GreetedMachine(WithClock(kMarch2025, R"({"Core":1})"));
    EXPECT_THAT(machine.Files().ClockSettings(), ElementsAre("1741064767.089000000"));
    machine.Log().Await("[info] INITIAL TIME SYNCHING SOM to 2025-03-04T05:06:07.089Z from carrier. TimeDiff is {}s");
    machine.Out().Await("Startup sync of SBC clock to STM RTCtime: 2025-03-04T05:06:07.089Z");
    EXPECT_EQ(machine.Bus().Await("time_sync"),
              R"({"serverTimestamp":"2025-03-04T05:06:07.089Z","receivedTimeFromCloud":false})");

    const std::size_t line = machine.Line().Position();
    machine.Carrier().SetClock(simulator::TimeRecord{26, 3, 4, 5, 6, 7, 89, 0});
    machine.Carrier().SendHeartbeat();
    machine.Carrier().Send(simulator::command::kGetRtc, {26, 3, 4, 5, 6, 7, 0, 0});
    machine.FlushLine();
    machine.FlushBus();
    EXPECT_EQ(machine.Files().ClockSettings().size(), 1U);
    EXPECT_EQ(machine.Bus().Count("time_sync"), 1U);
    EXPECT_EQ(machine.Line().Frames(line).size(), 3U);
    EXPECT_THAT(machine.Line().Frames(), testing::Each(testing::Not(testing::StartsWith("0A 0E"))))
        << "its own message about the time does not go to the carrier";
}

TEST_F(ClockTest, IsLeftAloneAndLoggedWhenTheSettingIsNoNumber) {
    Machine& machine = GreetedMachine(WithClock(kMarch2025, R"({"Core":true})"));
    EXPECT_TRUE(machine.Log().Has("[error] Invalid type 2 when getting numeric value with key = Core"));
    EXPECT_THAT(machine.Files().ClockSettings(), IsEmpty());
    EXPECT_EQ(machine.Bus().Count("time_sync"), 0U);
}

TEST_F(ClockTest, AFailureIsReportedAndTheTimeIsAnnouncedAllTheSame) {
    Machine& machine = NewMachine(WithClock(kMarch2025, R"({"Core":1})"));
    machine.Files().SetVariable("VELTRIX_CLOCK_GUARD_ERRNO", "EPERM");
    machine.Boot();
    machine.Greet();
    EXPECT_THAT(machine.Files().ClockSettings(), ElementsAre("1741064767.089000000"));
    EXPECT_TRUE(machine.Log().Has("[error] Unable to set SBC time. \"Operation not permitted\""));
    EXPECT_TRUE(machine.Out().Has("Error setting SBC time. Operation not permitted"));
    EXPECT_EQ(machine.Bus().Await("time_sync"),
              R"({"serverTimestamp":"2025-03-04T05:06:07.089Z","receivedTimeFromCloud":false})");
}

struct NoTimeCase {
    const char* name;
    simulator::TimeRecord time;
    const char* settings;
};

void PrintTo(const NoTimeCase& noTime, std::ostream* out) {
    *out << noTime.name;
}

class NoTimeTest : public ClockTest, public testing::WithParamInterface<NoTimeCase> {};

TEST_P(NoTimeTest, LeavesTheClockAlone) {
    Machine& machine = GreetedMachine(WithClock(GetParam().time, GetParam().settings));
    EXPECT_THAT(machine.Files().ClockSettings(), IsEmpty());
    EXPECT_EQ(machine.Bus().Count("time_sync"), 0U);
}

INSTANTIATE_TEST_SUITE_P(ClockTest, NoTimeTest,
                         testing::Values(NoTimeCase{"SwitchedOff", kMarch2025, R"({"Core":0})"},
                                         NoTimeCase{"SettingMissing", kMarch2025, "{}"},
                                         NoTimeCase{"Year2024", {24, 12, 31, 23, 59, 59, 231, 3}, R"({"Core":1})"},
                                         NoTimeCase{"Month0", {25, 0, 4, 5, 6, 7, 0, 0}, R"({"Core":1})"},
                                         NoTimeCase{"Year2100", {100, 3, 4, 5, 6, 7, 0, 0}, R"({"Core":1})"},
                                         NoTimeCase{"Millisecond1000", {25, 3, 4, 5, 6, 7, 0xE8, 3}, R"({"Core":1})"}),
                         [](const auto& test) { return test.param.name; });

// An Ack that was meant for another command has no payload.
TEST_F(ClockTest, AnAckWithoutVoltageOrTimeIsTakenForNeitherAndNotAskedForAgain) {
    Machine& machine = BootMachine(WithClock(kMarch2025, R"({"Core":1})"));
    for (const std::uint8_t request : {simulator::command::kGetVBat, simulator::command::kGetRtc}) {
        ScriptedFault empty;
        empty.what = ScriptedFault::What::OtherCommand;
        empty.command = request;
        empty.code = simulator::command::kAck;
        machine.Carrier().Faults().Script(empty);
    }
    machine.Carrier().SendHeartbeat();
    machine.Bus().Await("carrier_info");
    machine.FlushBus();
    EXPECT_EQ(machine.Log().Count("[error] Unable to process VBat"), 1U);
    EXPECT_EQ(machine.Bus().Count("device_settings"), 0U);
    EXPECT_EQ(machine.Bus().Count("time_sync"), 0U);
    EXPECT_THAT(machine.Files().ClockSettings(), IsEmpty());
    EXPECT_EQ(machine.Line().Count("0A 0D 00 00 DF 0F"), 1U);
    EXPECT_EQ(machine.Line().Count("0A 0F 00 00 6A B7"), 1U);
}

TEST_F(ClockTest, ABatteryVoltageThatIsNoNumberIsLeftOutOfTheMessage) {
    MachineOptions options;
    options.carrier.identity.battery = std::numeric_limits<float>::quiet_NaN();
    Machine& machine = GreetedMachine(options);
    EXPECT_THAT(machine.Bus().Payloads("device_settings"),
                ElementsAre(testing::MatchesRegex("\\{\"timestamp\":\"[^\"]+\"\\}")));
    machine.Bus().Publish("req_delayed_device_settings", "{}");
    EXPECT_EQ(machine.Bus().Await("delayed_device_settings"), "{}");
}

}  // namespace
