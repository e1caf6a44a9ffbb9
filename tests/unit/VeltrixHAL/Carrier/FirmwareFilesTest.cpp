// The files that the carrier is updated from, and the small exchanges about versions.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/VeltrixComm/FirmwareFiles.h"

#include <array>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kSending = "\n ---> Sending LED udpates status indication <--- \n";
constexpr const char* kSent = "\n ---> LED udpates status indication sent <--- \n";

struct File {
    const char* name;
    FileDest_t destination;
    int phase;
    bool isApplication;

    friend void PrintTo(const File& file, std::ostream* out) { *out << file.name; }
};

class FirmwareFileTest : public CarrierTest {
protected:
    using StartPayload = std::array<std::uint8_t, 5>;

    StartPayload MakePayload(const std::string& name, std::uint32_t size) {
        StartPayload payload{};
        mCarrier->MakeFirmwarePayloadReady(name, size, payload.data());
        return payload;
    }
};

class EachFirmwareFileTest : public FirmwareFileTest, public testing::WithParamInterface<File> {};

TEST_P(EachFirmwareFileTest, HasItsDestinationAndPhase) {
    const File& file = GetParam();
    const FirmwareFile* const found = FindFirmwareFile(file.name);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->name, file.name);
    EXPECT_EQ(found->destination, file.destination);
    EXPECT_EQ(static_cast<int>(found->phase), file.phase);
    EXPECT_EQ(IsApplicationFile(file.name), file.isApplication);
}

TEST_P(EachFirmwareFileTest, IsAnnouncedWithItsPhase) {
    const File& file = GetParam();
    EXPECT_EQ(MakePayload(file.name, 0x04030201),
              (StartPayload{static_cast<std::uint8_t>(file.destination), 1, 2, 3, 4}));
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre(file.phase == 1 ? "0A 2A 02 00 63 81 01 00 16 9F" : "0A 2A 02 00 63 81 02 00 3C F7"));
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Information("Initiating " + std::string(file.name) + " transfer of size 67305985")));
}

INSTANTIATE_TEST_SUITE_P(All, EachFirmwareFileTest,
                         testing::Values(File{"PreBoot.hex", Dest_BootloadProgram_Hex, 1, false},
                                         File{"VeltrixBoot.hex", Dest_BootloadProgram_Hex, 1, false},
                                         File{"VeltrixBoot_CRC.bin", Dest_BootloadProgram_Bin, 1, false},
                                         File{"VeltrixApp.hex", Dest_MainCarrierProgram_Hex, 2, true},
                                         File{"VeltrixApp_CRC.bin", Dest_MainCarrierProgram_Bin, 2, true}));

TEST_F(FirmwareFileTest, CodesOnTheLineAreThese) {
    EXPECT_EQ(Dest_MainCarrierProgram_Hex, 0);
    EXPECT_EQ(Dest_BootloadProgram_Hex, 1);
    EXPECT_EQ(Dest_MainCarrierProgram_Bin, 2);
    EXPECT_EQ(Dest_BootloadProgram_Bin, 3);
    EXPECT_EQ(UpdatePhase_1, 1);
    EXPECT_EQ(UpdatePhase_2, 2);
    EXPECT_EQ(UpdatePhase_3, 3);
    EXPECT_EQ(UpdatePhase_4, 4);
    EXPECT_EQ(UpdatePhase_End, 5);
    EXPECT_EQ(UpdatePhase_Clear, 6);
    EXPECT_EQ(UpdatePhase_Fail, 7);
}

TEST_F(FirmwareFileTest, OtherNamesAreNotAccepted) {
    for (const char* const name : {"", "veltrixapp.hex", "VELTRIXAPP.HEX", "VeltrixApp_CRC.bin ", "VeltrixApp",
                                   "VeltrixApp.bin", "folder/VeltrixApp.hex", "preboot.hex", "PreBoot.bin"}) {
        EXPECT_EQ(FindFirmwareFile(name), nullptr) << name;
        EXPECT_FALSE(IsApplicationFile(name)) << name;
    }
}

