#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "CarrierSimulator/FirmwareImage.h"
#include "tests/simulator/CarrierFixture.h"

namespace simulator {
namespace {

const std::string kReady = "0A 03 00 00 CF 14";
const std::string kStart = "0A 02 05 00 EB 70 02 0A 00 00 00 05 51";  // application bin, 10 bytes
const std::string kPacket = "0A 04 0A 00 BE 61 00 01 02 03 04 05 06 07 08 09 2F E2";
const std::string kEnd = "0A 05 00 00 19 CD";
const std::string kApply = "0A 06 01 00 EF 71 02 D3 6A";
const std::string kHeartbeat = "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7";
const std::string kCorrupt = "0A 00 01 00 39 A8 0E 19 06";
const std::string kBusy = "0A 00 01 00 39 A8 10 E0 F9";
const std::string kFailed = "0A 00 01 00 39 A8 0D 2B 9D";

class CarrierFirmwareTest : public CarrierFixture {
protected:
    static CarrierOptions Options(const FirmwareFaults& faults = {}) {
        CarrierOptions options;
        options.firmwareFaults = faults;
        options.restartTime = 30ms;
        return options;
    }

    void SendFile() {
        Exchange(kStart, kAckBytes + " " + kReady);
        ASSERT_TRUE(mModule->Write(kAckBytes));
        Exchange(kPacket, kAckBytes);
    }
};

TEST_F(CarrierFirmwareTest, FileIsTakenAppliedAndRunAfterARestart) {
    CarrierOptions options = Options();
    options.nextAppVersion = "531800A";
    Begin(options);
    SendFile();
    EXPECT_EQ(mCarrier->ReceivedFile(), (Bytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(mCarrier->State().firmware.stage, FirmwareStage::Receiving);
    Exchange(kEnd, kAckBytes);
    EXPECT_EQ(mCarrier->State().firmware.stage, FirmwareStage::Verified);
    Exchange(kApply, kAckBytes + " " + kHeartbeat);
    const CarrierState state = mCarrier->State();
    EXPECT_EQ(state.identity.appVersion, "531800A");
    EXPECT_EQ(state.restarts, 1U);
    EXPECT_EQ(state.firmware.applies, 1U);
    ASSERT_EQ(mCarrier->AppliedImages().size(), 1U);
    EXPECT_EQ(mCarrier->AppliedImages()[0].bytes.size(), 10U);
}

TEST_F(CarrierFirmwareTest, RestartsAlsoWhenTheAnswerIsLostOrItMustBeSilent) {
    Begin(Options());
    for (const bool isSilent : {false, true}) {
        SendFile();
        Exchange(kEnd, kAckBytes);
        if (isSilent) {
            mCarrier->SetSilent(1h);
        } else {
            mCarrier->Faults().Script({.what = ScriptedFault::What::Drop});
        }
        ASSERT_TRUE(mModule->Write(kApply));
        EXPECT_EQ(mModule->Read(14), kHeartbeat);
    }
    EXPECT_EQ(mCarrier->State().restarts, 2U);
}

TEST_F(CarrierFirmwareTest, CanBeToldAtAnyTime) {
    Begin(Options());
    mCarrier->SetNextAppVersion("531900B");
    mCarrier->SetFirmwareOptions({.check = ImageCheck::Size, .keptImages = 1});
    FirmwareFaults faults = mCarrier->GetFirmwareFaults();
    faults.corruptEnds = 1;
    mCarrier->SetFirmwareFaults(faults);
    SendFile();
    Exchange(kEnd, kCorrupt);
    EXPECT_EQ(mCarrier->GetFirmwareFaults().corruptEnds, 0U);
    for (int round = 0; round < 2; ++round) {
        SendFile();
        Exchange(kEnd, kAckBytes);
        Exchange(kApply, kAckBytes + " " + kHeartbeat);
    }
    EXPECT_EQ(mCarrier->State().identity.appVersion, "531900B");
    EXPECT_EQ(mCarrier->State().firmware.applies, 2U);
    EXPECT_EQ(mCarrier->AppliedImages().size(), 1U);
}

TEST_F(CarrierFirmwareTest, BootLoaderFileChangesTheBootVersionOnly) {
    CarrierOptions options = Options();
    options.nextAppVersion = "A2";
    options.nextBootVersion = "B2";
    options.firmware.check = ImageCheck::None;
    Begin(options);
    const Bytes start = {3, 0, 0, 0, 0};
    const Bytes apply = {3};
    ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kFileTransferStart, std::span<const uint8_t>(start))));
    mModule->Read(12);
    Exchange(kEnd, kAckBytes);
    ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kFileTransferApply, std::span<const uint8_t>(apply))));
    EXPECT_EQ(mModule->Read(20), kAckBytes + " " + kHeartbeat);
    EXPECT_EQ(mCarrier->State().identity.bootVersion, "B2");
    EXPECT_EQ(mCarrier->State().identity.appVersion, "531726R");
}

