// A system that has no process to give.
#include "tests/e2e/Faults/TroubledMachineTest.h"

namespace {

class ForkTest : public TroubledMachineTest {};

TEST_F(ForkTest, ADaemonThatCannotForkEndsAtOnceWithNothingBegun) {
    MachineOptions options;
    options.arguments = {};
    Machine& machine = NewTroubledMachine(options);
    machine.AddArguments({"-p", machine.Files().Path("/hal.pid")});
    mFaults.RefuseForks(true);
    machine.Start();
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    EXPECT_EQ(mFaults.Hits(), 1);
    EXPECT_FALSE(machine.Files().Exists("/hal.pid"));
    EXPECT_FALSE(machine.Files().Exists("/Veltrix/log/HAL.log"));
    EXPECT_FALSE(machine.Out().Has("Got identity {}"));
}

}  // namespace
