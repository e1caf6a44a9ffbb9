#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/simulator/CarrierFixture.h"
#include "tests/support/WaitUntil.h"

namespace simulator {
namespace {

using Where = ScriptedFault::Where;
using What = ScriptedFault::What;

const std::string kWifiUp = "0A 1D 00 00 5A 9A";
const std::string kWifiDown = "0A 1E 00 00 B5 FE";

class CarrierFaultTest : public CarrierFixture {
protected:
    bool IsWifiOn() const { return mCarrier->State().leds.isWifiOn; }
};

TEST_F(CarrierFaultTest, NackedCommandIsNotCarriedOut) {
    Begin();
    mCarrier->Faults().Script({.what = What::Nack, .command = command::kWifiUp, .count = 2, .code = nack::kBusy});
    Exchange(kWifiDown, kAckBytes);
    Exchange(kWifiUp, "0A 00 01 00 39 A8 10 E0 F9");
    Exchange(kWifiUp, "0A 00 01 00 39 A8 10 E0 F9");
    EXPECT_FALSE(IsWifiOn());
    Exchange(kWifiUp, kAckBytes);
    EXPECT_TRUE(IsWifiOn());
}

TEST_F(CarrierFaultTest, LostAnswerIsOnlyTheAnswer) {
    Begin();
    mCarrier->Faults().Script({.what = What::Drop});
    ASSERT_TRUE(mModule->Write(kWifiUp));
    EXPECT_TRUE(mCarrier->WaitForState([](const CarrierState& state) { return state.leds.isWifiOn; }, kPatience));
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
}

TEST_F(CarrierFaultTest, IgnoredCommandIsNeitherDoneNorAnswered) {
    Begin();
    mCarrier->Faults().Script({.what = What::Ignore});
    ASSERT_TRUE(mModule->Write(kWifiUp));
    ASSERT_TRUE(mCarrier->WaitForCount(command::kWifiUp, 1, kPatience));
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    EXPECT_FALSE(IsWifiOn());
    EXPECT_EQ(mCarrier->ReceivedCount(), 1U);
}

TEST_F(CarrierFaultTest, LostFrameIsNotHeard) {
    Begin();
    mCarrier->Faults().Script({.where = Where::Received, .what = What::Drop});
    ASSERT_TRUE(mModule->Write(kWifiUp));
    ASSERT_TRUE(WaitUntil([this] { return mCarrier->Statistics().receiveFaults.dropped == 1; }));
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    EXPECT_EQ(mCarrier->ReceivedCount(), 0U);
    EXPECT_EQ(mCarrier->Statistics().bytesReceived, 6U);
}

// As after power-on: what it heard of the frame is forgotten, the rest is not heard, and the next one is whole again.
TEST_F(CarrierFaultTest, RestartsInTheMiddleOfAFrame) {
    Begin({.restartTime = 20ms});
    Exchange(kWifiUp, kAckBytes);
    for (std::uint8_t bytes = 0; bytes < 6; ++bytes) {
        mCarrier->Faults().Script({.where = Where::Received, .what = What::Restart, .code = bytes});
        Exchange(kWifiUp, "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
        EXPECT_FALSE(IsWifiOn());
        EXPECT_EQ(mCarrier->State().restarts, bytes + 1U);
        EXPECT_EQ(mCarrier->ReceivedCount(), bytes + 1U) << "nothing of it";
        Exchange(kWifiUp, kAckBytes);
        EXPECT_TRUE(IsWifiOn());
    }
}

TEST_F(CarrierFaultTest, AnswersComeDoubledHalfSlowOrAsSomethingElse) {
    Begin();
    mCarrier->Faults().Script({.what = What::Duplicate});
    Exchange(kWifiUp, kAckBytes + " " + kAckBytes);
    mCarrier->Faults().Script({.what = What::Half});
    Exchange(kWifiUp, "0A 01 00");
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    mCarrier->Faults().Script({.what = What::ByteByByte, .delay = 2ms});
    Exchange(kWifiUp, kAckBytes);
    mCarrier->Faults().Script({.what = What::OtherCommand, .code = command::kCarrierAlive});
    Exchange(kWifiUp, "0A 09 00 00 BC 6E");
}

TEST_F(CarrierFaultTest, CorruptAnswerDiffersInOneBit) {
    Begin();
    mCarrier->Faults().Script({.what = What::Corrupt});
    ASSERT_TRUE(mModule->Write(kWifiUp));
    const std::string answer = mModule->Read(6);
    EXPECT_EQ(answer.size(), kAckBytes.size());
    EXPECT_NE(answer, kAckBytes);
}

TEST_F(CarrierFaultTest, LateAnswerComesLate) {
    Begin();
    mCarrier->Faults().Script({.what = What::Late, .delay = 120ms});
    const auto start = Clock::now();
    Exchange(kWifiUp, kAckBytes);
    EXPECT_GE(Clock::now() - start, 120ms);
    // Another one is not held up by it.
    mCarrier->Faults().Script({.what = What::Late, .delay = 500ms});
    ASSERT_TRUE(mModule->Write(kWifiUp));
    ASSERT_TRUE(mCarrier->WaitForCount(command::kWifiUp, 2, kPatience));
    mCarrier->SendPowerFail();
    EXPECT_EQ(mModule->Read(12), "0A 0C 00 00 85 D3 " + kAckBytes);
}

TEST_F(CarrierFaultTest, DamagedFrameIsRefusedByTheCarriersOwnCheck) {
    CarrierOptions options;
    options.receiveFaults = {.corrupt = 1};
    Begin(options);
    for (int count = 0; count < 20; ++count) {
        const std::size_t from = mCarrier->ReceivedCount();
        ASSERT_TRUE(mModule->Write(kWifiUp));
        const auto heard = mCarrier->WaitForFrame([](const FrameRecord&) { return true; }, kPatience, from);
        ASSERT_TRUE(heard);
        EXPECT_FALSE(heard->IsFrame()) << HexText(heard->raw);
    }
    EXPECT_FALSE(IsWifiOn());
    mCarrier->Faults().Clear();
    mModule->ReadUntilQuiet(kQuiet);
    Exchange(kWifiUp, kAckBytes);
}

TEST_F(CarrierFaultTest, SameSeedDamagesTheSameFrames) {
    const auto run = [this](uint64_t seed) {
        CarrierOptions options;
        options.seed = seed;
        options.sendFaults = {.drop = 0.2, .corrupt = 0.2, .duplicate = 0.2};
        Begin(options);
        for (int count = 0; count < 60; ++count) {
            mCarrier->SendPowerFail();
        }
        EXPECT_TRUE(WaitUntil([this] {
            const CarrierStatistics counts = mCarrier->Statistics();
            return counts.framesSent + counts.sendFaults.dropped == 60 + counts.sendFaults.duplicated;
        }));
        return mModule->Read(mCarrier->Statistics().bytesSent);
    };
    const std::string first = run(5);
    EXPECT_EQ(run(5), first);
    EXPECT_NE(run(6), first);
}

TEST_F(CarrierFaultTest, AcknowledgementsAreCountedWhereTheyLeaveAndWhereTheyArrive) {
    CarrierOptions options;
    options.ownCommands = {.attempts = 2, .answerTime = kPatience, .isOneByOne = true};
    Begin(options);
    mCarrier->Faults().Script({.where = Where::Received, .what = What::Drop, .command = command::kAck});
    const uint64_t id = mCarrier->SendError("E42");
    const std::string error = "0A 23 03 00 E6 47 45 34 32 3A 54";
    ASSERT_EQ(mModule->Read(11), error);
    ASSERT_TRUE(mModule->Write(kAckBytes));                     // lost on the line
    ASSERT_TRUE(mModule->Write("0A 00 01 00 39 A8 02 D3 6A"));  // has it sent again
    ASSERT_EQ(mModule->Read(11), error);
    ASSERT_TRUE(mModule->Write(kAckBytes));
    const auto outcome = mCarrier->WaitForOutcome(id, kPatience);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->timesSent, 2U);
    EXPECT_EQ(outcome->acksOnLine, 2U);
    EXPECT_EQ(outcome->acks, 1U);
    EXPECT_EQ(outcome->copies, 2U);
}

TEST_F(CarrierFaultTest, WholeCopiesAndTheirRefusalsAreCounted) {
    CarrierOptions options;
    options.ownCommands = {.attempts = 3, .answerTime = kPatience, .isOneByOne = true};
    Begin(options);
    mCarrier->Faults().Script({.where = Where::Sent, .what = What::Corrupt});
    mCarrier->Faults().Script({.where = Where::Sent, .what = What::Duplicate});
    const uint64_t id = mCarrier->SendError("E42");
    const std::string error = "0A 23 03 00 E6 47 45 34 32 3A 54";
    ASSERT_NE(mModule->Read(11), error);
    ASSERT_TRUE(mModule->Write("0A 00 01 00 39 A8 02 D3 6A"));  // damaged: no answer to a whole one
    ASSERT_EQ(mModule->Read(22), error + " " + error);
    ASSERT_TRUE(mModule->Write("0A 00 01 00 39 A8 0B 4E AB"));  // not now
    ASSERT_EQ(mModule->Read(11), error);
    ASSERT_TRUE(mModule->Write(kAckBytes));
    const auto outcome = mCarrier->WaitForOutcome(id, kPatience);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->timesSent, 3U);
    EXPECT_EQ(outcome->copies, 3U);
    EXPECT_EQ(outcome->refusalsOnLine, 1U);
    EXPECT_EQ(outcome->acksOnLine, 1U);
    EXPECT_EQ(outcome->nackCodes, (Bytes{nack::kPayloadCrc, nack::kExpectingAckNack}));
}

TEST_F(CarrierFaultTest, NoisyLineDoesNotStopTheCarrier) {
    CarrierOptions options;
    const FaultRates rates{0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0, 2ms};
    options.receiveFaults = rates;
    options.sendFaults = rates;
    options.gaps = {20ms, 2ms};
    Begin(options);
    for (int count = 0; count < 200; ++count) {
        ASSERT_TRUE(mModule->Write(count % 2 == 0 ? kWifiUp : kWifiDown));
        mModule->Read(6, 5ms);
    }
    mCarrier->Faults().Clear();
    mModule->ReadUntilQuiet(kQuiet);
    Exchange(kWifiUp, kAckBytes);
    EXPECT_GT(mCarrier->Statistics().receiveFaults.Total(), 50U);
}

}  // namespace
}  // namespace simulator
