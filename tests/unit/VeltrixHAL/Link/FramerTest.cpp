// The framer between the port's bytes and whole frames.
#include <gtest/gtest.h>

#include "VeltrixHAL/HalGlobals.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/VeltrixHAL/Link/FramerProbe.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <vector>

namespace {

using FrameBuilder::Bytes;
using FrameBuilder::Join;

const Bytes kAck = {0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAC};
const Bytes kAlive = {0x0A, 0x09, 0x00, 0x00, 0xBC, 0x6E};
const Bytes kNack1 = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF1};
const Bytes kBadHeader = {0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAD};
const Bytes kBadPayload = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF2};
const Bytes kHeaderOf65528 = {0x0A, 0x04, 0xF8, 0xFF, 0xFE, 0xA1};
const Bytes kHeaderOf65529 = {0x0A, 0x04, 0xF9, 0xFF, 0xE7, 0x79};
const Bytes kHeaderOf65535 = {0x0A, 0x04, 0xFF, 0xFF, 0xB3, 0xA9};

class FramerTest : public testing::Test {
protected:
    void TearDown() override {
        unsigned int free = 0;
        while (mSix.pool.Allocate() != nullptr) {
            ++free;
        }
        EXPECT_EQ(free + (mFramer->Current() != nullptr ? 1U : 0U), 6U) << "a packet was lost";
    }

    // What one call of Process came to, and the frame that it delivered.
    struct Outcome {
        rxPacketStatus_e status;
        std::optional<Bytes> frame;
    };

    Outcome Poll() {
        Packet* packet = nullptr;
        Outcome outcome{mFramer->Process(packet), std::nullopt};
        if (packet != nullptr) {
            outcome.frame = Content(*packet);
            mSix.pool.Free(*packet);
        }
        return outcome;
    }

    Outcome PollAfter(const Bytes& bytes) {
        mSerial.Feed(bytes);
        return Poll();
    }

    GlobalsGuard mGlobals;
    LogCapture mLog;
    FakeSerial mSerial;
    SixPackets mSix;
    std::unique_ptr<FramerProbe> mFramer = std::make_unique<FramerProbe>(mSerial, mSix.pool, 0x0A);
};

#define EXPECT_WAITING(expression)                  \
    do {                                            \
        const Outcome outcome = (expression);       \
        EXPECT_EQ(outcome.status, RxPacketWaiting); \
        EXPECT_FALSE(outcome.frame.has_value());    \
    } while (false)

#define EXPECT_FRAME(expression, bytes)             \
    do {                                            \
        const Outcome outcome = (expression);       \
        EXPECT_EQ(outcome.status, RxPacketIsValid); \
        EXPECT_EQ(outcome.frame, (bytes));          \
    } while (false)

#define EXPECT_FAILURE(expression, expected)     \
    do {                                         \
        const Outcome outcome = (expression);    \
        EXPECT_EQ(outcome.status, (expected));   \
        EXPECT_FALSE(outcome.frame.has_value()); \
    } while (false)

TEST_F(FramerTest, StartsIdleWithEverythingZero) {
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(mFramer->HeaderBytes(), 0U);
    EXPECT_EQ(mFramer->PayloadBytes(), 0U);
    EXPECT_EQ(mFramer->PayloadSize(), 0U);
    EXPECT_EQ(mFramer->Current(), nullptr);
    EXPECT_TRUE(mFramer->HeaderIsZero());
    EXPECT_TRUE(mFramer->PayloadIsZero());
}

