#include <gtest/gtest.h>

#include "VeltrixHAL/VeltrixComm/crc16.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <numeric>
#include <random>

namespace {

using FrameBuilder::Bytes;

Bytes EveryByteValue() {
    Bytes bytes(256);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

struct CrcCase {
    const char* legend;
    Bytes data;
    std::uint16_t x25;  // the function gives it with its bytes swapped
};

TEST(Crc16Test, GivesTheSwappedX25Value) {
    const CrcCase cases[] = {
        {"check string", FrameBuilder::Text("123456789"), 0x906E},
        {"one zero", {0x00}, 0xF078},
        {"one 0xFF", {0xFF}, 0xFF00},
        {"four zeros", {0x00, 0x00, 0x00, 0x00}, 0xFCDE},
        {"four 0xFF", {0xFF, 0xFF, 0xFF, 0xFF}, 0x0F47},
        {"A", FrameBuilder::Text("A"), 0xA3F5},
        {"abc", FrameBuilder::Text("abc"), 0x9E25},
        {"every byte value", EveryByteValue(), 0x303C},
        {"header of an Ack", {0x0A, 0x01, 0x00, 0x00}, 0x7AAC},
        {"header of a heartbeat", {0x0A, 0x09, 0x00, 0x00}, 0xBC6E},
        {"header of a Nack", {0x0A, 0x00, 0x01, 0x00}, 0x39A8},
        {"payload of a Nack", {0x01}, 0xE1F1},
    };
    for (const CrcCase& one : cases) {
        SCOPED_TRACE(one.legend);
        const auto swapped = static_cast<std::uint16_t>((one.x25 << 8) | (one.x25 >> 8));
        EXPECT_EQ(getCrc16(one.data.data(), static_cast<std::uint16_t>(one.data.size())), swapped);
    }
}

TEST(Crc16Test, CheckStringGives0x6E90) {
    EXPECT_EQ(getCrc16(FrameBuilder::Text("123456789").data(), 9), 0x6E90);
}

TEST(Crc16Test, NothingGivesZeroWithoutTouchingTheData) {
    EXPECT_EQ(getCrc16(nullptr, 0), 0);
    const std::uint8_t byte = 0x55;
    EXPECT_EQ(getCrc16(&byte, 0), 0);
}

TEST(Crc16Test, AgreesWithATableOverTheUnreflectedPolynomial) {
    std::mt19937 random(20240611);
    for (std::size_t length = 1; length <= 65535; length = length < 300 ? length + 1 : length * 3) {
        Bytes data(length);
        for (std::uint8_t& byte : data) {
            byte = static_cast<std::uint8_t>(random());
        }
        const std::uint16_t x25 = FrameBuilder::X25(data);
        const auto swapped = static_cast<std::uint16_t>((x25 << 8) | (x25 >> 8));
        ASSERT_EQ(getCrc16(data.data(), static_cast<std::uint16_t>(data.size())), swapped) << length << " bytes";
    }
    const Bytes longest = FrameBuilder::Ramp(65535);
    const std::uint16_t x25 = FrameBuilder::X25(longest);
    EXPECT_EQ(getCrc16(longest.data(), 65535), static_cast<std::uint16_t>((x25 << 8) | (x25 >> 8)));
}

}  // namespace
