#include "tests/e2e/Harness/EndToEndTest.h"

#include <chrono>

namespace {

constexpr std::chrono::seconds kLongestStop{6};

}  // namespace

void EndToEndTest::EndMachines() {
    for (const auto& machine : mMachines) {
        try {
            if (machine->Hal().IsRunning()) {
                const auto start = std::chrono::steady_clock::now();
                EXPECT_EQ(machine->Stop(), 0) << "the process did not stop as it should";
                EXPECT_LE(std::chrono::steady_clock::now() - start, kLongestStop);
            }
            EXPECT_EQ(machine->FindRootInTexts(), "");
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }
    if (HasFailure()) {
        for (const auto& machine : mMachines) {
            ADD_FAILURE() << machine->Report();
        }
    }
    mMachines.clear();
}
