// Signals: at any moment after the handlers are there the process ends with status 0, and soon; before, as any program.
#include <csignal>
#include <random>
#include <thread>

#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using simulator::ScriptedFault;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AnyOf;

constexpr milliseconds kLongestStop{6000};
constexpr milliseconds kHalfASubscription{2500};
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";

class StopTest : public EndToEndTest {
protected:
    static void ExpectToEnd(Machine& machine, int signal) {
        const auto start = steady_clock::now();
        machine.Hal().Signal(signal);
        EXPECT_EQ(machine.Hal().WaitForExit(), 0);
        EXPECT_LE(steady_clock::now() - start, kLongestStop);
        EXPECT_TRUE(machine.Out().Has("HAL is down"));
        EXPECT_TRUE(machine.Log().Has("[info] HAL shutting down"));
    }

    // Its broker does not answer, and the next subscription has begun to wait.
    Machine& MachineWithoutItsFirstSubscription() {
        Machine& machine = NewMachine();
        machine.Start();
        machine.Out().Await("Wait a few moments before using UART");
        machine.BusBroker().Pause();
        machine.Log().Await("[error] An error occurred while subscribing to HalIdentityRequest. Connection timed out");
        return machine;
    }

    static ScriptedFault Answers(ScriptedFault::What what, std::uint8_t code = 0) {
        ScriptedFault fault;
        fault.what = what;
        fault.code = code;
        fault.count = 0;
        return fault;
    }
};

class SignalTest : public StopTest, public testing::WithParamInterface<int> {};

TEST_P(SignalTest, EndsAnIdleProcessWithStatusZero) {
    Machine& machine = GreetedMachine();
    ExpectToEnd(machine, GetParam());
}

TEST_P(SignalTest, EndsAStartingProcessAsItEndsAnyProgram) {
    Machine& machine = NewMachine();
    machine.Start();
    machine.Out().Await("Wait a few moments before using UART");
    machine.Hal().Signal(GetParam());
    EXPECT_EQ(machine.Hal().WaitForExit(), -GetParam());
    EXPECT_FALSE(machine.Out().Has("HAL is down"));
}

INSTANTIATE_TEST_SUITE_P(StopTest, SignalTest, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& test) { return "Signal" + std::to_string(test.param); });

TEST_F(StopTest, InTheMiddleOfAWaitForAnAnswer) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(Answers(ScriptedFault::What::Ignore));
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true,"wifiIsUp":true,"operatorIsUp":true})");
    machine.Line().AwaitFrame(kEthernetUp);
    const std::size_t line = machine.Line().Position();
    ExpectToEnd(machine, SIGTERM);
    EXPECT_LE(machine.Line().Count(kEthernetUp, line), 1U) << "no further attempts while it stops";
}

TEST_F(StopTest, InTheMiddleOfRetries) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(Answers(ScriptedFault::What::Nack, simulator::nack::kCommandFailed));
    for (int i = 0; i < 200; ++i) {
        machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true,"wifiIsUp":true})");
    }
    machine.Line().AwaitFrame(kEthernetUp, 0, 4);
    ExpectToEnd(machine, SIGTERM);
}

TEST_F(StopTest, InTheMiddleOfTheStartSequenceOfAMuteCarrier) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(Answers(ScriptedFault::What::Ignore));
    machine.Carrier().SendHeartbeat();
    machine.Line().AwaitFrames(3);
    ExpectToEnd(machine, SIGTERM);
}

TEST_F(StopTest, InTheMiddleOfAPowerDown) {
    Machine& machine = BootMachine();
    machine.Bus().Publish("power_down_status", "{}");
    machine.Log().Await("[info] Powerdown received from  - .");
    ExpectToEnd(machine, SIGTERM);
}

TEST_F(StopTest, WithManyMessagesStillToBeHandled) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(Answers(ScriptedFault::What::Ignore));
    for (int i = 0; i < 500; ++i) {
        machine.Bus().Publish("led_settings", "{}");
    }
    machine.Line().AwaitFrames(1);
    ExpectToEnd(machine, SIGTERM);
}

