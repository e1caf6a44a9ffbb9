// Files, marker files, the build file and shell commands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "Common/Helper/CommonHelperFunctions.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/Helper/RecordingPopen.h"
#include "tests/unit/ScratchFolder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileHelpersTest : public testing::Test {
protected:
    const ScratchFolder mFolder;
    const ScopedVariable mRoot{"VELTRIX_ROOT", mFolder.Path()};
};

TEST_F(FileHelpersTest, WhateverCanBeExaminedExists) {
    EXPECT_TRUE(DoesThisFileExist(mFolder.Write("file", "")));
    EXPECT_TRUE(DoesThisFileExist(mFolder.Path()));
    EXPECT_FALSE(DoesThisFileExist(mFolder.Path("none")));
    EXPECT_FALSE(DoesThisFileExist(mFolder.Path("file/below")));
    EXPECT_FALSE(DoesThisFileExist(""));
    ASSERT_EQ(::symlink(mFolder.Path("none").c_str(), mFolder.Path("dangling").c_str()), 0);
    EXPECT_FALSE(DoesThisFileExist(mFolder.Path("dangling")));
}

TEST_F(FileHelpersTest, DeletesAFileAndNoFolder) {
    EXPECT_TRUE(DeleteThisFile(mFolder.Write("file", "text")));
    EXPECT_FALSE(mFolder.Exists("file"));
    EXPECT_FALSE(DeleteThisFile(mFolder.Path("file")));
    ASSERT_TRUE(MakeSureDirectoryExists(mFolder.Path("folder")));
    EXPECT_FALSE(DeleteThisFile(mFolder.Path("folder")));
    EXPECT_TRUE(mFolder.Exists("folder"));
}

TEST_F(FileHelpersTest, MakesOneFolder) {
    EXPECT_TRUE(MakeSureDirectoryExists(mFolder.Path("folder")));
    EXPECT_TRUE(mFolder.Exists("folder"));
    EXPECT_TRUE(MakeSureDirectoryExists(mFolder.Path("folder")));
    EXPECT_FALSE(MakeSureDirectoryExists(mFolder.Path("a/b")));
    EXPECT_FALSE(MakeSureDirectoryExists(mFolder.Write("file", "")));
}

TEST_F(FileHelpersTest, MarkersOfTheWiFi) {
    EXPECT_FALSE(CheckForWiFiFactoryDefaults());
    EXPECT_FALSE(ClearWiFiFactoryDefaultsStatusFile());
    mFolder.Write("Veltrix/WiFi_FactoryDefaults", "");
    EXPECT_TRUE(CheckForWiFiFactoryDefaults());
    EXPECT_FALSE(CheckForEthernetFactoryDefaults());
    EXPECT_TRUE(ClearWiFiFactoryDefaultsStatusFile());
    EXPECT_FALSE(CheckForWiFiFactoryDefaults());
    EXPECT_FALSE(mFolder.Exists("Veltrix/WiFi_FactoryDefaults"));
}

TEST_F(FileHelpersTest, MarkersOfTheEthernet) {
    EXPECT_FALSE(CheckForEthernetFactoryDefaults());
    EXPECT_FALSE(ClearEthernetFactoryDefaultsStatusFile());
    mFolder.Write("Veltrix/Ethernet_FactoryDefaults", "");
    EXPECT_TRUE(CheckForEthernetFactoryDefaults());
    EXPECT_FALSE(CheckForWiFiFactoryDefaults());
    EXPECT_TRUE(ClearEthernetFactoryDefaultsStatusFile());
    EXPECT_FALSE(CheckForEthernetFactoryDefaults());
}

TEST_F(FileHelpersTest, TheDistributionsVersion) {
    EXPECT_EQ(GetYoctoVersion(), "n/a");
    mFolder.Write("BuildVersion/BuildVersion", "Kernel 5.4-r1\nThe Yocto build 3.1-r17\nYocto 9-r9\n");
    EXPECT_EQ(GetYoctoVersion(), "The Yocto build 3.1");
    mFolder.Write("BuildVersion/BuildVersion", "Yocto-release-3.1-r17");
    EXPECT_EQ(GetYoctoVersion(), "Yocto-release-3.1");
    mFolder.Write("BuildVersion/BuildVersion", "Yocto 3.1\n");
    EXPECT_EQ(GetYoctoVersion(), "Yocto 3.1");
    mFolder.Write("BuildVersion/BuildVersion", "yocto 3.1\n");
    EXPECT_EQ(GetYoctoVersion(), "n/a");
}

TEST_F(FileHelpersTest, AShellCommandsWholeOutput) {
    EXPECT_EQ(runShellCommand("printf 'a b\\n\\n%%s\\nno newline'"), "a b\n\n%s\nno newline");
    EXPECT_EQ(runShellCommand("echo told; false"), "told\n");
    EXPECT_EQ(runShellCommand("exit 3"), "");
    EXPECT_EQ(runShellCommand("exec 2>&1; no_such_command_here").empty(), false);
}

TEST_F(FileHelpersTest, AShellCommandsLongLines) {
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        expected += "0123456789";
    }
    EXPECT_EQ(runShellCommand("i=0; while [ $i -lt 2000 ]; do printf 0123456789; i=$((i+1)); done"), expected);
}

TEST_F(FileHelpersTest, AShellCommandThatCannotBeStarted) {
    LogCapture log;
    LetPopenFail(true);
    EXPECT_EQ(runShellCommand("echo text"), "");
    LetPopenFail(false);
    EXPECT_THAT(log.Take(), ElementsAre(Error("Unable to run the shell. Too many open files")));
    EXPECT_EQ(runShellCommand("echo text"), "text\n");
    EXPECT_THAT(log.Take(), IsEmpty());
}

// Signals that interrupt the read must not cut the output.
TEST_F(FileHelpersTest, AShellCommandUnderSignals) {
    struct sigaction interrupting {};
    struct sigaction before {};
    interrupting.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGALRM, &interrupting, &before), 0);  // without SA_RESTART
    const itimerval often{.it_interval = {.tv_sec = 0, .tv_usec = 5000}, .it_value = {.tv_sec = 0, .tv_usec = 5000}};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &often, nullptr), 0);
    EXPECT_EQ(runShellCommand("echo first; sleep 0.2; printf sec; sleep 0.2; echo ond"), "first\nsecond\n");
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
}

}  // namespace
