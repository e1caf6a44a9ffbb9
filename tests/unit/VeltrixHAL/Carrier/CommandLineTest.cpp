// The command line: what it sets, and what it prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include "VeltrixHAL/CommandLine.h"
#include "tests/unit/ScratchFolder.h"
#include "tests/unit/VeltrixHAL/Carrier/Texts.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class CommandLineTest : public testing::Test {
protected:
    // The exit status, or nothing; what was printed is kept.
    std::optional<int> Parse(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "VeltrixHAL");
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        ::optind = 0;
        ConsoleCapture console;
        const ConsoleCapture errors(STDERR_FILENO);  // getopt's own words about unknown options
        const auto status = ParseCommandLine(static_cast<int>(arguments.size()), pointers.data(), mSettings);
        mPrinted = Lines(console.Take());
        return status;
    }

    void ExpectHelp() {
        ASSERT_EQ(mPrinted.size(), 12U);
        EXPECT_EQ(mPrinted[0], "VeltrixHAL");
        EXPECT_EQ(mPrinted[1], "Version: undefined");
        EXPECT_THAT(mPrinted[2], MatchesRegex("Change: [0-9a-f]{40}"));
        EXPECT_EQ(mPrinted[3], "Usage: VeltrixHAL <-s socket_name> <-p uart> <-i ID file> <-f> <-v level>");
        EXPECT_EQ(mPrinted[4], "Where:");
        EXPECT_EQ(mPrinted[5],
                  "-s <socket_name>  = Provide a non-default Unix socket name to run the server with. The default "
                  "socket filename is /var/veltrix.unix");
        EXPECT_EQ(mPrinted[6],
                  "-u <uart>  \t\t= Provide a serial port/uart to connect with. The default port is /dev/ttymxc3");
        EXPECT_EQ(mPrinted[7],
                  "-p <PID file>     = Indicate that a PID file should be written for this process. If this argument "
                  "is not specified, no PID file is written, even for background operation.");
        EXPECT_EQ(mPrinted[8],
                  "-i <ID file>      = Provide a non-default identity file to use when identifying the HAL (and "
                  "machine). The default identity file is /Veltrix/identity.config.");
        EXPECT_EQ(mPrinted[9],
                  "-f              \t= Run application in the foreground (no daemon). Disabled by default.");
        EXPECT_EQ(mPrinted[10], "-v <level>        = Run in a verbose mode. Defaults to 0 (no logging).");
        EXPECT_EQ(mPrinted[11], "-V                = Show version information.");
    }

    const ScopedVariable mRoot{"VELTRIX_ROOT", "/the/root"};
    const GlobalsGuard mGlobals;
    CommandLineSettings mSettings;
    std::vector<std::string> mPrinted;
};

TEST_F(CommandLineTest, WithoutOptionsTheDefaultsHold) {
    EXPECT_EQ(Parse({}), std::nullopt);
    EXPECT_EQ(mSettings.busSocket, "/the/root/var/veltrix.unix");
    EXPECT_EQ(mSettings.uart, "/the/root/dev/ttymxc3");
    EXPECT_EQ(mSettings.identityFile, "/the/root/Veltrix/identity.config");
    EXPECT_EQ(mSettings.pidFile, "");
    EXPECT_FALSE(mSettings.isForeground);
    EXPECT_FALSE(mSettings.isTestMode);
    EXPECT_EQ(VeltrixErrorLog::gVerbosity, 0);
    EXPECT_THAT(mPrinted, IsEmpty());
}

TEST_F(CommandLineTest, WithoutARootTheDefaultsLieWhereTheySay) {
    const ScopedVariable none("VELTRIX_ROOT", "");
    Parse({});
    EXPECT_EQ(mSettings.busSocket, "/var/veltrix.unix");
    EXPECT_EQ(mSettings.uart, "/dev/ttymxc3");
    EXPECT_EQ(mSettings.identityFile, "/Veltrix/identity.config");
}

TEST_F(CommandLineTest, GivenFilesAreTakenAsTheyAre) {
    EXPECT_EQ(Parse({"-s", "/a/socket", "-u", "/b/uart", "-i", "c/identity", "-p", "/d/pid"}), std::nullopt);
    EXPECT_EQ(mSettings.busSocket, "/a/socket");
    EXPECT_EQ(mSettings.uart, "/b/uart");
    EXPECT_EQ(mSettings.identityFile, "c/identity");
    EXPECT_EQ(mSettings.pidFile, "/d/pid");
    EXPECT_THAT(mPrinted, ElementsAre("Generating PID file /d/pid."));
}

TEST_F(CommandLineTest, ArgumentsMayStandRightBehindTheirOption) {
    EXPECT_EQ(Parse({"-s/a/socket", "-ftv2"}), std::nullopt);
    EXPECT_EQ(mSettings.busSocket, "/a/socket");
    EXPECT_TRUE(mSettings.isForeground);
    EXPECT_TRUE(mSettings.isTestMode);
    EXPECT_EQ(VeltrixErrorLog::gVerbosity, 2);
}

TEST_F(CommandLineTest, APidFileBelowTheRootIsShownWithoutIt) {
    Parse({"-p", "/the/root/run/hal.pid"});
    EXPECT_EQ(mSettings.pidFile, "/the/root/run/hal.pid");
    EXPECT_THAT(mPrinted, ElementsAre("Generating PID file /run/hal.pid."));
}

