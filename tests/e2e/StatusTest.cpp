// What the process says of its own accord, and whom it listens to for it.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

constexpr const char* kReportingOn = "0A 0A 01 00 4A D2 01 E1 F1";
constexpr const char* kReportingOff = "0A 0A 01 00 4A D2 00 F0 78";
constexpr const char* kTxFailed = "[error] Did not check in because Tx failed";
constexpr const char* kRxFailed = "[error] Did not check in because Rx failed";

class StatusTest : public EndToEndTest {};

TEST_F(StatusTest, WithALiveCarrierItIsReadyAndChecksInEveryFiveSeconds) {
    MachineOptions options;
    options.carrier.heartbeatPeriod = milliseconds(500);
    const auto start = steady_clock::now();  // 3 s before the main loop
    Machine& machine = BootMachine(options);
    EXPECT_EQ(machine.Bus().Await("hal_status"), R"({"ready":true})");
    EXPECT_GE(steady_clock::now() - start, milliseconds(8000));
    EXPECT_EQ(machine.Bus().Await("system_health"), R"({"processName":"HAL","code":560})");

    const std::size_t from = machine.Bus().Position();
    EXPECT_EQ(machine.Bus().Await("system_health", from), R"({"processName":"HAL","code":560})");
    EXPECT_EQ(machine.Bus().Await("hal_status", from), R"({"ready":true})");
    EXPECT_GE(steady_clock::now() - start, milliseconds(13000));
    EXPECT_EQ(machine.Log().Count(kTxFailed), 0U);
    EXPECT_EQ(machine.Log().Count(kRxFailed), 0U);
}

TEST_F(StatusTest, WithoutAnyTrafficItIsNotReadyAndSaysWhyItDoesNotCheckIn) {
    Machine& machine = BootMachine();
    EXPECT_EQ(machine.Bus().Await("hal_status"), R"({"ready":false})");
    machine.Log().Await(kTxFailed);
    EXPECT_EQ(machine.Bus().Count("system_health"), 0U);
    EXPECT_FALSE(machine.Log().Has(kRxFailed)) << "the port was asked for bytes all the time";

    // The carrier wakes up within the next period, at its beginning.
    machine.Log().Await(kTxFailed, machine.Log().Position());
    const std::size_t failed = machine.Log().Count(kTxFailed);
    machine.Greet();
    EXPECT_EQ(machine.Bus().Await("system_health"), R"({"processName":"HAL","code":560})");
    machine.Bus().AwaitPayload("hal_status", R"({"ready":true})");
    EXPECT_EQ(machine.Log().Count(kTxFailed), failed);

    // And falls silent again.
    const std::size_t from = machine.Bus().Position();
    machine.Bus().AwaitPayload("hal_status", R"({"ready":false})", from);
}

TEST_F(StatusTest, AMuteCarrierThatIsSentCommandsIsNotReadyButChecksIn) {
    Machine& machine = BootMachine();
    simulator::ScriptedFault mute;
    mute.what = simulator::ScriptedFault::What::Ignore;
    mute.count = 0;
    machine.Carrier().Faults().Script(mute);
    machine.Bus().Publish("led_settings", "{}");
    EXPECT_EQ(machine.Bus().Await("system_health"), R"({"processName":"HAL","code":560})");
    EXPECT_EQ(machine.Bus().Await("hal_status"), R"({"ready":false})");
}

// Data reporting follows the health messages of the other process, tested once per heartbeat.
TEST_F(StatusTest, DataReportingFollowsTheTessimorProcess) {
    Machine& machine = GreetedMachine();
    machine.Bus().Publish("system_health", R"({"processName":"VeltrixTessimor","code":4095})");
    machine.FlushBus();
    std::size_t line = machine.Line().Position();
    machine.Carrier().SendHeartbeat();
    machine.FlushLine();
    EXPECT_EQ(machine.Line().Frames(line).size(), 2U) << "0x0FFF is too small a code";

    line = machine.Line().Position();
    const auto reported = steady_clock::now();
    machine.Bus().Publish("system_health", R"({"processName":"VeltrixTessimor","code":4096})");
    machine.Carrier().SetHeartbeatPeriod(milliseconds(200));
    machine.Line().AwaitFrame(kReportingOn, line);
    machine.Out().Await("**** Enable data reporting ****");
    machine.Line().AwaitFrame(kReportingOff, line);
    EXPECT_GE(steady_clock::now() - reported, milliseconds(1000)) << "two seconds, in whole ones";
    machine.Out().Await("**** Disable data reporting ****");
    EXPECT_FALSE(machine.Carrier().State().isDataReporting);
    EXPECT_EQ(machine.Out().Count("**** Enable data reporting ****"), 1U) << "it was on already at the next heartbeat";

    // Only the low 16 bits count.
    machine.Bus().Publish("system_health", R"({"processName":"VeltrixTessimor","code":65536})");
    machine.Bus().Publish("system_health", R"({"processName":"VeltrixTessimor","code":4294967295})");
    machine.Line().AwaitFrame(kReportingOn, line, 2);
}