TEST_F(FramerTest, StartsWithItsBuffersZeroWhateverTheMemoryHeld) {
    static_assert(FramerProbe::HeaderCapacity() == 7);
    static_assert(FramerProbe::PayloadCapacity() == 65536);
    static_assert(FramerProbe::EscapedCapacity() == 131072);
    void* const memory = ::operator new(sizeof(FramerProbe));
    // Volatile, since nobody may look at the memory as it is before the framer.
    auto* const bytes = static_cast<volatile unsigned char*>(memory);
    for (std::size_t i = 0; i < sizeof(FramerProbe); ++i) {
        bytes[i] = 0xA5;
    }
    auto* const framer = new (memory) FramerProbe(mSerial, mSix.pool, 0x0A);
    EXPECT_TRUE(framer->HeaderIsZero());
    EXPECT_TRUE(framer->PayloadIsZero());
    EXPECT_TRUE(framer->EscapedIsZero());
    EXPECT_EQ(framer->HeaderBytes(), 0U);
    EXPECT_EQ(framer->PayloadBytes(), 0U);
    EXPECT_EQ(framer->PayloadSize(), 0U);
    EXPECT_EQ(framer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(framer->Current(), nullptr);
    std::destroy_at(framer);
    ::operator delete(memory);
}

TEST_F(FramerTest, StatusesHaveTheValuesThatNacksCarry) {
    EXPECT_EQ(RxPacketWaiting, 0);
    EXPECT_EQ(RxHeaderCrcFailed, 1);
    EXPECT_EQ(RxPayloadCrcFailed, 2);
    EXPECT_EQ(RxPayloadSizeInvalid, 3);
    EXPECT_EQ(RxPacketIsValid, 4);
    EXPECT_EQ(FramerProbe::StateIdle, 0);
    EXPECT_EQ(FramerProbe::StateRxHeader, 1);
    EXPECT_EQ(FramerProbe::StateRxPayload, 2);
}

TEST_F(FramerTest, FrameWithoutPayloadIsSixBytes) {
    EXPECT_FRAME(PollAfter(kAck), kAck);
    EXPECT_EQ(mFramer->Current(), nullptr);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_WAITING(Poll());
}

TEST_F(FramerTest, FrameWithPayloadHoldsHeaderPayloadAndItsCrc) {
    EXPECT_FRAME(PollAfter(kNack1), kNack1);
    EXPECT_TRUE(mFramer->PayloadIsZero());
}

TEST_F(FramerTest, NothingToReadIsWaiting) {
    EXPECT_WAITING(Poll());
    EXPECT_NE(mFramer->Current(), nullptr) << "the packet stays for the next call";
}

TEST_F(FramerTest, BytesBeforeTheStartAreDropped) {
    EXPECT_FRAME(PollAfter(Join({{0x00, 0xFF, 0x01, 0x7A, 0xAC, 0x0B}, kAck})), kAck);
    EXPECT_TRUE(mLog.Take().empty());
}

TEST_F(FramerTest, GarbageAloneIsWaitingAndIsConsumed) {
    EXPECT_WAITING(PollAfter({0x00, 0x01, 0x02, 0xFF}));
    EXPECT_EQ(mSerial.UnreadBytes(), 0U);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
}

TEST_F(FramerTest, OneByteAtATimeGoesThroughEveryState) {
    struct Step {
        std::uint8_t byte;
        FramerProbe::state_e state;
        unsigned int headerBytes;
        unsigned int payloadBytes;
    };
    const Step steps[] = {
        {0x33, FramerProbe::StateIdle, 0, 0},      {0x0A, FramerProbe::StateRxHeader, 0, 0},
        {0x00, FramerProbe::StateRxHeader, 1, 0},  {0x01, FramerProbe::StateRxHeader, 2, 0},
        {0x00, FramerProbe::StateRxHeader, 3, 0},  {0x39, FramerProbe::StateRxHeader, 4, 0},
        {0xA8, FramerProbe::StateRxPayload, 0, 0}, {0x01, FramerProbe::StateRxPayload, 0, 1},
        {0xE1, FramerProbe::StateRxPayload, 0, 2},
    };
    for (const Step& step : steps) {
        EXPECT_WAITING(PollAfter({step.byte}));
        EXPECT_EQ(mFramer->State(), step.state);
        EXPECT_EQ(mFramer->HeaderBytes(), step.headerBytes);
        EXPECT_EQ(mFramer->PayloadBytes(), step.payloadBytes);
    }
    EXPECT_EQ(mFramer->PayloadSize(), 1U);
    EXPECT_TRUE(mFramer->HeaderIsZero());
    EXPECT_FRAME(PollAfter({0xF1}), kNack1);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(mFramer->PayloadBytes(), 0U);
}

TEST_F(FramerTest, TwoFramesInOneReadComeWithTwoCalls) {
    EXPECT_FRAME(PollAfter(Join({kNack1, kAlive})), kNack1);
    EXPECT_EQ(mSerial.UnreadBytes(), kAlive.size());
    EXPECT_FRAME(Poll(), kAlive);
    EXPECT_WAITING(Poll());
}

TEST_F(FramerTest, StartByteInsideAFrameDoesNotRestartIt) {
    const Bytes everywhere = {0x0A, 0x0A, 0x00, 0x00, 0x53, 0x0A};
    EXPECT_FRAME(PollAfter(everywhere), everywhere);
    const Bytes withAnAckInside = {0x0A, 0x0B, 0x06, 0x00, 0x5D, 0x06, 0x0A, 0x0A, 0x01, 0x00, 0x00, 0x7A, 0x52, 0x4F};
    EXPECT_FRAME(PollAfter(withAnAckInside), withAnAckInside);
}

TEST_F(FramerTest, FrameAsLongAsTheStartBytesValueIsReceived) {
    const Bytes frame = FrameBuilder::Frame(0x0A, Bytes(0x0A0A, 0x0A));
    EXPECT_FRAME(PollAfter(frame), frame);
}

TEST_F(FramerTest, HeaderCrcFailureIsReportedWhenTheInputEndsThere) {
    EXPECT_FAILURE(PollAfter(kBadHeader), RxHeaderCrcFailed);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(mFramer->HeaderBytes(), 0U);
    EXPECT_TRUE(mFramer->HeaderIsZero());
    EXPECT_NE(mFramer->Current(), nullptr);
    EXPECT_WAITING(Poll());
}

TEST_F(FramerTest, IdleBytesAfterAFailureDoNotChangeTheStatus) {
    EXPECT_FAILURE(PollAfter(Join({kBadHeader, {0x11, 0x22}})), RxHeaderCrcFailed);
    EXPECT_FAILURE(PollAfter(Join({kBadHeader, {0x0A}})), RxHeaderCrcFailed);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateRxHeader);
    EXPECT_FRAME(PollAfter(Bytes(kAck.begin() + 1, kAck.end())), kAck);
}