TEST_F(CommandLineTest, ForegroundIsSetAndPrinted) {
    EXPECT_EQ(Parse({"-f"}), std::nullopt);
    EXPECT_TRUE(mSettings.isForeground);
    EXPECT_FALSE(mSettings.isTestMode);
    EXPECT_THAT(mPrinted, ElementsAre("Running in the foreground"));
}

TEST_F(CommandLineTest, TestModeIsSetAndPrinted) {
    EXPECT_EQ(Parse({"-t"}), std::nullopt);
    EXPECT_TRUE(mSettings.isTestMode);
    EXPECT_FALSE(mSettings.isForeground);
    EXPECT_THAT(mPrinted, ElementsAre("Running in test-mode (DEBUG)"));
}

struct Level {
    const char* text;
    int verbosity;
    const char* printed;  // null where nothing is

    friend void PrintTo(const Level& level, std::ostream* out) { *out << level.text; }
};

class VerbosityTest : public CommandLineTest, public testing::WithParamInterface<Level> {};

TEST_P(VerbosityTest, IsReadAndPrintedFromOneOn) {
    EXPECT_EQ(Parse({"-v", GetParam().text}), std::nullopt);
    EXPECT_EQ(VeltrixErrorLog::gVerbosity, GetParam().verbosity);
    if (GetParam().printed == nullptr) {
        EXPECT_THAT(mPrinted, IsEmpty());
    } else {
        EXPECT_THAT(mPrinted, ElementsAre(GetParam().printed));
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, VerbosityTest,
    testing::Values(Level{"0", 0, nullptr}, Level{"1", 1, "Running with verbosity level 1."},
                    Level{"2", 2, "Running with verbosity level 2."}, Level{"-3", 0, nullptr},
                    Level{"-99999999999999999999", 0, nullptr}, Level{"loud", 0, nullptr}, Level{"x2", 0, nullptr},
                    Level{"0x10", 0, nullptr}, Level{"3rd", 3, "Running with verbosity level 3."},
                    Level{" 4", 4, "Running with verbosity level 4."},
                    Level{"2147483647", 2147483647, "Running with verbosity level 2147483647."},
                    Level{"2147483648", 2147483647, "Running with verbosity level 2147483647."},
                    Level{"99999999999999999999", 2147483647, "Running with verbosity level 2147483647."}));

TEST_F(CommandLineTest, OptionsAreHandledInTheirOrder) {
    EXPECT_EQ(Parse({"-f", "-v", "1", "-t", "-v", "0", "-p", "a", "-p", "b"}), std::nullopt);
    EXPECT_THAT(mPrinted,
                ElementsAre("Running in the foreground", "Running with verbosity level 1.",
                            "Running in test-mode (DEBUG)", "Generating PID file a.", "Generating PID file b."));
    EXPECT_EQ(mSettings.pidFile, "b");
    EXPECT_EQ(VeltrixErrorLog::gVerbosity, 0);
}

TEST_F(CommandLineTest, TheVersionEndsTheProcessAtOnce) {
    EXPECT_EQ(Parse({"-V", "-f", "-z"}), 0);
    EXPECT_THAT(mPrinted, ElementsAre(MatchesRegex("Version undefined [0-9a-f]{40} dirty")));
    EXPECT_FALSE(mSettings.isForeground);
}

TEST_F(CommandLineTest, OptionsBeforeTheVersionAreStillHandled) {
    EXPECT_EQ(Parse({"-f", "-V"}), 0);
    EXPECT_THAT(mPrinted, ElementsAre("Running in the foreground", testing::StartsWith("Version undefined ")));
}

TEST_F(CommandLineTest, AnUnknownOptionGetsTheHelpAndStatusZero) {
    EXPECT_EQ(Parse({"-z", "-f"}), 0);
    ExpectHelp();
    EXPECT_FALSE(mSettings.isForeground);
}

TEST_F(CommandLineTest, TheCapitalsAreUnknownToTheOptionString) {
    for (const char* const option : {"-F", "-P", "-S", "-?", "-h", "--help", "--version"}) {
        SCOPED_TRACE(option);
        EXPECT_EQ(Parse({option, "x"}), 0);
        ExpectHelp();
        EXPECT_FALSE(mSettings.isForeground);
        EXPECT_EQ(mSettings.pidFile, "");
        EXPECT_EQ(mSettings.busSocket, "/the/root/var/veltrix.unix");
    }
}

TEST_F(CommandLineTest, AMissingArgumentGetsTheHelp) {
    for (const char* const option : {"-s", "-u", "-p", "-i", "-v"}) {
        SCOPED_TRACE(option);
        EXPECT_EQ(Parse({option}), 0);
        ExpectHelp();
    }
}

TEST_F(CommandLineTest, BelowVerbosityZeroNothingIsPrinted) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"-f"}, {"-t"}, {"-p", "a"}, {"-V"}, {"-z"}}) {
        VeltrixErrorLog::gVerbosity = -1;
        Parse(arguments);
        EXPECT_THAT(mPrinted, IsEmpty()) << arguments[0];
    }
}

}  // namespace
