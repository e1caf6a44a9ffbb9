// The framer against random frames and against streams with every kind of damage. VELTRIX_TEST_SEED=<number> repeats a
// run with another seed.
#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/unit/VeltrixHAL/Link/FramerProbe.h"
#include "tests/unit/VeltrixHAL/Link/ReferenceDecoder.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace {

using FrameBuilder::Bytes;

class Random {
public:
    Random() {
        const char* const wish = std::getenv("VELTRIX_TEST_SEED");
        const auto seed = wish != nullptr ? static_cast<std::uint32_t>(std::stoul(wish)) : 987654321U;
        mEngine.seed(seed);
        std::cout << "seed: " << seed << '\n';
    }
    // One of 0 ... limit - 1.
    std::size_t Below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(mEngine); }
    bool OneIn(std::size_t count) { return Below(count) == 0; }
    // Often the start byte: that is where a framer can go wrong.
    std::uint8_t Byte() { return OneIn(8) ? std::uint8_t{0x0A} : static_cast<std::uint8_t>(Below(256)); }
    Bytes Some(std::size_t count) {
        Bytes bytes(count);
        for (std::uint8_t& byte : bytes) {
            byte = Byte();
        }
        return bytes;
    }
    Bytes Frame() {
        const std::size_t most = OneIn(5000) ? 65529 : (OneIn(100) ? 1500 : (OneIn(2) ? 40 : 4));
        return FrameBuilder::Frame(Byte(), Some(Below(most)));
    }

private:
    std::mt19937 mEngine;
};

// Lets the framer see the stream up to a certain point and is dry there.
class StreamPort : public IBufferedSerial {
public:
    bool ReadByte(std::uint8_t& byte) override {
        if (next == end) {
            return false;
        }
        byte = stream[next++];
        return true;
    }
    void WriteBytes(const std::uint8_t* /*data*/, std::uint16_t /*length*/) override {}

    Bytes stream;
    std::size_t next = 0;
    std::size_t end = 0;
};

class FramerRandomTest : public testing::Test {
protected:
    // The frames that the framer delivers when the stream comes in random pieces of up to `longestPiece` bytes.
    std::vector<Bytes> Deliver(const Bytes& stream, std::size_t longestPiece) {
        StreamPort port;
        port.stream = stream;
        PacketFramer framer(port, mSix.pool, 0x0A);
        std::vector<Bytes> frames;
        while (port.end < stream.size()) {
            port.end = std::min(stream.size(), port.end + 1 + mRandom.Below(longestPiece));
            Packet* packet = nullptr;
            while (framer.Process(packet) == RxPacketIsValid) {
                frames.push_back(Content(*packet));
                mSix.pool.Free(*packet);
            }
        }
        if (const Packet* const current = FramerProbe::CurrentOf(framer); current != nullptr) {
            mSix.pool.Free(const_cast<Packet&>(*current));
        }
        return frames;
    }

    GlobalsGuard mGlobals;
    LogCapture mLog;
    SixPackets mSix;
    Random mRandom;
};

TEST_F(FramerRandomTest, FiftyThousandFramesInRandomCutsAllArrive) {
    constexpr std::size_t kFrames = 50'000;
    constexpr std::size_t kFramesAStream = 500;
    for (std::size_t done = 0; done < kFrames; done += kFramesAStream) {
        std::vector<Bytes> sent;
        for (std::size_t i = 0; i < kFramesAStream; ++i) {
            sent.push_back(mRandom.Frame());
        }
        const std::vector<Bytes> received = Deliver(FrameBuilder::Join(sent), mRandom.OneIn(4) ? 4000 : 40);
        ASSERT_EQ(received.size(), sent.size()) << "in the frames from " << done;
        for (std::size_t i = 0; i < sent.size(); ++i) {
            ASSERT_EQ(received[i], sent[i]) << "frame " << done + i;
        }
    }
    EXPECT_TRUE(mLog.Take().empty());
}

// Frames with random damage: every kind, alone and together.
Bytes DamagedStream(Random& random) {
    Bytes stream;
    for (std::size_t count = 1 + random.Below(12); count > 0; --count) {
        Bytes part = random.Frame();
        switch (random.Below(9)) {
            case 0:  // flipped bit
                part[random.Below(part.size())] ^= static_cast<std::uint8_t>(1U << random.Below(8));
                break;
            case 1:  // lost byte
                part.erase(part.begin() + static_cast<std::ptrdiff_t>(random.Below(part.size())));
                break;
            case 2:  // inserted byte
                part.insert(part.begin() + static_cast<std::ptrdiff_t>(random.Below(part.size() + 1)), random.Byte());
                break;
            case 3:  // cut off
                part.resize(random.Below(part.size()));
                break;
            case 4:  // noise in front
                part = FrameBuilder::Join({random.Some(random.Below(10)), part});
                break;
            case 5:  // a header that announces more than is allowed, or than comes
                part = FrameBuilder::Join(
                    {FrameBuilder::Header(
                         random.Byte(),
                         static_cast<std::uint16_t>(random.OneIn(2) ? 65529 + random.Below(7) : 1 + random.Below(60))),
                     part});
                break;
            default:
                break;
        }
        stream.insert(stream.end(), part.begin(), part.end());
    }
    return stream;
}

TEST_F(FramerRandomTest, TenThousandDamagedStreamsComeOutLikeTheReferenceDecoders) {
    std::size_t whole = 0;
    std::size_t damaged = 0;
    for (std::size_t number = 0; number < 10'000; ++number) {
        const Bytes stream = DamagedStream(mRandom);
        const std::vector<Bytes> expected = ReferenceDecoder::FramesIn(stream);
        ASSERT_EQ(Deliver(stream, mRandom.OneIn(4) ? 1 : 60), expected)
            << "stream " << number << ": " << testing::PrintToString(stream);
        whole += expected.size();
        damaged += mLog.Take().empty() ? 0U : 1U;
    }
    // Damage that spares everything, or that spoils everything, would test nothing.
    EXPECT_GT(whole, 20'000U);
    EXPECT_GT(damaged, 3'000U);
}

}  // namespace
