// The carrier's heartbeats: the one start sequence, and what every one of them does.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <map>
#include <ostream>

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

constexpr std::uint8_t kBootloaderVersion = 7;
constexpr std::uint8_t kCarrierVersion = 8;
constexpr std::uint8_t kBoardRevision = 50;
constexpr std::uint8_t kAdminAccess = 37;
constexpr std::uint8_t kGetVBat = 13;
constexpr std::uint8_t kGetRtc = 15;

CarrierStub::Bytes Heartbeat(std::uint16_t version, std::uint16_t commType, std::uint16_t other = 0) {
    const auto low = [](std::uint16_t word) { return static_cast<std::uint8_t>(word & 0xFFU); };
    const auto high = [](std::uint16_t word) { return static_cast<std::uint8_t>(word >> 8U); };
    return FrameBuilder::Frame(9,
                               {low(version), high(version), low(commType), high(commType), low(other), high(other)});
}

void LetAnswerVersions(CarrierStub& line) {
    line.Answer(kBootloaderVersion, FrameBuilder::Ack({'B', 'o', 'o', 't', '1', 0}));
    line.Answer(kCarrierVersion, FrameBuilder::Ack({'5', '3', '1', '7', '2', '6', 'R', 0}));
    line.Answer(kBoardRevision, FrameBuilder::Ack({0xA1}));
}

class HeartbeatTest : public CarrierTest {
protected:
    HeartbeatTest() { HalGlobals::g_TessimorUpdateTimer = 0; }
};

class HeartbeatOnBusTest : public CarrierOnBusTest {
protected:
    HeartbeatOnBusTest() { HalGlobals::g_TessimorUpdateTimer = 0; }
};

TEST_F(HeartbeatTest, TheFirstOneRunsTheStartSequenceInOrder) {
    LetAnswerVersions(mLine);
    const auto printed = Printed([&] { Receive({0x0A, 0x09, 0x06, 0x00, 0xE8, 0xBE, 8, 0, 0, 0, 0, 0, 0xD6, 0xD7}); });
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC",    // Ack
                                                "0A 07 00 00 AC 75",    // GetBootloaderVersion
                                                "0A 08 00 00 E6 B2",    // GetCarrierVersion
                                                "0A 32 00 00 13 66",    // BoardRevision
                                                "0A 25 00 00 1A F6",    // AdminAccess
                                                "0A 0D 00 00 DF 0F",    // GetVBat
                                                "0A 0F 00 00 6A B7"));  // GetRTC
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "Boot1");
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "531726R");
    EXPECT_EQ(mCarrier->mBoardRevision, 0xA1);
    EXPECT_EQ(mCarrier->mCarrierHALVersion, 8);
    EXPECT_THAT(printed, ElementsAre("0x1 received after 0ms", "Veltrix bootloader version: Boot1",
                                     "0x1 received after 0ms", "Veltrix carrier version: 531726R",
                                     "0x1 received after 0ms", "Veltrix Board Revision: 0xa1", "published info"));
}

TEST_F(HeartbeatTest, ItsVersionIsTakenAndJudgedBeforeItIsAcknowledged) {
    std::uint16_t versionAtAck = 0;
    std::vector<LogLine> loggedAtAck;
    mLine.Watch([&](const Bytes& frame) {
        if (frame.at(1) == 1) {
            versionAtAck = mCarrier->mCarrierHALVersion;
            loggedAtAck = mLog.Take();
        }
    });
    for (const bool isFirst : {true, false}) {
        SCOPED_TRACE(isFirst);
        mCarrier->mCarrierHALVersion = 0;
        versionAtAck = 0;
        loggedAtAck.clear();
        Receive(Heartbeat(7, 2));
        EXPECT_EQ(versionAtAck, 7);
        EXPECT_THAT(loggedAtAck, ElementsAre(Warning("Carrier comm settings do not match those of SBC"),
                                             Warning("Carrier: HAL 7, Comm 2; SBC: HAL 8, Comm 0")));
        mLog.Take();
    }
}

