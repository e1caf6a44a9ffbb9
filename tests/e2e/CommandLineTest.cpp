// What the process says and does before it has a bus.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "tests/e2e/Harness/HalLogFile.h"
#include "tests/e2e/Harness/HalProcess.h"
#include "tests/e2e/Harness/Sandbox.h"
#include "tests/support/Broker.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr int kNoBus = 149;
constexpr const char* kIdentityFile = "/Veltrix/identity.config";
constexpr const char* kGoodIdentity = R"({"serialNumber":"SN-0042","machineType":"Strovanel 9","revisionNumber":7})";

// What a run without a broker, which ends by itself, has left behind.
class CommandLineTest : public testing::Test {
protected:
    void Run(const std::vector<std::string>& arguments) {
        HalProcess hal(mSandbox, arguments);
        mStatus = hal.WaitForExit();
        mOut = hal.Out().Lines();
        mErr = hal.Err().Lines();
        mLog = HalLogFile(mSandbox.Path("/Veltrix/log/HAL.log")).Lines();
    }

    void TearDown() override {
        if (HasFailure()) {
            ADD_FAILURE() << testing::PrintToString(mOut) << "\n"
                          << testing::PrintToString(mErr) << "\n"
                          << testing::PrintToString(mLog);
        }
    }

    Sandbox mSandbox;
    std::optional<int> mStatus;
    std::vector<std::string> mOut;
    std::vector<std::string> mErr;
    std::vector<std::string> mLog;
};

TEST_F(CommandLineTest, VersionIsOneLineWhateverFollows) {
    Run({"-V", "-s", "/nowhere", "-Z"});
    EXPECT_EQ(mStatus, 0);
    EXPECT_THAT(mOut, ElementsAre(MatchesRegex("Version undefined [0-9a-f]{40} dirty")));
    EXPECT_THAT(mErr, IsEmpty());
    EXPECT_FALSE(mSandbox.Exists("/Veltrix/log/HAL.log"));
}

TEST_F(CommandLineTest, UnknownOptionPrintsTheHelp) {
    Run({"-Z"});
    EXPECT_EQ(mStatus, 0);
    EXPECT_THAT(
        mOut,
        ElementsAre("VeltrixHAL", "Version: undefined", MatchesRegex("Change: [0-9a-f]{40}"),
                    "Usage: VeltrixHAL <-s socket_name> <-p uart> <-i ID file> <-f> <-v level>", "Where:",
                    "-s <socket_name>  = Provide a non-default Unix socket name to run the server with. The default "
                    "socket filename is /var/veltrix.unix",
                    "-u <uart>  \t\t= Provide a serial port/uart to connect with. The default port is /dev/ttymxc3",
                    "-p <PID file>     = Indicate that a PID file should be written for this process. If this argument "
                    "is not specified, no PID file is written, even for background operation.",
                    "-i <ID file>      = Provide a non-default identity file to use when identifying the HAL (and "
                    "machine). The default identity file is /Veltrix/identity.config.",
                    "-f              \t= Run application in the foreground (no daemon). Disabled by default.",
                    "-v <level>        = Run in a verbose mode. Defaults to 0 (no logging).",
                    "-V                = Show version information."));
}

TEST_F(CommandLineTest, CapitalFormsAndAMissingArgumentPrintTheHelp) {
    for (const char* const option : {"-F", "-P", "-S", "-v"}) {
        Run({option});
        EXPECT_EQ(mStatus, 0) << option;
        ASSERT_FALSE(mOut.empty()) << option;
        EXPECT_EQ(mOut.front(), "VeltrixHAL") << option;
    }
}

TEST_F(CommandLineTest, WithoutABrokerItSaysSoAndEndsBeforeTheUartIsOpened) {
    mSandbox.Write(kIdentityFile, kGoodIdentity);
    Run({"-f", "-v", "2"});
    EXPECT_EQ(mStatus, kNoBus);
    EXPECT_THAT(mOut, ElementsAre("Running in the foreground", "Running with verbosity level 2.",
                                  "Got identity SN-0042 (Strovanel 9) from /Veltrix/identity.config"));
    EXPECT_THAT(mErr, ElementsAre(MatchesRegex("\\[ERROR \\(-2\\)\\] in main\\.cpp@ line [0-9]+: Could not connect to "
                                               "the server at /var/veltrix\\.unix\\."),
                                  "No such file or directory"));
    EXPECT_THAT(
        mLog,
        ElementsAre("[info] HAL booting up...",
                    "[info] Got identity - serial: SN-0042. machine_type : Strovanel 9 from "
                    "/Veltrix/identity.config",
                    "[critical] Could not connect to the server at /var/veltrix.unix. No such file or directory"));
}

