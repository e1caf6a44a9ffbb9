// Who this machine is, from its identity file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VeltrixHAL/Identity.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/ScratchFolder.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr const char* kWhole = R"({"serialNumber": "S1", "machineType": "M2", "revisionNumber": 3})";

class IdentityTest : public testing::Test {
protected:
    // Reads a file of the test's folder, and keeps what that writes on standard error.
    int Read(const std::string& name = "Veltrix/identity.config") {
        ConsoleCapture errors(STDERR_FILENO);
        const int result = GetIdentityData(mFolder.Path(name), mInfo);
        mErrors = errors.Take();
        return result;
    }
    int ReadContent(const std::string& content) {
        mFolder.Write("Veltrix/identity.config", content);
        return Read();
    }

    void ExpectNotParsed() {
        EXPECT_THAT(mErrors, MatchesRegex("ERROR \\(-1\\) @ Identity\\.cpp\\.[0-9]+-> Some or all parts of the "
                                          "identity were not parsed from "
                                          "\\('/Veltrix/identity\\.config'\\)!\n"));
        EXPECT_THAT(mLog.Take(), ElementsAre(Critical("Some or all parts of the identity were not parsed from "
                                                      "('/Veltrix/identity.config')!")));
    }

    const ScratchFolder mFolder;
    const ScopedVariable mRoot{"VELTRIX_ROOT", mFolder.Path()};
    const GlobalsGuard mGlobals;
    LogCapture mLog;
    HALInfo mInfo;
    std::string mErrors;
};

TEST_F(IdentityTest, AWholeFileIsTakenWithoutAWord) {
    EXPECT_EQ(ReadContent(kWhole), 0);
    EXPECT_EQ(mInfo.get_serialNumber(), "S1");
    EXPECT_EQ(mInfo.get_machineType(), "M2");
    EXPECT_EQ(mInfo.get_revisionNumber(), 3U);
    EXPECT_EQ(mErrors, "");
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(IdentityTest, AFileMayHaveManyLinesAndUnknownKeys) {
    EXPECT_EQ(ReadContent("\n{\n\"serialNumber\": \"S1\",\r\n\"other\": [1],\n\"machineType\": \"M2\",\n"
                          "\"revisionNumber\": 3\n}\n"),
              0);
    EXPECT_EQ(mInfo.get_machineType(), "M2");
}

TEST_F(IdentityTest, AFileThatIsNotThereKeepsTheDefaults) {
    EXPECT_EQ(Read(), -22);
    EXPECT_THAT(mErrors, MatchesRegex("ERROR \\(-22\\) @ Identity\\.cpp\\.[0-9]+-> Could not open the identity file "
                                      "\\('/Veltrix/identity\\.config'\\)!\n"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Critical("Could not open the identity file ('/Veltrix/identity.config')!")));
    EXPECT_EQ(mInfo.get_serialNumber(), "");
    EXPECT_EQ(mInfo.get_machineType(), "");
    EXPECT_EQ(mInfo.get_revisionNumber(), 0U);
}

TEST_F(IdentityTest, AMissingKeyIsReportedAndTheRestTaken) {
    EXPECT_EQ(ReadContent(R"({"serialNumber": "S1", "revisionNumber": 3})"), -1);
    ExpectNotParsed();
    EXPECT_EQ(mInfo.get_serialNumber(), "S1");
    EXPECT_EQ(mInfo.get_machineType(), "");
    EXPECT_EQ(mInfo.get_revisionNumber(), 3U);
}

TEST_F(IdentityTest, EachKeyIsNeeded) {
    for (const char* const content :
         {R"({"machineType": "M2", "revisionNumber": 3})", R"({"serialNumber": "S1", "revisionNumber": 3})",
          R"({"serialNumber": "S1", "machineType": "M2"})", "{}"}) {
        SCOPED_TRACE(content);
        EXPECT_EQ(ReadContent(content), -1);
        ExpectNotParsed();
    }
}

TEST_F(IdentityTest, AKeyOfTheWrongTypeIsReported) {
    EXPECT_EQ(ReadContent(R"({"serialNumber": 1, "machineType": "M2", "revisionNumber": 3})"), -1);
    ExpectNotParsed();
    EXPECT_EQ(mInfo.get_serialNumber(), "");
    EXPECT_EQ(mInfo.get_machineType(), "M2");
}

TEST_F(IdentityTest, AnEmptyFileIsReported) {
    EXPECT_EQ(ReadContent(""), -1);
    ExpectNotParsed();
}

TEST_F(IdentityTest, AFolderCountsAsAnEmptyFile) {
    mFolder.Write("Veltrix/identity.config/file", "");
    EXPECT_EQ(Read(), -1);
    ExpectNotParsed();
}

TEST_F(IdentityTest, WhatIsNoJsonIsReported) {
    for (const char* const content : {"serial S1", "[1]", "{\"serialNumber\": \"S1\""}) {
        EXPECT_EQ(ReadContent(content), -1) << content;
        ExpectNotParsed();
    }
}

TEST_F(IdentityTest, NothingIsReadBehindAByteOf255) {
    EXPECT_EQ(ReadContent(std::string(kWhole) + "\xFFnot looked at"), 0);
    EXPECT_EQ(ReadContent(std::string("\xFF") + kWhole), -1);
}

TEST_F(IdentityTest, AFileOutsideTheRootIsNamedAsItWasGiven) {
    ConsoleCapture errors(STDERR_FILENO);
    EXPECT_EQ(GetIdentityData("/no/such/identity", mInfo), -22);
    EXPECT_THAT(mLog.Take(), ElementsAre(Critical("Could not open the identity file ('/no/such/identity')!")));
}

TEST_F(IdentityTest, WithoutALogALineOfLevelFourTakesTheMessagesPlace) {
    VeltrixErrorLog::gRotatingLogger = nullptr;
    ConsoleCapture console;
    Read();
    EXPECT_THAT(console.Take(),
                MatchesRegex("Rotating logger is nullptr - level: 4 - logged at Identity\\.cpp:[0-9]+\n"));
    EXPECT_THAT(mErrors, testing::StartsWith("ERROR (-22) @ "));
}

}  // namespace