TEST_F(FirmwareFileTest, TheStartPayloadHoldsDestinationAndSize) {
    EXPECT_EQ(MakePayload("VeltrixBoot_CRC.bin", 70000), (StartPayload{0x03, 0x70, 0x11, 0x01, 0x00}));
}

TEST_F(FirmwareFileTest, TheAnnouncementIsPrinted) {
    ConsoleCapture console;
    MakePayload("VeltrixApp.hex", 12);
    EXPECT_EQ(console.Take(), std::string("Initiating VeltrixApp.hex transfer of size 12\n") + kSending + kSent);
}

TEST_F(FirmwareFileTest, TheAnnouncementIsRepeatedUntilTheCarrierTakesIt) {
    // Two whole sends of three attempts each, and the second attempt of a third.
    mLine.AnswerNext(42, FrameBuilder::Nack(16), 7);
    ConsoleCapture console;
    MakePayload("VeltrixApp.hex", 12);
    const std::string printed = console.Take();
    EXPECT_EQ(mLine.Count(42), 8U);
    std::size_t sendings = 0;
    for (std::size_t at = 0; (at = printed.find(kSending, at)) != std::string::npos; ++at) {
        ++sendings;
    }
    EXPECT_EQ(sendings, 3U);
    EXPECT_EQ(printed.substr(printed.size() - std::string(kSent).size()), kSent);
}

TEST_F(FirmwareFileTest, EachAttemptOfTheAnnouncementWaits200Milliseconds) {
    mLine.AnswerNext(42, CarrierStub::kSilence, 4);
    MakePayload("VeltrixApp.hex", 12);
    EXPECT_EQ(mLine.Count(42), 5U);
    EXPECT_EQ(mClock.ElapsedMs(), 800U);
}

TEST_F(FirmwareFileTest, BelowVerbosityZeroTheAnnouncementIsNotPrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] {
                    MakePayload("VeltrixApp.hex", 12);
                    MakePayload("unknown", 12);
                }),
                IsEmpty());
}

TEST_F(FirmwareFileTest, AStopEndsTheRepetition) {
    mLine.Answer(42, FrameBuilder::Nack(13));
    mLine.Watch([&](const Bytes&) {
        if (mLine.Count(42) == 20) {
            gKeepRunning = false;
        }
    });
    ConsoleCapture console;
    MakePayload("VeltrixApp.hex", 12);
    EXPECT_EQ(mLine.Count(42), 20U);
    EXPECT_EQ(console.Take().find(kSent), std::string::npos);
}

TEST_F(FirmwareFileTest, AnUnknownNameIsReportedAndLeavesThePayloadEmpty) {
    StartPayload payload{};
    EXPECT_THAT(Printed([&] { payload = MakePayload("veltrixapp.hex", 70000); }),
                ElementsAre("Unknown transfer file (veltrixapp.hex) specified"));
    EXPECT_EQ(payload, StartPayload{});
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unknown transfer file (veltrixapp.hex) specified")));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(FirmwareFileTest, ANameIsNeverTakenForAFormat) {
    MakePayload("{}%s{0}", 1);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unknown transfer file ({}%s{0}) specified")));
}

class VersionExchangeTest : public CarrierTest {};

TEST_F(VersionExchangeTest, TheModulesVersionIsItsBuildWithAZeroByte) {
    const auto printed = Printed([&] { Receive({0x0A, 0x2C, 0x00, 0x00, 0x86, 0xE8}); });
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre("0A 01 23 00 73 F7 35 33 31 37 32 30 4D 5F 4E 54 50 5F 44 69 73 61 62 6C 65 64 5F 50 61 74 "
                            "63 68 5F 32 35 30 32 32 30 61 00 FE B0"));
    EXPECT_THAT(printed, IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(VersionExchangeTest, TheRequestsPayloadDoesNotMatter) {
    Receive(FrameBuilder::Frame(44, {1, 2, 3}));
    const auto frames = mLine.TakeFrames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].substr(0, 11), "0A 01 23 00");
}

