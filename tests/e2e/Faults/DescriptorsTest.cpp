// No file descriptor left: what is open goes on working, what has to be opened fails and is reported.
#include <filesystem>

#include "tests/e2e/Faults/CampaignTest.h"
#include "tests/e2e/Faults/TroubledMachineTest.h"

namespace {

class DescriptorsTest : public TroubledMachineTestOf<CampaignTest> {
protected:
    Machine& StartedMachine() {
        Machine& machine = BootTroubledMachine(PatientOptions());
        machine.Greet();
        return machine;
    }

    static std::size_t OpenFiles(Machine& machine) {
        const std::filesystem::directory_iterator files("/proc/" + std::to_string(machine.Hal().Pid()) + "/fd");
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    static void SetThreshold(Machine& machine, const std::string& amps) {
        machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":)" + amps + "}");
        machine.FlushBus();
    }
};

TEST_F(DescriptorsTest, UsedUpForAWhileCostWhatMustBeOpenedAndNothingElse) {
    Machine& machine = StartedMachine();
    SetThreshold(machine, "10");
    const std::size_t open = OpenFiles(machine);
    mFaults.UseUpDescriptors(true);

    ExpectHeartbeatsAcked(machine, 10);
    ExpectBusToWork(machine);
    EXPECT_EQ(mFaults.Hits(), 0) << "all of this is done with what is open";
    SetThreshold(machine, "20");
    machine.Log().Await("[warning] Unable to write /Veltrix/system.config. Too many open files");
    EXPECT_EQ(machine.Files().Read("/Veltrix/system.config"), "{\n\t\"ArcStartAmps\":\t10\n}");
    const auto error = machine.Carrier().WaitForOutcome(machine.Carrier().SendError("E42"), kPatience);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->state, simulator::OwnCommand::State::Acked);
    machine.Log().Await("[error] Failed to open carrier log file");
    const auto powerFail = machine.Carrier().WaitForOutcome(machine.Carrier().SendPowerFail(), kPatience);
    ASSERT_TRUE(powerFail.has_value());
    EXPECT_EQ(powerFail->state, simulator::OwnCommand::State::Acked);
    machine.Log().Await("[warning] Could not publish power_down_status on /var/veltrix.unix. {}");
    ExpectHeartbeatsAcked(machine, 10);

    mFaults.UseUpDescriptors(false);
    ExpectHeartbeatsAcked(machine, 3);
    ExpectBusToWork(machine);
    SetThreshold(machine, "30");
    EXPECT_EQ(machine.Files().Read("/Veltrix/system.config"), "{\n\t\"ArcStartAmps\":\t30\n}");
    ExpectThatUpdatesWork(machine);
    EXPECT_LE(OpenFiles(machine), open) << "none was left open on the way";
    ExpectToStop(machine);
}

TEST_F(DescriptorsTest, UsedUpWhileTheBrokerIsAwayItComesBackWhenThereAreSomeAgain) {
    Machine& machine = StartedMachine();
    mFaults.UseUpDescriptors(true);
    machine.BusBroker().Kill();
    machine.Log().Await("[warning] Lost the broker at /var/veltrix.unix: {}");
    machine.BusBroker().Start();
    // Three heartbeats a second for longer than the first attempts to reconnect are apart.
    for (int i = 0; i < 9; ++i) {
        ExpectHeartbeatsAcked(machine, 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    EXPECT_EQ(machine.Log().Count("[info] Reconnected to the broker at /var/veltrix.unix"), 0U);
    EXPECT_GE(mFaults.Hits(), 1) << "it has tried";
    mFaults.UseUpDescriptors(false);
    machine.Log().Await("[info] Reconnected to the broker at /var/veltrix.unix", 0, 1, 2 * kPatience);
    machine.ReconnectBus();
    AwaitBus(machine);
    ExpectBusToWork(machine);
    ExpectToStop(machine);
}

TEST_F(DescriptorsTest, UsedUpDoNotKeepItFromStopping) {
    Machine& machine = StartedMachine();
    mFaults.UseUpDescriptors(true);
    ExpectToStop(machine);
}

}  // namespace