TEST_F(StopTest, WhileTheBrokerIsAwayOrDoesNotAnswer) {
    Machine& machine = BootMachine();
    Machine& other = BootMachine();
    machine.BusBroker().Pause();
    other.BusBroker().Kill();
    ExpectToEnd(machine, SIGTERM);
    ExpectToEnd(other, SIGTERM);
    machine.BusBroker().Resume();
}

TEST_F(StopTest, LeavesTheBrokerBehindTheFirstWordAndBeforeTheLast) {
    constexpr const char* kLeft = "[warning] Left the broker at /var/veltrix.unix with {} publications undelivered";
    Machine& machine = BootMachine();
    // A publication that a broker which does not answer leaves waiting. The second message was taken behind the first,
    // which so waits in the process's socket.
    machine.Hal().Signal(SIGSTOP);
    machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":42})");
    machine.Bus().Publish("marker", "{}");
    machine.BusBroker().Pause();
    machine.Hal().Signal(SIGCONT);
    machine.Log().Await("[info] ArcThreshold set to 42");
    machine.Hal().Signal(SIGTERM);
    machine.Out().Await("HAL is down");
    EXPECT_TRUE(machine.Log().Has(kLeft)) << "it was still connected";
    EXPECT_NO_THROW(machine.Log().AwaitInOrder({"[info] HAL shutting down", kLeft}));
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    machine.BusBroker().Resume();
}

TEST_F(StopTest, WhileASubscriptionWaitsForABrokerThatDoesNotAnswer) {
    Machine& machine = MachineWithoutItsFirstSubscription();
    std::this_thread::sleep_for(kHalfASubscription);  // into the wait of the next one, which shows nowhere
    ExpectToEnd(machine, SIGTERM);
    machine.BusBroker().Resume();
}

TEST_F(StopTest, BeforeTheLastSubscriptionNoReadinessIsAnnounced) {
    Machine& machine = MachineWithoutItsFirstSubscription();
    // The next subscription is answered to a process that knows already that it is to stop.
    machine.Hal().Signal(SIGSTOP);
    machine.Hal().Signal(SIGTERM);
    machine.BusBroker().Resume();
    machine.ReconnectBus();
    machine.Hal().Signal(SIGCONT);
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    machine.Bus().Publish("marker", "{}");
    machine.Bus().Await("marker");
    EXPECT_EQ(machine.Bus().Count("process_ready"), 0U);
}

TEST_F(StopTest, ASecondSignalChangesNothing) {
    Machine& machine = GreetedMachine();
    machine.Hal().Signal(SIGTERM);
    kill(machine.Hal().Pid(), SIGINT);
    kill(machine.Hal().Pid(), SIGHUP);
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
}

// From shortly before the handlers are installed until shortly after the start: the signal's default effect or
// status 0, nothing in between.
TEST_F(StopTest, AtAnyMomentAroundTheInstallationOfTheHandlers) {
    constexpr int kMachines = 12;
    std::vector<Machine*> machines;
    std::vector<steady_clock::time_point> moments;
    for (int i = 0; i < kMachines; ++i) {
        machines.push_back(&NewMachine());
    }
    for (int i = 0; i < kMachines; ++i) {
        Machine& machine = *machines[static_cast<std::size_t>(i)];
        machine.Start();
        machine.Out().Await("Wait a few moments before using UART");
        moments.push_back(steady_clock::now() + milliseconds(2960 + 10 * i));
    }
    for (std::size_t i = 0; i < machines.size(); ++i) {
        std::this_thread::sleep_until(moments[i]);
        machines[i]->Hal().Signal(SIGTERM);
    }
    for (Machine* const machine : machines) {
        EXPECT_THAT(machine->Hal().WaitForExit(kLongestStop), testing::Optional(AnyOf(0, -SIGTERM)));
    }
}

TEST_F(StopTest, AConsoleThatNobodyReadsAnyMoreDoesNotEndIt) {
    Machine& machine = BootMachine();
    machine.Hal().CloseOutputs();
    machine.Greet();
    EXPECT_EQ(machine.Stop(), 0);
}

}  // namespace
