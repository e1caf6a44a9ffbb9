#include "CarrierSimulator/FrameDecoder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace simulator {
namespace {

using namespace std::chrono_literals;

const TimePoint kStart = TimePoint{} + 1h;

Bytes FromHex(std::string_view hex) {
    Bytes bytes;
    EXPECT_TRUE(BytesFromHex(hex, bytes)) << hex;
    return bytes;
}

// "frame 01 []; noise 33" for what came out.
std::string Describe(const std::vector<LineItem>& items) {
    std::string text;
    for (const LineItem& item : items) {
        text += (text.empty() ? "" : "; ") + std::string(KindName(item.kind)) + " ";
        text += item.IsFrame() ? std::to_string(item.command) + " [" + HexText(item.payload) + "]" : HexText(item.raw);
    }
    return text;
}

struct StreamCase {
    const char* legend;
    const char* bytes;
    const char* expected;  // after the line fell silent
};

const std::vector<StreamCase> kStreams = {
    {"one frame", "0A 01 00 00 7A AC", "frame 1 []"},
    {"garbage first", "00 FF 33 0A 01 00 00 7A AC", "noise 00 FF 33; frame 1 []"},
    {"two frames in one read", "0A 01 00 00 7A AC 0A 09 00 00 BC 6E", "frame 1 []; frame 9 []"},
    {"payload with start bytes", "0A 28 03 00 CF E1 0A 0A 0A E7 9C", "frame 40 [0A 0A 0A]"},
    {"garbage behind", "0A 01 00 00 7A AC 44", "frame 1 []; noise 44"},
    {"wrong header CRC", "0A 01 00 00 7A AD", "bad header 0A 01 00 00 7A AD"},
    {"wrong payload CRC", "0A 00 01 00 39 A8 01 E1 F2", "bad payload 0A 00 01 00 39 A8 01 E1 F2"},
    {"more than may be announced", "0A 04 F9 FF E7 79 01", "bad length 0A 04 F9 FF E7 79 01"},
    {"payload that never ends", "0A 23 03 00 E6 47 45", "incomplete 0A 23 03 00 E6 47 45"},
    {"header that never ends", "0A 23 03", "bad header 0A 23 03"},
    {"good frame behind a cut one", "0A 23 03 00 E6 47 45 0A 01 00 00 7A AC",
     "bad payload 0A 23 03 00 E6 47 45; frame 1 []"},
    {"good frame behind a false start byte", "0A 0A 01 00 00 7A AC", "bad header 0A; frame 1 []"},
    {"two good ones inside a false payload", "0A 28 03 00 CF E1 0A 01 00 00 7A AC 0A 09 00 00 BC 6E",
     "bad payload 0A 28 03 00 CF E1; frame 1 []; frame 9 []"},
};

TEST(FrameDecoder, CutsStreamsIntoFramesAndTheRest) {
    for (const StreamCase& each : kStreams) {
        FrameDecoder decoder;
        std::vector<LineItem> items;
        decoder.Feed(FromHex(each.bytes), kStart, 0us, items);
        decoder.Expire(kStart + 1s, items);
        EXPECT_EQ(Describe(items), each.expected) << each.legend;
        EXPECT_EQ(decoder.Deadline(), std::nullopt) << each.legend;
    }
}

TEST(FrameDecoder, FindsTheSameOneByteAtATime) {
    for (const StreamCase& each : kStreams) {
        FrameDecoder decoder;
        std::vector<LineItem> items;
        for (const uint8_t byte : FromHex(each.bytes)) {
            decoder.Feed(std::span(&byte, 1), kStart, 0us, items);
        }
        decoder.Flush(items);
        EXPECT_EQ(Describe(items), each.expected) << each.legend;
    }
}

TEST(FrameDecoder, GivesTheTimeOfTheLastByte) {
    FrameDecoder decoder;
    std::vector<LineItem> items;
    decoder.Feed(FromHex("0A 01 00 00 7A AC 0A 09 00 00 BC 6E"), kStart, 100us, items);
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].time, kStart + 600us);
    EXPECT_EQ(items[1].time, kStart + 1200us);
}

TEST(FrameDecoder, WaitsForTheRestOfAFrameUntilTheLineFallsSilent) {
    FrameDecoder decoder({50ms, 5ms});
    std::vector<LineItem> items;
    decoder.Feed(FromHex("0A 01 00"), kStart, 0us, items);
    decoder.Expire(kStart + 49ms, items);
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(decoder.Deadline(), kStart + 50ms);
    decoder.Feed(FromHex("00 7A AC"), kStart + 49ms, 0us, items);
    EXPECT_EQ(Describe(items), "frame 1 []");
}

TEST(FrameDecoder, LongestPayloadIsTaken) {
    const Bytes payload(kMaxPayload, 0x0A);
    FrameDecoder decoder;
    std::vector<LineItem> items;
    decoder.Feed(EncodeFrame(40, std::span<const uint8_t>(payload)), kStart, 0us, items);
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].payload, payload);
}

TEST(FrameDecoder, RandomFramesBetweenDamagedOnesAllArrive) {
    constexpr uint64_t kSeed = 20250307;
    std::mt19937_64 engine(kSeed);
    FrameDecoder decoder;
    std::vector<LineItem> items;
    std::vector<Bytes> sent;
    for (int round = 0; round < 2000; ++round) {
        Bytes payload(1 + engine() % 40);
        for (uint8_t& byte : payload) {
            byte = static_cast<uint8_t>(engine() & 0xFFU);
        }
        Bytes frame = EncodeFrame(static_cast<uint8_t>(engine() % 51), std::span<const uint8_t>(payload));
        if (engine() % 4 == 0) {
            frame[engine() % frame.size()] ^= 0x10U;
        } else {
            sent.push_back(frame);
        }
        decoder.Feed(frame, kStart, 0us, items);
        decoder.Expire(kStart + 1s, items);
    }
    std::vector<Bytes> received;
    for (const LineItem& item : items) {
        if (item.IsFrame()) {
            received.push_back(item.raw);
        }
    }
    EXPECT_EQ(received, sent) << "seed " << kSeed;
}

}  // namespace
}  // namespace simulator
