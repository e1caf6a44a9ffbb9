#include "CarrierSimulator/FirmwareReceiver.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "CarrierSimulator/FirmwareImage.h"

namespace simulator {
namespace {

Bytes BytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

// The nine check digits and the CRC-32 0xCBF43926 of them, low byte first.
const Bytes kGoodImage = {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x26, 0x39, 0xF4, 0xCB};
const Bytes kStart13 = {2, 13, 0, 0, 0};

TEST(FirmwareImage, Crc32OfTheCheckStringIsThePublishedOne) {
    EXPECT_EQ(Crc32(BytesOf("123456789")), 0xCBF43926U);
}

TEST(FirmwareImage, TrailerIsChecked) {
    EXPECT_TRUE(HasGoodTrailer(kGoodImage));
    Bytes bad = kGoodImage;
    bad[4] ^= 1U;
    EXPECT_FALSE(HasGoodTrailer(bad));
    EXPECT_FALSE(HasGoodTrailer(Bytes{1, 2, 3}));
}

TEST(FirmwareImage, SameSeedMakesTheSameImage) {
    const Bytes image = MakeImage(1000, 5);
    EXPECT_EQ(image.size(), 1000U);
    EXPECT_TRUE(HasGoodTrailer(image));
    EXPECT_EQ(MakeImage(1000, 5), image);
    EXPECT_NE(MakeImage(1000, 6), image);
    EXPECT_EQ(MakeImage(3, 5).size(), 3U);
    EXPECT_TRUE(MakeImage(0, 5).empty());
}

TEST(FirmwareImage, FileHoldsTheImageAndFailuresAreNamed) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("firmware_image_test_" + std::to_string(::getpid()))).string();
    EXPECT_EQ(WriteImageFile(path, 500, 9), "");
    std::ifstream file(path, std::ios::binary);
    const Bytes content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(content, MakeImage(500, 9));
    std::filesystem::remove(path);
    EXPECT_EQ(WriteImageFile("/nowhere/image.bin", 5, 9), "Cannot open /nowhere/image.bin: No such file or directory");
}

class FirmwareReceiverWithCrc : public ::testing::Test {
protected:
    FirmwareReceiver mReceiver{FirmwareOptions{.check = ImageCheck::Crc32}};
};

TEST_F(FirmwareReceiverWithCrc, GoodFileIsTakenAndApplied) {
    EXPECT_EQ(mReceiver.Start(kStart13), std::nullopt);
    EXPECT_EQ(mReceiver.Packet(std::span(kGoodImage).first(10)), std::nullopt);
    EXPECT_EQ(mReceiver.Packet(std::span(kGoodImage).subspan(10)), std::nullopt);
    EXPECT_EQ(mReceiver.End(), std::nullopt);
    EXPECT_EQ(mReceiver.End(), std::nullopt) << "an end that comes again gets the same answer";
    EXPECT_EQ(mReceiver.Apply(Bytes{2}), std::nullopt);
    ASSERT_EQ(mReceiver.Applied().size(), 1U);
    EXPECT_EQ(mReceiver.Applied()[0].bytes, kGoodImage);
    EXPECT_EQ(mReceiver.Applied()[0].destination, 2);
    EXPECT_EQ(mReceiver.Status().packets, 2U);
    EXPECT_EQ(mReceiver.Apply(Bytes{2}), nack::kDownloadNotReady) << "an image is applied once";
    EXPECT_EQ(mReceiver.Status().applies, 1U);
}

TEST_F(FirmwareReceiverWithCrc, PacketThatCameTwiceIsFoundAtTheEnd) {
    mReceiver.Start(kStart13);
    mReceiver.Packet(kGoodImage);
    mReceiver.Packet(kGoodImage);
    EXPECT_EQ(mReceiver.End(), nack::kCorruptFileTransfer);
    EXPECT_EQ(mReceiver.Apply(Bytes{2}), nack::kDownloadNotReady);
    EXPECT_TRUE(mReceiver.Applied().empty());
}

TEST_F(FirmwareReceiverWithCrc, RightSizeWithWrongBytesIsRefused) {
    Bytes wrong = kGoodImage;
    wrong[0] = 'x';
    mReceiver.Start(kStart13);
    mReceiver.Packet(wrong);
    EXPECT_EQ(mReceiver.End(), nack::kCorruptFileTransfer);
    EXPECT_EQ(mReceiver.Status().badEnds, 1U);
}

TEST_F(FirmwareReceiverWithCrc, StartBeginsAnewInEveryStage) {
    mReceiver.Start(kStart13);
    mReceiver.Packet(Bytes{1, 2, 3});
    EXPECT_EQ(mReceiver.Start(kStart13), std::nullopt);
    EXPECT_EQ(mReceiver.Status().received, 0U);
    mReceiver.Packet(kGoodImage);
    mReceiver.End();
    EXPECT_EQ(mReceiver.Start(kStart13), std::nullopt);
    EXPECT_EQ(mReceiver.Apply(Bytes{2}), nack::kDownloadNotReady);
    EXPECT_EQ(mReceiver.Status().starts, 3U);
}

TEST_F(FirmwareReceiverWithCrc, WrongOrderAndWrongPayloadsAreRefused) {
    EXPECT_EQ(mReceiver.Packet(Bytes{1}), nack::kDownloadNotReady);
    EXPECT_EQ(mReceiver.End(), nack::kDownloadNotReady);
    EXPECT_EQ(mReceiver.Start(Bytes{2, 13, 0, 0}), nack::kInvalidPayload);
    EXPECT_EQ(mReceiver.Start(Bytes{4, 13, 0, 0, 0}), nack::kFileTypeUnknown);
    EXPECT_EQ(mReceiver.Start(Bytes{2, 1, 0, 0, 1}), nack::kFileSizeTooLarge);
    EXPECT_EQ(mReceiver.Apply(Bytes{}), nack::kInvalidPayload);
    mReceiver.Start(kStart13);
    mReceiver.Packet(kGoodImage);
    mReceiver.End();
    EXPECT_EQ(mReceiver.Apply(Bytes{0}), nack::kFileTypeUnknown);
}

TEST_F(FirmwareReceiverWithCrc, RestartLosesWhatWasNotApplied) {
    mReceiver.Start(kStart13);
    mReceiver.Packet(kGoodImage);
    mReceiver.Restart();
    EXPECT_EQ(mReceiver.End(), nack::kDownloadNotReady);
}

TEST(FirmwareReceiver, SizeCheckLooksAtTheSizeAlone) {
    FirmwareReceiver receiver(FirmwareOptions{.check = ImageCheck::Size, .mismatchCode = nack::kFileSizeMismatch});
    receiver.Start(Bytes{0, 3, 0, 0, 0});
    receiver.Packet(Bytes{1, 2, 3});
    EXPECT_EQ(receiver.End(), std::nullopt);
    receiver.Start(Bytes{0, 3, 0, 0, 0});
    receiver.Packet(Bytes{1, 2});
    EXPECT_EQ(receiver.End(), nack::kFileSizeMismatch);
}

TEST(FirmwareReceiver, NoCheckTakesEverything) {
    FirmwareReceiver receiver(FirmwareOptions{.check = ImageCheck::None});
    receiver.Start(Bytes{0, 3, 0, 0, 0});
    receiver.Packet(Bytes{1});
    EXPECT_EQ(receiver.End(), std::nullopt);
}

}  // namespace
}  // namespace simulator
