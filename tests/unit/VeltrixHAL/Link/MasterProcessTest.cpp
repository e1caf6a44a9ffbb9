// Frames that the carrier sends on its own, and the Nacks for those that arrive damaged.
#include "VeltrixHAL/HalGlobals.h"
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <stdexcept>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MasterProcessTest : public LinkTest {
protected:
    const Bytes kBadHeader = {0x0A, 0x01, 0x00, 0x00, 0x7B, 0xAC};
    const Bytes kBadPayload = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF2};
    const Bytes kOversize = {0x0A, 0x04, 0xF9, 0xFF, 0xE7, 0x79};
    const Bytes kNack2 = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x02, 0xD3, 0x6A};
    const Bytes kNack3 = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x03, 0xC2, 0xE3};
};

TEST_F(MasterProcessTest, SilentLineIsPolledOnceAndNothingElseHappens) {
    mMaster.Process();
    EXPECT_EQ(mSerial.ReadCalls(), 1U);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0x20U);
    EXPECT_FALSE(mMaster.mIsCarrierAlive);
    EXPECT_EQ(mConsole.Take(), "");
    EXPECT_EQ(mSerial.Writes().size(), 0U);
}

TEST_F(MasterProcessTest, FrameIsHandledAndThenTheCarrierCountsAsAlive) {
    bool aliveDuringHandling = true;
    unsigned int outDuringHandling = 0;
    mMaster.onReceived = [&](Packet&) {
        aliveDuringHandling = mMaster.mIsCarrierAlive;
        outDuringHandling = mMaster.PacketsOut();
    };
    mSerial.Feed(kAlive);
    mMaster.Process();
    EXPECT_THAT(mMaster.received, ElementsAre(kAlive));
    EXPECT_FALSE(aliveDuringHandling);
    EXPECT_EQ(outDuringHandling, 1U);
    EXPECT_TRUE(mMaster.mIsCarrierAlive);
    EXPECT_EQ(mMaster.PacketsOut(), 0U);
    EXPECT_EQ(mMaster.responses.size(), 0U);
}

TEST_F(MasterProcessTest, AnyFrameCountsAlsoAnAckThatNobodyWaitsFor) {
    mSerial.Feed(kAck);
    mMaster.Process();
    EXPECT_THAT(mMaster.received, ElementsAre(kAck));
    EXPECT_TRUE(mMaster.mIsCarrierAlive);
}

TEST_F(MasterProcessTest, OneFrameIsHandledInACall) {
    mSerial.Feed(kAlive);
    mSerial.Feed(kNack1);
    mMaster.Process();
    EXPECT_THAT(mMaster.received, ElementsAre(kAlive));
    mMaster.Process();
    EXPECT_THAT(mMaster.received, ElementsAre(kAlive, kNack1));
}

TEST_F(MasterProcessTest, DamagedHeaderIsAnsweredWithNackOne) {
    mSerial.Feed(kBadHeader);
    mMaster.Process();
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kNack1));
    EXPECT_FALSE(mMaster.mIsCarrierAlive);
    EXPECT_EQ(mMaster.received.size(), 0U);
}

TEST_F(MasterProcessTest, DamagedPayloadIsAnsweredWithNackTwo) {
    mSerial.Feed(kBadPayload);
    mMaster.Process();
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kNack2));
}

TEST_F(MasterProcessTest, OversizeIsAnsweredWithNackThree) {
    mSerial.Feed(kOversize);
    mMaster.Process();
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kNack3));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterProcessTest, NackIsSentOnceAndNotWaitedFor) {
    mSerial.Feed(kBadHeader);
    mMaster.Process();
    EXPECT_EQ(mClock.ElapsedMs(), 0U);
    mMaster.Process();
    EXPECT_EQ(mSerial.Writes().size(), 1U);
}

TEST_F(MasterProcessTest, DamageWithAFrameBehindItIsNotAnswered) {
    mSerial.Feed(kBadHeader);
    mSerial.Feed(kAlive);
    mMaster.Process();
    EXPECT_EQ(mSerial.Writes().size(), 0U);
    EXPECT_THAT(mMaster.received, ElementsAre(kAlive));
}

TEST_F(MasterProcessTest, WithThePoolEmptyTheBytesWait) {
    const std::vector<Packet*> held = mMaster.DrainPool();
    mSerial.Feed(kAlive);
    mMaster.Process();
    EXPECT_EQ(mMaster.received.size(), 0U);
    EXPECT_EQ(mSerial.UnreadBytes(), kAlive.size());
    mMaster.GiveBack(held);
    mMaster.Process();
    EXPECT_EQ(mMaster.received.size(), 1U);
}

TEST_F(MasterProcessTest, HandlerMaySendCommandsOfItsOwn) {
    AnswerEveryFrame(kAck);
    e_commError ack = commError_Unknown;
    e_commError command = commError_Unknown;
    mMaster.onReceived = [&](Packet&) {
        ack = mMaster.SendCommand(CommCommands_Ack, 0, nullptr, 200);
        command = mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200);
    };
    mSerial.Feed(kAlive);
    mMaster.Process();
    EXPECT_EQ(ack, commError_None);
    EXPECT_EQ(command, commError_None);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kAck, Bytes{0x0A, 0x1A, 0x00, 0x00, 0xD6, 0x9F}));
}

TEST_F(MasterProcessTest, HandlerThatThrowsLosesNoPacket) {
    mMaster.onReceived = [](Packet&) { throw std::runtime_error("handler"); };
    for (int i = 0; i < 10; ++i) {
        mSerial.Feed(kAlive);
        EXPECT_THROW(mMaster.Process(), std::runtime_error);
    }
    EXPECT_EQ(mMaster.PacketsOut(), 0U);
    mMaster.onReceived = nullptr;
    mSerial.Feed(kAlive);
    mMaster.Process();
    EXPECT_EQ(mMaster.received.size(), 11U);
}

TEST_F(MasterProcessTest, ResponseHandlerThatThrowsLosesNoPacketAndKeepsNoLock) {
    AnswerEveryFrame(kAck);
    mMaster.onResponse = [](Packet&, CommCommands_t) -> e_commError { throw std::runtime_error("handler"); };
    for (int i = 0; i < 10; ++i) {
        EXPECT_THROW(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), std::runtime_error);
    }
    EXPECT_EQ(mMaster.PacketsOut(), 0U);
    EXPECT_TRUE(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex));
    mMaster.onResponse = nullptr;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_None);
}

}  // namespace
