// The fixture of tests that let the C library's calls fail.
#pragma once

#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/MachineFaults/MachineFaults.h"

class TroubledMachineTest : public EndToEndTest {
protected:
    // Under the hand of mFaults; not started yet.
    Machine& NewTroubledMachine(const MachineOptions& options = {}) {
        Machine& machine = NewMachine(options);
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