TEST_F(HeartbeatTest, BelowVerbosityZeroTheStartSequencePrintsOnlyThatItPublished) {
    VeltrixErrorLog::gVerbosity = -1;
    LetAnswerVersions(mLine);
    EXPECT_THAT(Printed([&] { Receive(Heartbeat(8, 0)); }), ElementsAre("published info"));
}

TEST_F(HeartbeatTest, LaterOnesAreOnlyAcknowledged) {
    LetAnswerVersions(mLine);
    Receive(Heartbeat(8, 0));
    mLine.TakeFrames();
    Receive(Heartbeat(8, 0));
    Receive(FrameBuilder::Frame(9));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC", "0A 01 00 00 7A AC"));
}

TEST_F(HeartbeatTest, TheStartSequenceRunsOnceForTheProcessEvenWhenItsCarrierFailed) {
    mLine.Answer(kBootloaderVersion, CarrierStub::kSilence);
    mLine.Answer(kCarrierVersion, CarrierStub::kSilence);
    mLine.Answer(kBoardRevision, CarrierStub::kSilence);
    Receive(Heartbeat(8, 0));
    mLine.TakeFrames();
    TestCarrier another(mLine.Port(), mClient);
    mLine.Port().Feed(Heartbeat(8, 0));
    another.Process();
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(HeartbeatTest, FailedRequestsAreReportedAndTheSequenceGoesOn) {
    mCarrier->mBoardRevision = 7;
    for (const std::uint8_t request : {kBootloaderVersion, kCarrierVersion, kBoardRevision}) {
        mLine.Answer(request, CarrierStub::kSilence);
    }
    const auto printed = Printed([&] { Receive(Heartbeat(8, 0)); });
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre("0A 01 00 00 7A AC",                                            //
                            "0A 07 00 00 AC 75", "0A 07 00 00 AC 75", "0A 07 00 00 AC 75",  //
                            "0A 08 00 00 E6 B2", "0A 08 00 00 E6 B2", "0A 08 00 00 E6 B2",  //
                            "0A 32 00 00 13 66", "0A 32 00 00 13 66", "0A 32 00 00 13 66",  //
                            "0A 25 00 00 1A F6", "0A 0D 00 00 DF 0F", "0A 0F 00 00 6A B7"));
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "");
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "");
    EXPECT_EQ(mCarrier->mBoardRevision, 7);
    EXPECT_THAT(printed, IsSupersetOf({"Failed to get carrier bootloader version", "Failed to get carrier app version",
                                       "Failed to get board revision", "published info"}));
    EXPECT_THAT(LogWith("Failed to get"),
                ElementsAre(Warning("Failed to get carrier bootloader version"),
                            Warning("Failed to get carrier app version"), Warning("Failed to get board revision")));
}

TEST_F(HeartbeatTest, EachFailedRequestFailsAlone) {
    const std::vector<std::pair<std::uint8_t, std::string>> kRequests = {
        {kBootloaderVersion, "Failed to get carrier bootloader version"},
        {kCarrierVersion, "Failed to get carrier app version"},
        {kBoardRevision, "Failed to get board revision"}};
    for (const auto& [request, text] : kRequests) {
        SCOPED_TRACE(text);
        TestCarrier::ResetClassState();
        mCarrier = std::make_unique<TestCarrier>(mLine.Port(), mClient);
        LetAnswerVersions(mLine);
        mLine.Answer(request, FrameBuilder::Nack(0));
        EXPECT_THAT(Printed([&] { Receive(Heartbeat(8, 0)); }), Contains(text).Times(1));
        EXPECT_THAT(LogWith("Failed to get"), ElementsAre(Warning(text)));
        EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, request == kBootloaderVersion ? "" : "Boot1");
        EXPECT_EQ(mCarrier->mCarrierAppVersion, request == kCarrierVersion ? "" : "531726R");
        EXPECT_EQ(mCarrier->mBoardRevision, request == kBoardRevision ? 0 : 0xA1);
    }
}