TEST_F(CommandLineTest, ADeadBrokersSocketIsRefused) {
    Broker::Options options;
    options.socket = mSandbox.Path("/var/veltrix.unix");
    Broker broker(options);
    broker.Kill();
    Run({"-f"});
    EXPECT_EQ(mStatus, kNoBus);
    ASSERT_FALSE(mLog.empty());
    EXPECT_EQ(mLog.back(), "[critical] Could not connect to the server at /var/veltrix.unix. Connection refused");
    ASSERT_FALSE(mErr.empty());
    EXPECT_EQ(mErr.back(), "Connection refused");
}

TEST_F(CommandLineTest, ASocketGivenIsTheOneThatCounts) {
    Run({"-f", "-s", "/no/such/folder/bus"});
    EXPECT_EQ(mStatus, kNoBus);
    ASSERT_FALSE(mLog.empty());
    EXPECT_EQ(mLog.back(),
              "[critical] Could not connect to the server at /no/such/folder/bus. No such file or directory");

    Run({"-f", "-s", "/" + std::string(200, 'x')});
    EXPECT_EQ(mStatus, kNoBus);
    ASSERT_FALSE(mErr.empty());
    EXPECT_EQ(mErr.back(), "File name too long");
}

TEST_F(CommandLineTest, VerbosityBelowZeroIsZeroAndBeyondAnIntIsTheGreatest) {
    Run({"-v", "-3", "-f"});
    EXPECT_THAT(mOut, Not(testing::Contains(HasSubstr("verbosity"))));
    EXPECT_THAT(mOut, testing::Contains("Running in the foreground"));
    Run({"-v", "0", "-f"});
    EXPECT_THAT(mOut, Not(testing::Contains(HasSubstr("verbosity"))));
    Run({"-v", "99999999999", "-f"});
    EXPECT_THAT(mOut, testing::Contains("Running with verbosity level 2147483647."));
    Run({"-v", "loud", "-f"});
    EXPECT_THAT(mOut, Not(testing::Contains(HasSubstr("verbosity"))));
}

TEST_F(CommandLineTest, TestModeStaysInTheForeground) {
    Run({"-t"});
    EXPECT_EQ(mStatus, kNoBus) << "the status is the process's own, not that of a parent that has left";
    EXPECT_THAT(mOut, testing::Contains("Running in test-mode (DEBUG)"));
}

TEST_F(CommandLineTest, PidFileHoldsTheNumberAndNothingElse) {
    const std::string file = mSandbox.Path("/hal.pid");
    mSandbox.Write("/hal.pid", "something longer from before");
    HalProcess hal(mSandbox, {"-f", "-p", file});
    EXPECT_EQ(hal.WaitForExit(), kNoBus);
    EXPECT_EQ(mSandbox.Read("/hal.pid"), std::to_string(hal.Pid()));
    EXPECT_TRUE(hal.Out().Has("Generating PID file /hal.pid."));
}

TEST_F(CommandLineTest, PidFileThatCannotBeWrittenIsPassedOver) {
    Run({"-f", "-p", "/no/such/folder/hal.pid"});
    EXPECT_EQ(mStatus, kNoBus);
    EXPECT_THAT(mOut, testing::Contains("Generating PID file /no/such/folder/hal.pid."));
    EXPECT_THAT(mErr, Not(testing::Contains(HasSubstr("pid"))));
}

TEST_F(CommandLineTest, WithoutTheOptionThereIsNoPidFile) {
    Run({"-f"});
    for (const auto& entry : std::filesystem::recursive_directory_iterator(mSandbox.Root())) {
        EXPECT_EQ(entry.path().string().find("pid"), std::string::npos) << entry.path();
    }
}

// Identity files that are no complete identity: what is said, and what is known of the machine all the same.
struct IdentityCase {
    const char* name;
    const char* content;
    const char* gotIdentity;
};