TEST_F(FramerTest, HeaderByteAfterAFailureMakesItWaiting) {
    EXPECT_WAITING(PollAfter(Join({kBadHeader, {0x0A, 0x01}})));
}

TEST_F(FramerTest, FrameAfterAFailureIsDelivered) {
    EXPECT_FRAME(PollAfter(Join({kBadHeader, kAck})), kAck);
    EXPECT_FRAME(PollAfter(Join({kBadPayload, kAlive})), kAlive);
    EXPECT_FRAME(PollAfter(Join({kHeaderOf65529, kNack1})), kNack1);
}

TEST_F(FramerTest, LastOfSeveralFailuresIsReported) {
    EXPECT_FAILURE(PollAfter(Join({kBadHeader, kBadPayload})), RxPayloadCrcFailed);
    EXPECT_FAILURE(PollAfter(Join({kBadPayload, kHeaderOf65535, kBadHeader})), RxHeaderCrcFailed);
    EXPECT_FAILURE(PollAfter(Join({kBadHeader, kHeaderOf65535})), RxPayloadSizeInvalid);
}

TEST_F(FramerTest, BytesOfAFailedHeaderAreNotLookedAtAgain) {
    // The header that fails ends with the first three bytes of an Ack, whose other three follow.
    EXPECT_FAILURE(PollAfter({0x0A, 0x55, 0x55, 0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAC}), RxHeaderCrcFailed);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(mLog.Take().size(), 1U);
}