TEST_F(HeartbeatTest, CommandsOfTheStartSequenceThatAreNotAnsweredTakeThreeTimes200MillisecondsEach) {
    LetAnswerVersions(mLine);
    for (const std::uint8_t command : {kAdminAccess, kGetVBat, kGetRtc}) {
        mLine.Answer(command, CarrierStub::kSilence);
    }
    Receive(Heartbeat(8, 0));
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre("0A 01 00 00 7A AC", "0A 07 00 00 AC 75", "0A 08 00 00 E6 B2", "0A 32 00 00 13 66",
                            "0A 25 00 00 1A F6", "0A 25 00 00 1A F6", "0A 25 00 00 1A F6",  //
                            "0A 0D 00 00 DF 0F", "0A 0D 00 00 DF 0F", "0A 0D 00 00 DF 0F",  //
                            "0A 0F 00 00 6A B7", "0A 0F 00 00 6A B7", "0A 0F 00 00 6A B7"));
    EXPECT_EQ(mClock.ElapsedMs(), 1800U);
}

TEST_F(HeartbeatTest, AVersionThatAStopLeftNoTimeToSayIsNoMismatch) {
    mLine.Answer(kBootloaderVersion, CarrierStub::kSilence);
    mLine.Answer(kCarrierVersion, CarrierStub::kSilence);
    mLine.Watch([&](const Bytes& frame) { gKeepRunning = gKeepRunning && frame[1] != kBootloaderVersion; });
    Receive(Heartbeat(8, 0));
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre("0A 01 00 00 7A AC", "0A 07 00 00 AC 75", "0A 08 00 00 E6 B2", "0A 32 00 00 13 66",
                            "0A 25 00 00 1A F6", "0A 0D 00 00 DF 0F", "0A 0F 00 00 6A B7"));
    EXPECT_THAT(LogWith("Could not publish"), ElementsAre(Warning("Could not publish carrier_info on /bus. "
                                                                  "No such file or directory")));
}

TEST_F(HeartbeatTest, FailedRequestsArePrintedFromVerbosityZeroOn) {
    VeltrixErrorLog::gVerbosity = -1;
    for (const std::uint8_t request : {kBootloaderVersion, kCarrierVersion, kBoardRevision}) {
        mLine.Answer(request, FrameBuilder::Nack(0));
    }
    EXPECT_THAT(Printed([&] { Receive(Heartbeat(8, 0)); }), Each(Not(StartsWith("Failed to get"))));
    EXPECT_EQ(LogWith("Failed to get").size(), 3U);
}

TEST_F(HeartbeatTest, AVersionTextEndsAtItsZeroOrAfter100Bytes) {
    mLine.Answer(kBootloaderVersion, FrameBuilder::Ack(Bytes(100, 'b')));
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'a', 0, 'b'}));
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, std::string(100, 'b'));
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "a");
}

TEST_F(HeartbeatTest, AVersionTextOf101BytesIsNotTaken) {
    mLine.Answer(kBootloaderVersion, FrameBuilder::Ack(Bytes(101, 'b')));
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "");
    EXPECT_THAT(LogWith("Failed to get carrier boot"), testing::SizeIs(1));
}

TEST_F(HeartbeatTest, AShortAnswerDoesNotKeepTheRestOfTheOneBefore) {
    mLine.Answer(kBootloaderVersion, FrameBuilder::Ack({'l', 'o', 'n', 'g', 'e', 'r'}));
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'s', 'h'}));
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "sh");
}

TEST_F(HeartbeatTest, OnlyTheExpectedApplicationVersionIsValid) {
    for (const char* const other : {"", "531726r", "531726", "531726RR", " 531726R", "531726R ", "531725R"}) {
        mCarrier->mCarrierAppVersion = other;
        EXPECT_FALSE(mCarrier->CheckIfCarrierVersionIsValid()) << other;
    }
    mCarrier->mCarrierAppVersion = "531726R";
    EXPECT_TRUE(mCarrier->CheckIfCarrierVersionIsValid());
}