void PrintTo(const IdentityCase& identity, std::ostream* out) {
    *out << identity.content;
}

class IdentityFileTest : public CommandLineTest, public testing::WithParamInterface<IdentityCase> {};

TEST_P(IdentityFileTest, IncompleteIsReportedAndTheRestIsKept) {
    mSandbox.Write(kIdentityFile, GetParam().content);
    Run({"-f"});
    EXPECT_EQ(mStatus, kNoBus);
    ASSERT_GE(mErr.size(), 1U);
    EXPECT_THAT(mErr.front(), MatchesRegex("ERROR \\(-1\\) @ Identity\\.cpp\\.[0-9]+-> Some or all parts of the "
                                           "identity were not parsed from \\('/Veltrix/identity\\.config'\\)!"));
    ASSERT_GE(mLog.size(), 3U);
    EXPECT_EQ(mLog[1],
              "[critical] Some or all parts of the identity were not parsed from ('/Veltrix/identity.config')!");
    EXPECT_EQ(mLog[2], std::string("[info] Got identity - serial: ") + GetParam().gotIdentity +
                           " from /Veltrix/identity.config");
}

INSTANTIATE_TEST_SUITE_P(
    CommandLineTest, IdentityFileTest,
    testing::Values(IdentityCase{"Empty", "", ". machine_type : "},
                    IdentityCase{"NoJson", "hello", ". machine_type : "},
                    IdentityCase{"WithoutSerialNumber", R"({"machineType":"Strovanel 9","revisionNumber":7})",
                                 ". machine_type : Strovanel 9"},
                    IdentityCase{"WithoutRevision", R"({"serialNumber":"A1","machineType":"Strovanel 9"})",
                                 "A1. machine_type : Strovanel 9"},
                    IdentityCase{"Half", R"({"serialNumber":"A1","mach)", ". machine_type : "}),
    [](const auto& test) { return test.param.name; });

TEST_F(CommandLineTest, MissingIdentityFileIsReported) {
    Run({"-f"});
    ASSERT_GE(mErr.size(), 1U);
    EXPECT_THAT(mErr.front(), MatchesRegex("ERROR \\(-22\\) @ Identity\\.cpp\\.[0-9]+-> Could not open the identity "
                                           "file \\('/Veltrix/identity\\.config'\\)!"));
    ASSERT_GE(mLog.size(), 3U);
    EXPECT_EQ(mLog[1], "[critical] Could not open the identity file ('/Veltrix/identity.config')!");
    EXPECT_EQ(mLog[2], "[info] Got identity - serial: . machine_type :  from /Veltrix/identity.config");
    EXPECT_THAT(mOut, testing::Contains("Got identity  () from /Veltrix/identity.config"));
}

TEST_F(CommandLineTest, AFolderAsIdentityFileIsAnEmptyOne) {
    std::filesystem::create_directories(mSandbox.Path(kIdentityFile));
    Run({"-f"});
    ASSERT_GE(mErr.size(), 1U);
    EXPECT_THAT(mErr.front(), StartsWith("ERROR (-1) @ Identity.cpp."));
}

TEST_F(CommandLineTest, AnIdentityFileGivenIsTheOneThatIsRead) {
    mSandbox.Write("/other/identity", kGoodIdentity);
    Run({"-f", "-i", mSandbox.Path("/other/identity")});
    EXPECT_THAT(mOut, testing::Contains("Got identity SN-0042 (Strovanel 9) from /other/identity"));
    EXPECT_THAT(mLog, testing::Contains("[info] Got identity - serial: SN-0042. machine_type : Strovanel 9 from "
                                        "/other/identity"));
}

TEST_F(CommandLineTest, WithoutALogTheConsoleStandsIn) {
    mSandbox.Write("/Veltrix/log", "no folder");
    Run({"-f"});
    EXPECT_EQ(mStatus, kNoBus);
    EXPECT_THAT(mOut,
                ElementsAre("Running in the foreground",
                            MatchesRegex("Rotating logger is nullptr - level: 4 - logged at Identity\\.cpp:[0-9]+"),
                            "Got identity  () from /Veltrix/identity.config",
                            MatchesRegex("Rotating logger is nullptr - level: 4 - logged at main\\.cpp:[0-9]+")));
}

}  // namespace
