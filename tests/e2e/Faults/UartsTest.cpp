// One UART for two processes, and a UART that vanishes. The port is opened once, at the start: what fails there, or is
// lost later, stays so until the process is started anew.
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tests/e2e/Faults/CampaignTest.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kMostTimeWhileHungUp{2500};

class UartsTest : public CampaignTest {
protected:
    // Processor time that the process has used.
    static milliseconds TimeUsed(Machine& machine) {
        std::ifstream file("/proc/" + std::to_string(machine.Hal().Pid()) + "/stat");
        std::string text;
        std::getline(file, text);
        std::istringstream fields(text.substr(text.rfind(')') + 1));
        std::string skipped;
        for (int i = 0; i < 11; ++i) {
            fields >> skipped;
        }
        long user = 0;
        long system = 0;
        fields >> user >> system;
        return milliseconds((user + system) * 1000 / sysconf(_SC_CLK_TCK));
    }

    // A heartbeat that nobody hears, for a while.
    static void ExpectNobodyThere(Machine& machine) {
        simulator::OwnCommandPolicy policy = PatientOptions().carrier.ownCommands;
        policy.attempts = 3;
        machine.Carrier().SetOwnCommandPolicy(policy);
        const auto outcome = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), kPatience);
        ASSERT_TRUE(outcome.has_value());
        EXPECT_EQ(outcome->state, simulator::OwnCommand::State::Unanswered);
        machine.Carrier().SetOwnCommandPolicy(PatientOptions().carrier.ownCommands);
    }

    static void Restart(Machine& machine) {
        ExpectToStop(machine);
        const std::size_t bus = machine.Bus().Position();
        machine.Start();
        machine.Bus().Await("process_ready", bus);
    }
};

TEST_F(UartsTest, OfTwoProcessesTheSecondIsTurnedAwayAndTheFirstIsServed) {
    Machine& first = GreetedMachine(PatientOptions());
    MachineOptions options = PatientOptions();
    options.isCarrierThere = false;
    Machine& second = NewMachine(options);
    second.AddArguments({"-u", first.Carrier().DevicePath()});
    second.Boot();
    EXPECT_TRUE(second.Err().Has("LinuxSerial::Lock for UART read failed. errno: Resource temporarily unavailable"));
    EXPECT_EQ(second.Bus().Await("hal_status"), R"({"ready":false})");

    const std::size_t line = first.Line().Position();
    ExpectHeartbeatsAcked(first, 20);
    ExpectBusToWork(first);
    // A command of the second one is tried three times, and nothing of it reaches the line.
    second.Bus().Publish("led_settings", "{}");
    second.Out().Await("HAL Sent packet: 0x30, carrier return code: 2", 0, 3);
    second.FlushBus();
    ExpectHeartbeatsAcked(first, 20);
    EXPECT_EQ(CountCommand(first, simulator::command::kSetStrovanelLedSettings, line), 0U);
    EXPECT_EQ(CountCommand(first, simulator::command::kNack, line), 0U);

    // The first one's end leaves the UART to whoever opens it next, not to who failed to.
    ExpectToStop(first);
    ExpectNobodyThere(first);
    Restart(second);
    ExpectHeartbeatsAcked(first, 3);
    ExpectToStop(second);
}

TEST_F(UartsTest, ThatVanishesLeavesTheProcessToTheBusUntilItIsStartedAnew) {
    MachineOptions options = PatientOptions();
    options.arguments = {"-f", "-v", "0"};
    Machine& machine = GreetedMachine(options);
    machine.Carrier().Stop();
    EXPECT_FALSE(machine.Files().Exists("/dev/ttymxc3"));

    // Two periods of its status, the first of which may still tell of the carrier.
    const milliseconds before = TimeUsed(machine);
    std::size_t bus = machine.Bus().Position();
    machine.Bus().AwaitPayload("hal_status", R"({"ready":false})", bus);
    bus = machine.Bus().Position();
    EXPECT_EQ(machine.Bus().Await("hal_status", bus), R"({"ready":false})");
    EXPECT_LT(TimeUsed(machine) - before, kMostTimeWhileHungUp) << "it does not spin on a line that is hung up";
    machine.Bus().Publish("led_settings", "{}");
    machine.Out().Await("HAL Sent packet: 0x30, carrier return code: 2", 0, 3);
    machine.FlushBus();

    // Another one under the same name is another one.
    ASSERT_TRUE(machine.Carrier().Start());
    ExpectNobodyThere(machine);
    Restart(machine);
    ExpectHeartbeatsAcked(machine, 3);
    ExpectBusToWork(machine);
    ExpectToStop(machine);
}

}  // namespace