TEST_F(CarrierFirmwareTest, LargeFileArrivesByteForByte) {
    CarrierOptions options = Options();
    options.firmware.check = ImageCheck::Crc32;
    Begin(options);
    const Bytes image = MakeImage(70000, 11);
    const Bytes start = {2, 0x70, 0x11, 0x01, 0x00};
    ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kFileTransferStart, std::span<const uint8_t>(start))));
    mModule->Read(12);
    for (std::size_t offset = 0; offset < image.size(); offset += 1024) {
        const auto chunk = std::span(image).subspan(offset, std::min<std::size_t>(1024, image.size() - offset));
        ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kFileTransferPacket, chunk)));
        ASSERT_EQ(mModule->Read(6), kAckBytes);
    }
    Exchange(kEnd, kAckBytes);
    EXPECT_EQ(mCarrier->ReceivedFile(), image);
    EXPECT_EQ(mCarrier->State().firmware.packets, 69U);
}

TEST_F(CarrierFirmwareTest, WrongImageIsNeverApplied) {
    CarrierOptions options = Options();
    options.firmware.check = ImageCheck::Crc32;
    Begin(options);
    SendFile();  // ten bytes without a good CRC-32
    Exchange(kEnd, kCorrupt);
    Exchange(kApply, "0A 00 01 00 39 A8 07 84 C7");
    EXPECT_TRUE(mCarrier->AppliedImages().empty());
    EXPECT_EQ(mCarrier->State().restarts, 0U);
}

TEST_F(CarrierFirmwareTest, RefusesTheStartAsOftenAsAsked) {
    Begin(Options({.refuseStarts = 2}));
    Exchange(kStart, "0A 00 01 00 39 A8 06 95 4E");
    Exchange(kStart, "0A 00 01 00 39 A8 06 95 4E");
    SendFile();
}

TEST_F(CarrierFirmwareTest, NeverSaysThatItIsReady) {
    Begin(Options({.isNeverReady = true}));
    Exchange(kStart, kAckBytes);
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    Exchange(kPacket, kAckBytes);
}

TEST_F(CarrierFirmwareTest, RefusesTheNamedPacketThenTakesIt) {
    Begin(Options({.nackPacket = 2, .nackPacketTimes = 3}));
    SendFile();
    for (int count = 0; count < 3; ++count) {
        Exchange(kPacket, kFailed);
    }
    Exchange(kPacket, kAckBytes);
    EXPECT_EQ(mCarrier->State().firmware.packets, 2U);
}

TEST_F(CarrierFirmwareTest, SaysBusyBeforeItTakesThePacket) {
    Begin(Options({.busyNacks = 3, .busyPackets = 1, .busyInterval = 5ms}));
    Exchange(kStart, kAckBytes + " " + kReady);
    Exchange(kPacket, kBusy + " " + kBusy + " " + kBusy + " " + kAckBytes);
    EXPECT_EQ(mCarrier->State().firmware.packets, 1U);
    Exchange(kPacket, kAckBytes);
}

TEST_F(CarrierFirmwareTest, PacketThatComesWhileBusyTakesOver) {
    Begin(Options({.busyNacks = 2, .busyPackets = 1, .busyInterval = 10000ms}));
    Exchange(kStart, kAckBytes + " " + kReady);
    Exchange(kPacket, kBusy);
    Exchange(kPacket, kAckBytes);
    EXPECT_EQ(mCarrier->ReceivedFile().size(), 10U);
}

TEST_F(CarrierFirmwareTest, BusyForEverNeverTakesThePacket) {
    Begin(Options({.busyNacks = 1, .busyPackets = kAlways, .busyInterval = 1ms, .isBusyForEver = true}));
    Exchange(kStart, kAckBytes + " " + kReady);
    Exchange(kPacket, kBusy);
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    EXPECT_EQ(mCarrier->State().firmware.packets, 0U);
}

TEST_F(CarrierFirmwareTest, FindsTheFileCorruptAsOftenAsAsked) {
    Begin(Options({.corruptEnds = 2}));
    for (const std::string& answer : {kCorrupt, kCorrupt, kAckBytes}) {
        SendFile();
        Exchange(kEnd, answer);
    }
    EXPECT_EQ(mCarrier->State().firmware.badEnds, 2U);
    EXPECT_EQ(mCarrier->State().firmware.starts, 3U);
}

TEST_F(CarrierFirmwareTest, RefusesTheEnd) {
    Begin(Options({.nackEnds = 1}));
    SendFile();
    Exchange(kEnd, kFailed);
    EXPECT_EQ(mCarrier->State().firmware.stage, FirmwareStage::Idle);
}

TEST_F(CarrierFirmwareTest, RefusesToApply) {
    Begin(Options({.refuseApplies = 1}));
    SendFile();
    Exchange(kEnd, kAckBytes);
    Exchange(kApply, kFailed);
    EXPECT_TRUE(mCarrier->AppliedImages().empty());
    Exchange(kApply, kAckBytes + " " + kHeartbeat);
}

TEST_F(CarrierFirmwareTest, NeverComesBack) {
    Begin(Options({.isNeverBack = true}));
    SendFile();
    Exchange(kEnd, kAckBytes);
    Exchange(kApply, kAckBytes);
    ASSERT_TRUE(mCarrier->WaitForState([](const CarrierState& state) { return state.restarts == 1; }, kPatience));
    ASSERT_TRUE(mModule->Write("0A 08 00 00 E6 B2"));
    const auto unheard = mCarrier->WaitForFrame(command::kGetCarrierVersion, kPatience);
    ASSERT_TRUE(unheard);
    EXPECT_TRUE(unheard->isLost);
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    mCarrier->Restart(1ms);
    EXPECT_EQ(mModule->Read(14), kHeartbeat) << "unless somebody restarts it";
}

}  // namespace
}  // namespace simulator
