// The harness keeps this computer safe, and is not taken in by a process that does nothing.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "tests/e2e/Harness/Machine.h"

namespace {

TEST(HarnessTest, RefusesToStartWithoutTheRecordingShutdown) {
    const Sandbox sandbox;
    std::filesystem::remove(sandbox.StubPath());
    EXPECT_THROW(HalProcess(sandbox, {"-V"}), std::runtime_error);
    EXPECT_FALSE(sandbox.Exists("/Veltrix/log"));
}

TEST(HarnessTest, RefusesToStartWithAShutdownThatCannotRun) {
    const Sandbox sandbox;
    std::filesystem::permissions(sandbox.StubPath(), std::filesystem::perms::owner_read);
    EXPECT_THROW(HalProcess(sandbox, {"-V"}), std::runtime_error);
    std::filesystem::remove(sandbox.StubPath());
    std::filesystem::create_directory(sandbox.StubPath());
    EXPECT_THROW(HalProcess(sandbox, {"-V"}), std::runtime_error);
}

TEST(HarnessTest, ATestCannotTakeTheSafeguardsAway) {
    Sandbox sandbox;
    sandbox.SetVariable("LD_PRELOAD", "");
    sandbox.SetVariable("PATH", "/nowhere");
    sandbox.SetVariable("VELTRIX_ROOT", "");
    for (const std::string& variable : sandbox.Environment()) {
        EXPECT_NE(variable, "LD_PRELOAD=");
        EXPECT_NE(variable, "PATH=/nowhere");
        EXPECT_NE(variable, "VELTRIX_ROOT=");
    }
}

TEST(HarnessTest, LinesMatchWithGaps) {
    EXPECT_TRUE(IsLine("timed out after 203 timeout var: 200", "timed out after {} timeout var: 200"));
    EXPECT_TRUE(IsLine("abc", "abc"));
    EXPECT_TRUE(IsLine("abc", "{}"));
    EXPECT_TRUE(IsLine("a b a c", "a {} c"));
    EXPECT_FALSE(IsLine("abc", "ab"));
    EXPECT_FALSE(IsLine("ab", "abc"));
    EXPECT_FALSE(IsLine("timed out after 203 timeout var: 2000", "timed out after {} timeout var: 200"));
}

TEST(HarnessTest, WhatDoesNotComeIsAnError) {
    MachineOptions options;
    Machine machine(options);
    EXPECT_THROW(machine.Log().Await("never", 0, 1, std::chrono::milliseconds(20)), std::runtime_error);
    EXPECT_THROW(machine.Bus().Await("never", 0, {}, std::chrono::milliseconds(20)), std::runtime_error);
    EXPECT_THROW(machine.Hal(), std::runtime_error);
}

TEST(HarnessTest, TellsAStatusFromASignal) {
    Machine machine;
    machine.Start();
    machine.Out().Await("Wait a few moments before using UART");
    machine.Hal().Signal(SIGKILL);
    EXPECT_EQ(machine.Hal().WaitForExit(), -SIGKILL);
    EXPECT_FALSE(machine.Hal().IsRunning());
}

}  // namespace
