// The fixture of end-to-end tests.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/e2e/Harness/Machine.h"

// Machines live as long as the test. At its end each process that still runs is stopped, which must end with status 0;
// none may have shown the path of its sandbox; and after a failure everything that happened is printed.
class EndToEndTest : public testing::Test {
protected:
    // Not started yet.
    Machine& NewMachine(const MachineOptions& options = {}) {
        mMachines.push_back(std::make_unique<Machine>(options));
        return *mMachines.back();
    }

    // Started and ready.
    Machine& BootMachine(const MachineOptions& options = {}) {
        Machine& machine = NewMachine(options);
        machine.Boot();
        return machine;
    }

    // Started, ready and past the exchange that the carrier's first heartbeat begins.
    Machine& GreetedMachine(const MachineOptions& options = {}) {
        Machine& machine = BootMachine(options);
        machine.Greet();
        return machine;
    }

    // The end of all machines so far, and of what they hold. For tests that need many, some after the others.
    void EndMachines();

    void TearDown() override { EndMachines(); }

private:
    std::vector<std::unique_ptr<Machine>> mMachines;
};
