// The fixture of tests that let the C library's calls fail.
#pragma once

#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/MachineFaults/MachineFaults.h"

// The same on top of another fixture.
template <typename Fixture>
class TroubledMachineTestOf : public Fixture {
protected:
    // Under the hand of mFaults; not started yet.
    Machine& NewTroubledMachine(const MachineOptions& options = {}) {
        Machine& machine = this->NewMachine(options);
        machine.Files().Preload(VELTRIX_MACHINE_FAULTS_LIBRARY);
        machine.Files().SetVariable("VELTRIX_MACHINE_FAULTS", mFaults.Path());
        return machine;
    }

    Machine& BootTroubledMachine(const MachineOptions& options = {}) {
        Machine& machine = NewTroubledMachine(options);
        machine.Boot();
        return machine;
    }

    MachineFaults mFaults;
};

class TroubledMachineTest : public TroubledMachineTestOf<EndToEndTest> {};