TEST_F(FramerTest, PayloadCrcFailureIsReportedWhenTheInputEndsThere) {
    EXPECT_FAILURE(PollAfter(kBadPayload), RxPayloadCrcFailed);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(mFramer->PayloadBytes(), 0U);
    EXPECT_TRUE(mFramer->PayloadIsZero());
    EXPECT_FRAME(PollAfter(kAck), kAck);
}

TEST_F(FramerTest, Length65529AndMoreAreInvalidAndNotLogged) {
    EXPECT_FAILURE(PollAfter(kHeaderOf65529), RxPayloadSizeInvalid);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_EQ(mFramer->PayloadSize(), 0U);
    EXPECT_FAILURE(PollAfter(kHeaderOf65535), RxPayloadSizeInvalid);
    EXPECT_TRUE(mLog.Take().empty());
    EXPECT_FRAME(PollAfter(kAck), kAck);
}

TEST_F(FramerTest, Length65528EntersThePayload) {
    EXPECT_WAITING(PollAfter(kHeaderOf65528));
    EXPECT_EQ(mFramer->State(), FramerProbe::StateRxPayload);
    EXPECT_EQ(mFramer->PayloadSize(), 65528U);
}

TEST_F(FramerTest, LongestFrameFillsThePacket) {
    const Bytes frame = FrameBuilder::Frame(4, FrameBuilder::Ramp(65528, 0x0A));
    ASSERT_EQ(frame.size(), Packet::kCapacity);
    EXPECT_FRAME(PollAfter(frame), frame);
    EXPECT_FRAME(PollAfter(kAck), kAck);
}

TEST_F(FramerTest, LongestFrameWithAWrongCrcFailsAndLeavesNothingBehind) {
    Bytes frame = FrameBuilder::Frame(4, FrameBuilder::Ramp(65528));
    frame.back() ^= 0x80;
    EXPECT_FAILURE(PollAfter(frame), RxPayloadCrcFailed);
    EXPECT_TRUE(mFramer->PayloadIsZero());
    EXPECT_FRAME(PollAfter(kNack1), kNack1);
}

TEST_F(FramerTest, ByteThatDoesNotFitEmptiesThePacketSilently) {
    EXPECT_WAITING(PollAfter(kHeaderOf65528));
    for (unsigned int count = 6; count < Packet::kCapacity; ++count) {
        mFramer->Append(0x5A);
    }
    ASSERT_EQ(mFramer->Current()->Size(), Packet::kCapacity);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateRxPayload);
    mFramer->Append(0x5A);
    EXPECT_EQ(mFramer->Current()->Size(), 0U);
    EXPECT_EQ(mFramer->State(), FramerProbe::StateIdle);
    EXPECT_TRUE(mLog.Take().empty());
}

TEST_F(FramerTest, WithThePoolEmptyNothingIsReadAndNothingTouched) {
    std::vector<Packet*> held;
    for (Packet* packet = mSix.pool.Allocate(); packet != nullptr; packet = mSix.pool.Allocate()) {
        held.push_back(packet);
    }
    mSerial.Feed(kAck);
    Packet marker;
    Packet* out = &marker;
    EXPECT_EQ(mFramer->Process(out), RxPacketWaiting);
    EXPECT_EQ(out, &marker);
    EXPECT_EQ(mSerial.UnreadBytes(), kAck.size());
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U) << "nothing was polled";
    EXPECT_TRUE(mLog.Take().empty());
    for (Packet* packet : held) {
        mSix.pool.Free(*packet);
    }
    EXPECT_FRAME(Poll(), kAck);
}

