// The time of day jumps by ten years while everything runs. What is waited for and what is repeated goes by steady
// time. It is the process's own view of the clock that is moved; this computer's is not touched.
#include <ctime>

#include "tests/e2e/Faults/CampaignTest.h"
#include "tests/e2e/Faults/TroubledMachineTest.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kReportingOn = "0A 0A 01 00 4A D2 01 E1 F1";
constexpr const char* kReportingOff = "0A 0A 01 00 4A D2 00 F0 78";
constexpr std::int64_t kTenYears = std::int64_t{3652} * 24 * 60 * 60;
constexpr milliseconds kShortestPeriod{4000};
constexpr milliseconds kLongestPeriod{15000};
constexpr milliseconds kLifeOfATessimor{2000};

struct Jump {
    const char* name;
    std::int64_t seconds;
};

void PrintTo(const Jump& jump, std::ostream* out) {
    *out << jump.name;
}

class ClockTroubleTest : public TroubledMachineTestOf<CampaignTest> {
protected:
    static std::string YearOf(std::int64_t shift) {
        const std::time_t then = std::time(nullptr) + shift;
        std::tm utc{};
        gmtime_r(&then, &utc);
        return std::to_string(utc.tm_year + 1900);
    }

    // A heartbeat that meets a command of the process, which switches data reporting behind one, is refused; these
    // carriers repeat it.
    static MachineOptions RepeatingOptions() {
        MachineOptions options;
        options.carrier.ownCommands = PatientOptions().carrier.ownCommands;
        return options;
    }

    static void ExpectHeartbeatsAcked(Machine& machine) {
        CampaignTest::ExpectHeartbeatsAcked(machine, 5);
        machine.FlushLine();
    }

    // Two more of each, and the time from one to the next.
    static void ExpectPeriod(Machine& machine, const std::string& topic) {
        SCOPED_TRACE(topic);
        machine.Bus().Await(topic, machine.Bus().Position());
        auto last = steady_clock::now();
        for (int i = 0; i < 2; ++i) {
            machine.Bus().Await(topic, machine.Bus().Position());
            const auto now = steady_clock::now();
            EXPECT_GE(now - last, kShortestPeriod);
            EXPECT_LE(now - last, kLongestPeriod);
            last = now;
        }
    }

    // The year that the process gives to what it tells.
    static std::string YearOnTheBus(Machine& machine) {
        const std::size_t bus = machine.Bus().Position();
        machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":20})");
        const std::string text =
            machine.Bus().AwaitPayload("device_settings", R"({"arcStartThreshold":20,"timestamp":"{}Z"})", bus);
        return text.substr(text.find("timestamp\":\"") + 12, 4);
    }
};

class ClockJumpTest : public ClockTroubleTest, public testing::WithParamInterface<Jump> {};

TEST_P(ClockJumpTest, LeavesThePeriodsAsTheyAre) {
    Machine& machine = BootTroubledMachine(RepeatingOptions());
    machine.Greet();
    EXPECT_EQ(YearOnTheBus(machine), YearOf(0));
    mFaults.ShiftClock(GetParam().seconds);
    EXPECT_EQ(YearOnTheBus(machine), YearOf(GetParam().seconds));
    ExpectHeartbeatsAcked(machine);
    ExpectPeriod(machine, "hal_status");
    // The process checks in only where there was traffic both ways.
    machine.Carrier().SetHeartbeatPeriod(milliseconds(1000));
    ExpectPeriod(machine, "system_health");
    machine.Carrier().SetHeartbeatPeriod(milliseconds(0));
    machine.FlushLine();
    ExpectHeartbeatsAcked(machine);
    EXPECT_THAT(machine.Log().Text(), testing::HasSubstr("\n[" + YearOf(GetParam().seconds) + "-"));
    EXPECT_TRUE(machine.Files().ClockSettings().empty());

    mFaults.ShiftClock(0);
    EXPECT_EQ(YearOnTheBus(machine), YearOf(0));
    ExpectHeartbeatsAcked(machine);
    EXPECT_EQ(machine.Stop(), 0);
}

TEST_P(ClockJumpTest, LeavesTimeOutsAsTheyAre) {
    Machine& machine = BootTroubledMachine(RepeatingOptions());
    simulator::ScriptedFault mute;
    mute.what = simulator::ScriptedFault::What::Ignore;
    mute.count = 3;
    machine.Carrier().Faults().Script(mute);
    const auto start = steady_clock::now();
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.Line().AwaitFrame(kEthernetUp);
    mFaults.ShiftClock(GetParam().seconds);
    machine.Line().AwaitFrame(kEthernetUp, 0, 2);
    mFaults.ShiftClock(0);
    machine.FlushBus();
    EXPECT_EQ(machine.Line().Count(kEthernetUp), 3U);
    EXPECT_GE(steady_clock::now() - start, 3 * milliseconds(200)) << "each of the three had its 200 ms";
    machine.Out().Await("WaitForResponseToCommand() timed out after {} timeout var: 200", 0, 3);
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.FlushBus();
    EXPECT_EQ(machine.Line().Count(kEthernetUp), 4U);
}

// The broker's keep-alive and the pauses before a new attempt go by steady time, too.
TEST_P(ClockJumpTest, LeavesTheWayBackToTheBrokerAsItIs) {
    Machine& machine = BootTroubledMachine(RepeatingOptions());
    machine.Greet();
    mFaults.ShiftClock(GetParam().seconds);
    machine.BusBroker().Kill();
    ExpectHeartbeatsAcked(machine);
    machine.BusBroker().Start();
    machine.Log().Await("[info] Reconnected to the broker at /var/veltrix.unix");
    machine.ReconnectBus();
    machine.Bus().Await("hal_status");
    machine.FlushBus();
    EXPECT_EQ(machine.Stop(), 0);
}

class ClockSetBackTest : public ClockTroubleTest {};

// Whether the Tessimor process lives is told by the time of day: what was heard of it lies in the future now.
TEST_F(ClockSetBackTest, SwitchesDataReportingOnUntilTheClockHasCaughtUp) {
    Machine& machine = BootTroubledMachine(RepeatingOptions());
    machine.Greet();
    ExpectHeartbeatsAcked(machine);
    EXPECT_EQ(machine.Line().Count(kReportingOn), 0U);
    EXPECT_FALSE(machine.Carrier().State().isDataReporting);

    mFaults.ShiftClock(-kTenYears);
    machine.Carrier().SendHeartbeat();
    machine.Line().AwaitFrame(kReportingOn);
    machine.FlushLine();
    for (const auto start = steady_clock::now(); steady_clock::now() - start <= 2 * kLifeOfATessimor;) {
        ExpectHeartbeatsAcked(machine);
    }
    EXPECT_TRUE(machine.Carrier().State().isDataReporting);
    EXPECT_EQ(machine.Line().Count(kReportingOff), 0U);

    mFaults.ShiftClock(0);
    machine.Carrier().SendHeartbeat();
    machine.Line().AwaitFrame(kReportingOff);
    machine.FlushLine();
    EXPECT_EQ(machine.Line().Count(kReportingOn), 1U);
    EXPECT_FALSE(machine.Carrier().State().isDataReporting);
}

INSTANTIATE_TEST_SUITE_P(Clock, ClockJumpTest, testing::Values(Jump{"Ahead", kTenYears}, Jump{"Back", -kTenYears}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