TEST_F(HeartbeatOnBusTest, AnotherApplicationVersionIsReportedOnTheBus) {
    LetAnswerVersions(mLine);
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'5', '3', '1', '7', '2', '5', 'Q', 0}));
    Receive(Heartbeat(8, 0));
    const auto report = OnlyOn<ErrorLogType>("error_log");
    EXPECT_EQ(report.get_code(), "SWMismatch_System");
    EXPECT_EQ(report.get_message(), "531725Q received, but expecting 531726R");
    ExpectNow(report.get_timestamp());
    // The start sequence goes on after it.
    EXPECT_THAT(mLine.TakeFrames(), testing::SizeIs(7));
    EXPECT_THAT(Published("carrier_info"), testing::SizeIs(1));
}

TEST_F(HeartbeatOnBusTest, AMismatchIsReportedBehindTheRequestsAndBeforeTheCommands) {
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'5', '3', '1', '7', '2', '5', 'Q', 0}));
    std::map<std::uint8_t, std::size_t> reports;
    mLine.Watch([&](const Bytes& frame) { reports[frame.at(1)] = Published("error_log").size(); });
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(reports.at(kBoardRevision), 0U);
    EXPECT_EQ(reports.at(kAdminAccess), 1U);
}

TEST_F(HeartbeatOnBusTest, AMismatchThatIsKnownWhenTheProcessIsToStopIsReported) {
    LetAnswerVersions(mLine);
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'5', '3', '1', '7', '2', '5', 'Q', 0}));
    mLine.Watch([&](const Bytes& frame) { gKeepRunning = gKeepRunning && frame[1] != kBoardRevision; });
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(OnlyOn<ErrorLogType>("error_log").get_message(), "531725Q received, but expecting 531726R");
    EXPECT_THAT(mLine.TakeFrames(), testing::SizeIs(7)) << "the sequence goes on";
    EXPECT_EQ(OnlyOn<CarrierInfo>("carrier_info").get_appVersion(), "531725Q");
}

TEST_F(HeartbeatOnBusTest, AVersionThatWasRefusedBeforeTheStopIsAMismatch) {
    LetAnswerVersions(mLine);
    mLine.Answer(kCarrierVersion, FrameBuilder::Nack(0));
    mLine.Watch([&](const Bytes& frame) { gKeepRunning = gKeepRunning && frame[1] != kBoardRevision; });
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(OnlyOn<ErrorLogType>("error_log").get_message(), " received, but expecting 531726R");
}

TEST_F(HeartbeatOnBusTest, TheCarrierInfoIsPublishedBehindTheLastCommand) {
    LetAnswerVersions(mLine);
    std::size_t published = 99;
    mLine.Watch([&](const Bytes& frame) {
        if (frame.at(1) == kGetRtc) {
            published = Published("carrier_info").size();
        }
    });
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(published, 0U);
    EXPECT_THAT(Published("carrier_info"), testing::SizeIs(1));
}

TEST_F(HeartbeatTest, WithoutABrokerTheReportOfAMismatchIsAWarning) {
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'5', '3', '1', '7', '2', '5', 'Q', 0}));
    Receive(Heartbeat(8, 0));
    EXPECT_THAT(LogWith("publish error_log"),
                ElementsAre(Warning("Could not publish error_log on /bus. No such file or directory")));
}

TEST_F(HeartbeatOnBusTest, AnUnknownApplicationVersionIsReportedAsEmpty) {
    mLine.Answer(kCarrierVersion, FrameBuilder::Nack(0));
    Receive(Heartbeat(8, 0));
    EXPECT_EQ(OnlyOn<ErrorLogType>("error_log").get_message(), " received, but expecting 531726R");
}

// What the carrier calls its versions is neither a format nor, necessarily, text.
TEST_F(HeartbeatOnBusTest, VersionsOfAnyBytesArePublished) {
    mLine.Answer(kBootloaderVersion, FrameBuilder::Ack({0xC3}));
    mLine.Answer(kCarrierVersion, FrameBuilder::Ack({'A', 0xFF, '{', '}', '%', 'n'}));
    EXPECT_THAT(Printed([&] { Receive(Heartbeat(8, 0)); }), Contains("Veltrix carrier version: A\xFF{}%n"));
    EXPECT_EQ(OnlyOn<ErrorLogType>("error_log").get_message(), "A\xEF\xBF\xBD{}%n received, but expecting 531726R");
    const auto info = OnlyOn<CarrierInfo>("carrier_info");
    EXPECT_EQ(info.get_appVersion(), "A\xEF\xBF\xBD{}%n");
    EXPECT_EQ(info.get_bootloaderVersion(), "\xEF\xBF\xBD");
}

