#include "CarrierSimulator/CarrierFrame.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CarrierSimulator/CarrierCommand.h"

namespace simulator {
namespace {

Bytes BytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(CarrierCrc, OfTheCheckStringIsThePublishedOne) {
    EXPECT_EQ(CarrierCrc(BytesOf("123456789")), 0x906E);
}

TEST(CarrierCrc, OfNothingIsInitialValueInverted) {
    EXPECT_EQ(CarrierCrc({}), 0x0000);
}

// The definition bit by bit, most significant bit first on mirrored bytes: another way to the same number.
uint16_t MirroredCrc(const Bytes& data) {
    unsigned int crc = 0xFFFF;
    for (const uint8_t byte : data) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const unsigned int in = (byte >> bit) & 1U;
            const unsigned int top = (crc >> 15U) & 1U;
            crc = (crc << 1U) & 0xFFFFU;
            crc ^= (in ^ top) != 0 ? 0x1021U : 0U;
        }
    }
    unsigned int mirrored = 0;
    for (unsigned int bit = 0; bit < 16; ++bit) {
        mirrored |= ((crc >> bit) & 1U) << (15U - bit);
    }
    return static_cast<uint16_t>(mirrored ^ 0xFFFFU);
}

TEST(CarrierCrc, AgreesWithTheDefinitionForEveryByteAndForLongData) {
    Bytes all;
    for (unsigned int value = 0; value < 256; ++value) {
        const Bytes one = {static_cast<uint8_t>(value)};
        EXPECT_EQ(CarrierCrc(one), MirroredCrc(one)) << value;
        all.push_back(static_cast<uint8_t>(value));
    }
    EXPECT_EQ(CarrierCrc(all), MirroredCrc(all));
}

struct FrameCase {
    const char* legend;
    uint8_t command;
    Bytes payload;
    const char* bytes;
};

TEST(CarrierFrame, IsBuiltByteForByte) {
    const std::vector<FrameCase> cases = {
        {"Ack", 1, {}, "0A 01 00 00 7A AC"},
        {"heartbeat without payload", 9, {}, "0A 09 00 00 BC 6E"},
        {"Nack with a reason", 0, {1}, "0A 00 01 00 39 A8 01 E1 F1"},
        {"heartbeat", 9, {8, 0, 0, 0, 0, 0}, "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7"},
        {"text", 35, {'E', '4', '2'}, "0A 23 03 00 E6 47 45 34 32 3A 54"},
        {"start bytes inside", 40, {10, 10, 10}, "0A 28 03 00 CF E1 0A 0A 0A E7 9C"},
    };
    for (const FrameCase& each : cases) {
        EXPECT_EQ(HexText(EncodeFrame(each.command, std::span<const uint8_t>(each.payload))), each.bytes)
            << each.legend;
    }
}

TEST(CarrierFrame, HeaderCanAnnounceWhatNobodyTakes) {
    EXPECT_EQ(HexText(EncodeHeader(4, 65529)), "0A 04 F9 FF E7 79");
}

TEST(CarrierFrame, HexTextIsCutAtTheLimitAndCounted) {
    const Bytes bytes = {1, 2, 0xAB, 4};
    EXPECT_EQ(HexText(bytes, 2), "01 02 ... 2 more");
    EXPECT_EQ(HexText(bytes, 4), "01 02 AB 04");
    EXPECT_EQ(HexText({}), "");
}

TEST(CarrierFrame, HexIsReadWithAndWithoutBlanks) {
    Bytes bytes;
    EXPECT_TRUE(BytesFromHex("0a01 00 007A Ac", bytes));
    EXPECT_EQ(bytes, (Bytes{0x0A, 1, 0, 0, 0x7A, 0xAC}));
    EXPECT_FALSE(BytesFromHex("0a0", bytes));
    EXPECT_FALSE(BytesFromHex("0g", bytes));
    EXPECT_TRUE(BytesFromHex("  ", bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST(CarrierCommand, EveryCodeHasAName) {
    EXPECT_EQ(CommandName(9), "CarrierAlive");
    EXPECT_EQ(CommandName(50), "BoardRevision");
    EXPECT_EQ(CommandName(45), "Command 45");
    EXPECT_EQ(NackName(16), "Busy");
    EXPECT_EQ(NackName(17), "reason 17");
}

TEST(CarrierCommand, IsFoundByNameAndByNumber) {
    EXPECT_EQ(CommandFromText("wifiup"), 29);
    EXPECT_EQ(CommandFromText("41"), 41);
    EXPECT_EQ(CommandFromText("0x2A"), 42);
    EXPECT_EQ(CommandFromText("256"), std::nullopt);
    EXPECT_EQ(CommandFromText(""), std::nullopt);
    EXPECT_EQ(CommandFromText("WiFi"), std::nullopt);
}

}  // namespace
}  // namespace simulator
