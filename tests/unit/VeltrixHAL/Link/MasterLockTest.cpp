// Which lock is held when. The other end of the port looks while a frame is being written.
#include "tests/support/WaitUntil.h"
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <mutex>
#include <thread>

namespace {

using testing::ElementsAre;

class MasterLockTest : public LinkTest {
protected:
    // Notes for every frame whether somebody else could take the locks while it left.
    void WatchLocks(Bytes answer) {
        mSerial.SetResponder([this, answer](const Bytes&) {
            mReadIsFree.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex));
            mWriteIsFree.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialWriteMutex));
            return answer.empty() ? Answers{} : Answers{{answer}};
        });
    }

    std::vector<bool> mReadIsFree;
    std::vector<bool> mWriteIsFree;
};

TEST_F(MasterLockTest, CommandHoldsTheReadLockFromBeforeItsFrameToTheEndOfItsWait) {
    WatchLocks(kAck);
    bool freeDuringAnswer = true;
    mMaster.onResponse = [&](Packet&, CommCommands_t) {
        freeDuringAnswer = LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex);
        return commError_None;
    };
    EXPECT_EQ(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_None);
    EXPECT_THAT(mReadIsFree, ElementsAre(false));
    EXPECT_THAT(mWriteIsFree, ElementsAre(false));
    EXPECT_FALSE(freeDuringAnswer);
    EXPECT_TRUE(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex));
    EXPECT_TRUE(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialWriteMutex));
}

TEST_F(MasterLockTest, RequestHoldsTheReadLockFromBeforeItsFrame) {
    WatchLocks(FrameBuilder::Ack({7}));
    std::uint8_t answer = 0;
    EXPECT_EQ(mMaster.SendRequest(CommCommands_GetVBat, &answer, 1), commError_None);
    EXPECT_THAT(mReadIsFree, ElementsAre(false));
    EXPECT_THAT(mWriteIsFree, ElementsAre(false));
    EXPECT_TRUE(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex));
}

TEST_F(MasterLockTest, PauseBeforeARepetitionHoldsNoLock) {
    AnswerEveryFrame(kNack1);
    std::vector<bool> readIsFree;
    for (const std::uint32_t during : {5U, 18U}) {
        mClock.At(during,
                  [&] { readIsFree.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex)); });
    }
    EXPECT_EQ(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_Nack);
    EXPECT_THAT(readIsFree, ElementsAre(true, true));
}

TEST_F(MasterLockTest, ALongPayloadLetsOthersInBetweenItsFrames) {
    constexpr unsigned int kFrames = 300;
    const Bytes payload = FrameBuilder::Ramp(kFrames * 1024);
    AnswerEveryFrame(kAck);
    std::thread other;
    mMaster.onResponse = [&](Packet&, CommCommands_t sent) {
        if (sent == CommCommands_FileTransferPacket && !other.joinable()) {
            other = std::thread([&] { mMaster.SendCommand(CommCommands_WiFiUp, 0, nullptr, 200); });
            EXPECT_TRUE(WaitUntil([&] { return mMaster.mWaitingForLine == 1; }));
        }
        return commError_None;
    };
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, kFrames * 1024, payload.data(), 5100),
              commError_None);
    ASSERT_TRUE(other.joinable());
    other.join();
    EXPECT_EQ(mMaster.responses.size(), kFrames + 1U);
    EXPECT_NE(mMaster.responses.back().sent, CommCommands_WiFiUp) << "it had to wait for the whole file";
    EXPECT_EQ(mMaster.mWaitingForLine, 0);
}

TEST_F(MasterLockTest, WaitHoldsOnlyTheReadLock) {
    std::vector<bool> free;
    mClock.At(5, [&] {
        free.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex));
        free.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialWriteMutex));
    });
    mMaster.WaitForResponseToCommand(CommCommands_EnetUp, 50);
    EXPECT_THAT(free, ElementsAre(false, true));
    free.clear();
    mClock.At(mClock.ElapsedMs() + 5, [&] {
        free.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex));
        free.push_back(LinkMaster::CanLockFromAnotherThread(mMaster.mSerialWriteMutex));
    });
    mMaster.WaitForResponseToRequest(CommCommands_GetVBat, 50, nullptr, 0);
    EXPECT_THAT(free, ElementsAre(false, true));
}

TEST_F(MasterLockTest, AckAndNackNeverTakeTheReadLock) {
    const std::lock_guard somebodyWaits(mMaster.mSerialReadMutex);
    std::thread sender([&] {
        const std::uint8_t reason = 1;
        EXPECT_EQ(mMaster.SendCommand(CommCommands_Ack, 0, nullptr, 200), commError_None);
        EXPECT_EQ(mMaster.SendCommand(CommCommands_Nack, 1, &reason, 200), commError_None);
    });
    sender.join();
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kAck, kNack1));
}

TEST_F(MasterLockTest, ProcessLeavesTheLineToAWaitThatReadsIt) {
    const std::lock_guard somebodyWaits(mMaster.mSerialReadMutex);
    mSerial.Feed(kAlive);
    std::thread([&] { mMaster.Process(); }).join();
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
    EXPECT_EQ(mSerial.UnreadBytes(), kAlive.size());
    EXPECT_EQ(mMaster.received.size(), 0U);
    EXPECT_FALSE(mMaster.mIsCarrierAlive);
}

TEST_F(MasterLockTest, HandlersRunWithoutTheReadLock) {
    bool isFree = false;
    mMaster.onReceived = [&](Packet&) { isFree = LinkMaster::CanLockFromAnotherThread(mMaster.mSerialReadMutex); };
    mSerial.Feed(kAlive);
    mMaster.Process();
    EXPECT_TRUE(isFree);
}

TEST_F(MasterLockTest, NackForADamagedFrameLeavesWithoutTheReadLock) {
    WatchLocks({});
    mSerial.Feed({0x0A, 0x01, 0x00, 0x00, 0x7B, 0xAC});
    mMaster.Process();
    EXPECT_THAT(mReadIsFree, ElementsAre(true));
    EXPECT_THAT(mWriteIsFree, ElementsAre(false));
}

}  // namespace