TEST_F(HeartbeatOnBusTest, TheExpectedApplicationVersionIsNoMismatch) {
    LetAnswerVersions(mLine);
    Receive(Heartbeat(8, 0));
    EXPECT_THAT(Published("error_log"), IsEmpty());
    const auto info = OnlyOn<CarrierInfo>("carrier_info");
    EXPECT_EQ(info.get_appVersion(), "531726R");
    EXPECT_EQ(info.get_bootloaderVersion(), "Boot1");
    EXPECT_EQ(info.get_HALVersion(), 8U);
}

TEST_F(HeartbeatOnBusTest, CarrierInfoIsPublishedOnceForTheProcess) {
    LetAnswerVersions(mLine);
    Receive(Heartbeat(8, 0));
    Receive(Heartbeat(8, 0));
    EXPECT_THAT(Published("carrier_info"), testing::SizeIs(1));
}

TEST_F(HeartbeatOnBusTest, UnknownVersionsAreLeftOutOfTheCarrierInfo) {
    EXPECT_THAT(Printed([&] { mCarrier->PublishCarrierInfo(); }), ElementsAre("published info"));
    const auto info = OnlyOn<CarrierInfo>("carrier_info");
    EXPECT_FALSE(info.has_appVersion());
    EXPECT_FALSE(info.has_bootloaderVersion());
    EXPECT_EQ(info.get_HALVersion(), 0U);
}