TEST_F(VersionExchangeTest, ACarrierThatIsReadyIsAcknowledgedAndNoted) {
    bool wasReadyAtAck = true;
    mLine.Watch([&](const Bytes&) { wasReadyAtAck = mCarrier->mCarrierIsReadyForFile; });
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Frame(3)); }), ElementsAre("Carrier is ready for firmware"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Carrier is ready for firmware")));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_FALSE(wasReadyAtAck);
    EXPECT_TRUE(mCarrier->mCarrierIsReadyForFile);
}

TEST_F(VersionExchangeTest, ReadinessIsPrintedAndLoggedBeforeItIsAcknowledged) {
    const auto said = SaidBefore(FrameBuilder::Ack(), [&] { Receive(FrameBuilder::Frame(3)); });
    EXPECT_THAT(said.printed, ElementsAre("Carrier is ready for firmware"));
    EXPECT_THAT(said.logged, ElementsAre(Information("Carrier is ready for firmware")));
}

TEST_F(VersionExchangeTest, BelowVerbosityZeroReadinessIsOnlyLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Frame(3)); }), IsEmpty());
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Carrier is ready for firmware")));
}

TEST_F(VersionExchangeTest, AVersionAnswerIsKeptAndLogged) {
    mCarrier->Reply(FrameBuilder::Ack({'A', '1', 0, 'x'}), CommCommands_GetCarrierVersion);
    mCarrier->Reply(FrameBuilder::Ack({'B'}), CommCommands_GetBootloaderVersion);
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "A1");
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "B");
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Carrier app version received: A1"),
                                         Information("Carrier boot version received: B")));
}

TEST_F(VersionExchangeTest, AVersionAnswerIsPrintedAboveVerbosityZero) {
    const auto answerBoth = [&] {
        mCarrier->Reply(FrameBuilder::Ack({'A'}), CommCommands_GetCarrierVersion);
        mCarrier->Reply(FrameBuilder::Ack({'B'}), CommCommands_GetBootloaderVersion);
    };
    EXPECT_THAT(Printed(answerBoth), IsEmpty());
    VeltrixErrorLog::gVerbosity = 1;
    EXPECT_THAT(Printed(answerBoth),
                ElementsAre("Carrier app version received: A", "Carrier boot version received: B"));
}

TEST_F(VersionExchangeTest, AnAnswerOf50BytesWithoutZeroIsTakenWholeAndNoFurther) {
    mCarrier->Reply(FrameBuilder::Ack(Bytes(50, 'v')), CommCommands_GetCarrierVersion);
    EXPECT_EQ(mCarrier->mCarrierAppVersion, std::string(50, 'v'));
    mCarrier->Reply(FrameBuilder::Ack(Bytes(50, 'w')), CommCommands_GetBootloaderVersion);
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, std::string(50, 'w'));
}

TEST_F(VersionExchangeTest, AnswersOf0And51BytesAreIgnored) {
    mCarrier->mCarrierAppVersion = "app";
    mCarrier->mCarrierBootloaderVersion = "boot";
    for (const std::size_t length : {0U, 51U, 100U, 1024U}) {
        mCarrier->Reply(FrameBuilder::Ack(Bytes(length, 'v')), CommCommands_GetCarrierVersion);
        mCarrier->Reply(FrameBuilder::Ack(Bytes(length, 'v')), CommCommands_GetBootloaderVersion);
    }
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "app");
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "boot");
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(VersionExchangeTest, AnAnswerThatBeginsWithZeroIsAnEmptyText) {
    mCarrier->mCarrierAppVersion = "app";
    mCarrier->Reply(FrameBuilder::Ack({0, 'x'}), CommCommands_GetCarrierVersion);
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "");
}

}  // namespace