TEST_F(StatusTest, TheMarkOfDataReportingChangesEvenWhenTheCarrierRefuses) {
    Machine& machine = GreetedMachine();
    simulator::ScriptedFault refuse;
    refuse.what = simulator::ScriptedFault::What::Nack;
    refuse.code = simulator::nack::kCommandFailed;
    refuse.command = simulator::command::kDataTransmitEnable;
    refuse.count = 0;
    machine.Carrier().Faults().Script(refuse);
    machine.Bus().Publish("system_health", R"({"processName":"VeltrixTessimor","code":4096})");
    machine.FlushBus();
    const std::size_t line = machine.Line().Position();
    machine.Carrier().SendHeartbeat();
    machine.Line().AwaitFrame(kReportingOn, line, 3);
    // On a slow computer the two seconds may be over, and the next heartbeat would switch it off.
    machine.Bus().Publish("system_health", R"({"processName":"VeltrixTessimor","code":4096})");
    machine.FlushBus();
    machine.Carrier().SendHeartbeat();
    machine.FlushLine();
    EXPECT_EQ(machine.Line().Count(kReportingOn, line), 3U) << "one command, three attempts";
}

TEST_F(StatusTest, TheIdentityIsToldToWhoeverAsks) {
    Machine& machine = BootMachine();
    const std::size_t from = machine.Bus().Position();
    for (int i = 0; i < 3; ++i) {
        machine.Bus().Publish("req_hal_info", i == 0 ? "" : "{}");
    }
    machine.FlushBus();
    machine.Bus().Await("hal_info", from,
                        [&](const std::string&) { return machine.Bus().Count("hal_info", from) == 3; });
    const std::string identity = R"({"serialNumber":"SN-0042","machineType":"Strovanel 9","revisionNumber":7})";
    EXPECT_THAT(machine.Bus().Payloads("hal_info", from), ElementsAre(identity, identity, identity));
}

TEST_F(StatusTest, DeviceSettingsAreToldToWhoeverAsks) {
    MachineOptions options;
    options.carrier.identity.battery = 2.5F;
    Machine& machine = BootMachine(options);
    machine.Bus().Publish("req_delayed_device_settings", "");
    EXPECT_EQ(machine.Bus().Await("delayed_device_settings"), R"({"batteryVoltage":0})");
    machine.Greet();
    const std::size_t from = machine.Bus().Position();
    machine.Bus().Publish("req_delayed_device_settings", "{}");
    EXPECT_EQ(machine.Bus().Await("delayed_device_settings", from), R"({"batteryVoltage":2.5})");
}

// A retained message is some other client's leftover, not news.
TEST_F(StatusTest, ALeftOverPowerDownDoesNotStopIt) {
    Machine& machine = NewMachine();
    machine.Bus().PublishRetained("power_down_status",
                                  R"({"isPoweringDown":true,"nameOfCaller":"old","reasonForPowerdown":"stale"})");
    machine.Boot();
    machine.Greet();
    machine.FlushBus();
    EXPECT_FALSE(machine.Log().Has("[info] Powerdown received from {} - {}."));
}

struct PowerDownCase {
    const char* name;
    const char* payload;
    const char* logged;
};

void PrintTo(const PowerDownCase& powerDown, std::ostream* out) {
    *out << powerDown.payload;
}

class PowerDownTest : public StatusTest, public testing::WithParamInterface<PowerDownCase> {};

TEST_P(PowerDownTest, StopsTheProcessTwoSecondsLater) {
    Machine& machine = GreetedMachine();
    const auto start = steady_clock::now();
    machine.Bus().Publish("power_down_status", GetParam().payload);
    machine.Log().Await(GetParam().logged);
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    EXPECT_GE(steady_clock::now() - start, milliseconds(2000));
    EXPECT_LE(steady_clock::now() - start, milliseconds(6000));
    EXPECT_TRUE(machine.Files().Shutdowns().empty()) << "the one who powers down does it, not this process";
}

INSTANTIATE_TEST_SUITE_P(
    StatusTest, PowerDownTest,
    testing::Values(
        PowerDownCase{"Announced",
                      R"({"isPoweringDown":true,"nameOfCaller":"Mains {} %s","reasonForPowerdown":"button"})",
                      "[info] Powerdown received from Mains {} %s - button."},
        // The flag is not looked at, and a missing field is its default.
        PowerDownCase{"DeniedByItsFlag", R"({"isPoweringDown":false,"nameOfCaller":"x","reasonForPowerdown":"y"})",
                      "[info] Powerdown received from x - y."},
        PowerDownCase{"EmptyMessage", "", "[info] Powerdown received from  - ."}),
    [](const auto& test) { return test.param.name; });

}  // namespace