TEST_F(FramerTest, OutIsLeftAloneUnlessAFrameIsWhole) {
    Packet marker;
    Packet* out = &marker;
    mSerial.Feed(kBadHeader);
    EXPECT_EQ(mFramer->Process(out), RxHeaderCrcFailed);
    EXPECT_EQ(out, &marker);
}

TEST_F(FramerTest, EveryPollSetsTheHealthBitAndLeavesTheOthers) {
    HalGlobals::gProcessHealth = 0x10;
    EXPECT_WAITING(Poll());
    EXPECT_EQ(HalGlobals::gProcessHealth, 0x30U);
    HalGlobals::gProcessHealth = 0;
    EXPECT_FRAME(PollAfter(kAck), kAck);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0x20U);
}

TEST_F(FramerTest, TheHealthBitIsSetAnewForEachByte) {
    struct ForgetfulPort : FakeSerial {
        bool ReadByte(std::uint8_t& byte) override {
            seen.push_back(HalGlobals::gProcessHealth.exchange(0));
            return FakeSerial::ReadByte(byte);
        }
        std::vector<std::uint32_t> seen;
    };
    ForgetfulPort port;
    FramerProbe framer(port, mSix.pool, 0x0A);
    port.Feed(Join({{0x00}, kAck}));
    Packet* packet = nullptr;
    EXPECT_EQ(framer.Process(packet), RxPacketIsValid);
    ASSERT_NE(packet, nullptr);
    mSix.pool.Free(*packet);
    EXPECT_EQ(port.seen, (std::vector<std::uint32_t>{0x20, 0x20, 0x20, 0x20, 0x20, 0x20, 0x20}));
}

TEST_F(FramerTest, AnotherStartByteCanBeChosen) {
    FramerProbe other(mSerial, mSix.pool, 0x55);
    const Bytes start = {0x55, 0x01, 0x00, 0x00};
    const Bytes frame = Join({start, FrameBuilder::WireCrc(start)});
    mSerial.Feed(Join({{0x0A}, frame}));
    Packet* packet = nullptr;
    EXPECT_EQ(other.Process(packet), RxPacketIsValid);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(Content(*packet), frame);
    mSix.pool.Free(*packet);
}

TEST_F(FramerTest, SendWritesThePacketWithOneCall) {
    Packet packet;
    packet.Grow(8);
    std::copy_n(FrameBuilder::Ramp(8).begin(), 8, &packet[0]);
    mFramer->Send(packet);
    packet.ShrinkFront(2);
    packet.ShrinkBack(1);
    mFramer->Send(packet);
    EXPECT_EQ(mSerial.Writes(), (std::vector<Bytes>{{0, 1, 2, 3, 4, 5, 6, 7}, {2, 3, 4, 5, 6}}));
}

TEST_F(FramerTest, SendCutsTheSizeToSixteenBits) {
    Packet packet;
    packet.Grow(Packet::kCapacity);
    mFramer->Send(packet);
    packet.ShrinkBack(1);
    mFramer->Send(packet);
    ASSERT_EQ(mSerial.Writes().size(), 2U);
    EXPECT_EQ(mSerial.Writes()[0].size(), 0U);
    EXPECT_EQ(mSerial.Writes()[1].size(), 65535U);
}

TEST_F(FramerTest, OneCallReadsAllThatIsThere) {
    mSerial.Feed(Bytes(300'000, 0x00));
    EXPECT_WAITING(Poll());
    EXPECT_EQ(mSerial.UnreadBytes(), 0U);
}

TEST_F(FramerTest, StoppingALineThatNeverFallsSilentDoesNotHoldACall) {
    gKeepRunning = false;
    mSerial.Feed(Bytes(300'000, 0x00));
    EXPECT_WAITING(Poll());
    EXPECT_GT(mSerial.UnreadBytes(), 0U);
    EXPECT_LT(mSerial.UnreadBytes(), 300'000U - 65'536U) << "the longest frame still comes with one call";
}

}  // namespace