TEST_F(HeartbeatTest, WithoutABrokerTheCarrierInfoIsAWarning) {
    EXPECT_THAT(Printed([&] { mCarrier->PublishCarrierInfo(); }), ElementsAre("published info"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Could not publish carrier_info on /bus. No such file or directory")));
}

TEST_F(HeartbeatTest, ThatTheCarrierInfoIsPublishedIsPrintedBehindThePublication) {
    const std::string failure = "Could not publish carrier_info on /bus. No such file or directory";
    EXPECT_THAT(PrintedBefore(failure, [&] { mCarrier->PublishCarrierInfo(); }), IsEmpty());
}

struct Versions {
    std::uint16_t hal;
    std::uint16_t comm;
    std::uint16_t other;
    const char* logged;  // null where they match

    friend void PrintTo(const Versions& versions, std::ostream* out) {
        *out << "Hal" << versions.hal << "Comm" << versions.comm << "Other" << versions.other;
    }
};

class HeartbeatVersionTest : public HeartbeatTest, public testing::WithParamInterface<Versions> {};

TEST_P(HeartbeatVersionTest, IsComparedWithTheModules) {
    TestCarrier::runOnce = false;
    Receive(Heartbeat(GetParam().hal, GetParam().comm, GetParam().other));
    EXPECT_EQ(mCarrier->mCarrierHALVersion, GetParam().hal);
    std::vector<LogLine> expected;
    if (GetParam().logged != nullptr) {
        expected = {Warning("Carrier comm settings do not match those of SBC"), Warning(GetParam().logged)};
    }
    EXPECT_THAT(mLog.Take(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(All, HeartbeatVersionTest,
                         testing::Values(Versions{8, 0, 0, nullptr}, Versions{8, 0, 0xFFFF, nullptr},
                                         Versions{8, 1, 0, "Carrier: HAL 8, Comm 1; SBC: HAL 8, Comm 0"},
                                         Versions{7, 0, 0, "Carrier: HAL 7, Comm 0; SBC: HAL 8, Comm 0"},
                                         Versions{0x0108, 0x0200, 0, "Carrier: HAL 264, Comm 512; SBC: HAL 8, Comm 0"},
                                         Versions{0, 0, 0, "Carrier: HAL 0, Comm 0; SBC: HAL 8, Comm 0"},
                                         Versions{65535, 65535, 0,
                                                  "Carrier: HAL 65535, Comm 65535; SBC: HAL 8, Comm 0"}));

TEST_F(HeartbeatTest, AnyOtherLengthLeavesTheVersionAlone) {
    TestCarrier::runOnce = false;
    mCarrier->mCarrierHALVersion = 5;
    for (const std::size_t length : {0U, 1U, 2U, 4U, 5U, 7U, 8U, 1000U}) {
        SCOPED_TRACE(length);
        mCarrier->mForceLEDRefresh = false;
        Receive(FrameBuilder::Frame(9, Bytes(length, 1)));
        EXPECT_EQ(mCarrier->mCarrierHALVersion, 5);
        EXPECT_THAT(mLog.Take(), IsEmpty());
        EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
        EXPECT_TRUE(mCarrier->mForceLEDRefresh);
    }
}

TEST_F(HeartbeatTest, EveryOneForcesTheNextLedStatesOut) {
    TestCarrier::runOnce = false;
    for (int i = 0; i < 2; ++i) {
        mCarrier->mForceLEDRefresh = false;
        Receive(Heartbeat(8, 0));
        EXPECT_TRUE(mCarrier->mForceLEDRefresh);
    }
}

TEST_F(HeartbeatTest, TheLedStatesAreForcedOutBehindTheStartSequenceAndBeforeDataReporting) {
    constexpr std::uint8_t kDataReporting = 10;
    HalGlobals::g_TessimorUpdateTimer = std::time(nullptr) + 60;
    LetAnswerVersions(mLine);
    std::map<std::uint8_t, bool> isForced;
    mLine.Watch([&](const Bytes& frame) { isForced[frame.at(1)] = mCarrier->mForceLEDRefresh; });
    Receive(Heartbeat(8, 0));
    EXPECT_FALSE(isForced.at(kGetRtc));
    EXPECT_TRUE(isForced.at(kDataReporting));
}

TEST_F(HeartbeatTest, TheDeviceOffersTheseCapabilities) {
    DeviceCapabilities capabilities;
    capabilities.allowsFeederAttachment = capabilities.reportsProgramNumber = capabilities.reportsProcess = true;
    capabilities.reportsPowerSupplySerialNumber = capabilities.reportsGasType = capabilities.reportsWireAlloy = true;
    capabilities.reportsWireDiameter = capabilities.reportsLifetimeArcHours = true;
    capabilities.realTimeStatusDrivenByEvents = capabilities.reportsBatteryVoltage = capabilities.reportsVolts = false;
    capabilities.reportsAmps = capabilities.reportsWireFeedSpeed = capabilities.reportsWeldEvents = false;
    capabilities.reportsPower = capabilities.reportsGasFlowRate = false;
    mCarrier->GetCapabilities(capabilities);
    EXPECT_FALSE(capabilities.allowsFeederAttachment);
    EXPECT_TRUE(capabilities.realTimeStatusDrivenByEvents);
    EXPECT_TRUE(capabilities.reportsBatteryVoltage);
    EXPECT_TRUE(capabilities.reportsVolts);
    EXPECT_TRUE(capabilities.reportsAmps);
    EXPECT_TRUE(capabilities.reportsWireFeedSpeed);
    EXPECT_FALSE(capabilities.reportsProgramNumber);
    EXPECT_FALSE(capabilities.reportsProcess);
    EXPECT_FALSE(capabilities.reportsPowerSupplySerialNumber);
    EXPECT_FALSE(capabilities.reportsGasType);
    EXPECT_FALSE(capabilities.reportsWireAlloy);
    EXPECT_FALSE(capabilities.reportsWireDiameter);
    EXPECT_FALSE(capabilities.reportsLifetimeArcHours);
    EXPECT_TRUE(capabilities.reportsWeldEvents);
    EXPECT_TRUE(capabilities.reportsPower);
    EXPECT_TRUE(capabilities.reportsGasFlowRate);
}

}  // namespace
