// Waiting for the answer to a command: what ends a wait, what does not, and when it has lasted long enough.
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class MasterWaitTest : public LinkTest {
protected:
    using LinkTest::LinkTest;

    e_commError Wait(CommCommands_t command, unsigned short timeoutMs) {
        return mMaster.WaitForResponseToCommand(command, timeoutMs, mElapsedMs);
    }

    unsigned int mElapsedMs = 12345;
};

TEST_F(MasterWaitTest, AckThatIsThereEndsTheWaitAtOnce) {
    mSerial.Feed(kAck);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mElapsedMs, 0U);
    EXPECT_EQ(mConsole.Take(), "");
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
}

TEST_F(MasterWaitTest, PortIsPolledEveryTenMillisecondsWithADotEach) {
    mSerial.Feed(kAck, 35);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mElapsedMs, 40U);
    EXPECT_EQ(mConsole.Take(), "....");
    EXPECT_THAT(mClock.Sleeps(), ElementsAre(10000U, 10000U, 10000U, 10000U));
    ASSERT_EQ(mMaster.responses.size(), 1U);
    EXPECT_EQ(mMaster.responses[0].elapsedMs, 40);
}

TEST_F(MasterWaitTest, DotsArePrintedWhateverTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    mSerial.Feed(kAck, 20);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mConsole.Take(), "..");
}

TEST_F(MasterWaitTest, NackEndsTheWaitWithWhatItMeans) {
    mSerial.Feed(kNack1);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_Nack);
    EXPECT_EQ(mMaster.responses.at(0).frame, kNack1);
}

TEST_F(MasterWaitTest, AckInPiecesIsPutTogetherAcrossPolls) {
    mSerial.SetBytesPerPoll(1);
    mSerial.Feed(kAck);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mElapsedMs, 50U);
}

TEST_F(MasterWaitTest, SilenceEndsInATimeOut) {
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_Timeout);
    EXPECT_EQ(mElapsedMs, 200U);
    EXPECT_EQ(mConsole.Take(), Dots(20, "WaitForResponseToCommand() timed out after 200 timeout var: 200\n"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("WaitForResponseToCommand() Timed out after 200")));
    EXPECT_EQ(mMaster.responses.size(), 0U);
}

TEST_F(MasterWaitTest, OverloadWithoutElapsedTimeDoesTheSame) {
    mSerial.Feed(kAck);
    EXPECT_EQ(mMaster.WaitForResponseToCommand(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mMaster.WaitForResponseToCommand(CommCommands_EnetUp, 200), commError_Timeout);
}

TEST_F(MasterWaitTest, TimeOutOfZeroDoesNotEvenPoll) {
    mSerial.Feed(kAck);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 0), commError_Timeout);
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
    EXPECT_EQ(mConsole.Take(), "WaitForResponseToCommand() timed out after 0 timeout var: 0\n");
}

TEST_F(MasterWaitTest, LongestTimeOutRunsOutToItsEnd) {
    EXPECT_EQ(Wait(CommCommands_EnetUp, 65535), commError_Timeout);
    EXPECT_EQ(mElapsedMs, 65540U);
}

TEST_F(MasterWaitTest, HeartbeatDoesNotEndTheWaitButIsPassedOn) {
    mSerial.Feed(kAlive);
    mSerial.Feed(kAck, 30);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mConsole.Take(), "Rx heartbeat/alive while waiting for ack\n...");
    ASSERT_EQ(mMaster.responses.size(), 2U);
    EXPECT_EQ(mMaster.responses[0].frame, kAlive);
    EXPECT_EQ(mMaster.responses[0].sent, CommCommands_EnetUp);
    EXPECT_EQ(mMaster.responses[1].frame, kAck);
    EXPECT_EQ(mMaster.responses[1].elapsedMs, 30);
    EXPECT_EQ(mMaster.received.size(), 0U) << "not an unsolicited frame: the wait had it";
    EXPECT_FALSE(mMaster.mIsCarrierAlive);
}

TEST_F(MasterWaitTest, HeartbeatIsToldWhateverTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    mSerial.Feed(kAlive);
    mSerial.Feed(kAck);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mConsole.Take(), "Rx heartbeat/alive while waiting for ack\n");
}

TEST_F(MasterWaitTest, AnyOtherFrameIsToldAndPassedOn) {
    VeltrixErrorLog::gVerbosity = -1;
    mSerial.Feed({0x0A, 0x0A, 0x01, 0x00, 0x4A, 0xD2, 0x01, 0xE1, 0xF1});
    mSerial.Feed(FrameBuilder::Frame(45, FrameBuilder::Ramp(300)));
    mSerial.Feed(kAck);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mConsole.Take(),
              "Expected Ack but got Rx Command: 10 payload size: 1\n"
              "Expected Ack but got Rx Command: 45 payload size: 300\n");
    EXPECT_EQ(mMaster.responses.size(), 3U);
}

TEST_F(MasterWaitTest, OtherFramesWithoutAnAnswerEndInATimeOut) {
    mSerial.Feed(kAlive);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_Timeout);
}

TEST_F(MasterWaitTest, DamagedFramesDuringAWaitAreNotAnsweredAndNotPassedOn) {
    mSerial.Feed({0x0A, 0x01, 0x00, 0x00, 0x7B, 0xAC});
    mSerial.Feed(kAck, 10);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mSerial.Writes().size(), 0U);
    EXPECT_EQ(mMaster.responses.size(), 1U);
}

TEST_F(MasterWaitTest, BusyNackDuringAFilePacketKeepsTheWaitOpenForTheAck) {
    mSerial.Feed(kNackBusy, 20);
    mSerial.Feed(kNackBusy, 1500);
    mSerial.Feed(kAck, 3000);
    mMaster.nackMeans = commError_BusyRetry;
    EXPECT_EQ(Wait(CommCommands_FileTransferPacket, 5000), commError_None);
    EXPECT_EQ(mElapsedMs, 3000U);
    EXPECT_EQ(
        mConsole.Take(),
        Dots(2, "Received busy nack; carrier is storing the packet (20ms of 5000ms remaining before aborting)\n") +
            Dots(148,
                 "Received busy nack; carrier is storing the packet (1500ms of 5000ms remaining before "
                 "aborting)\n") +
            Dots(150));
    // The log's form lacks the second figure, and always has.
    EXPECT_THAT(
        mLog.Take(),
        ElementsAre(
            Information("Received busy nack; carrier is storing the packet (20ms of ms remaining before aborting)"),
            Information("Received busy nack; carrier is storing the packet (1500ms of ms remaining before aborting)")));
}

TEST_F(MasterWaitTest, BusyNackWithoutAnAckAfterItRunsIntoTheTimeOut) {
    VeltrixErrorLog::gVerbosity = -1;
    mSerial.Feed(kNackBusy);
    EXPECT_EQ(Wait(CommCommands_FileTransferPacket, 200), commError_Timeout);
    EXPECT_EQ(mConsole.Take(), Dots(20, "WaitForResponseToCommand() timed out after 200 timeout var: 200\n"));
}

TEST_F(MasterWaitTest, BusyNackToAnyOtherCommandEndsTheWait) {
    mSerial.Feed(kNackBusy);
    EXPECT_EQ(Wait(CommCommands_FileTransferEnd, 200), commError_Nack);
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(MasterWaitTest, OtherNacksDuringAFilePacketEndTheWait) {
    mSerial.Feed(kNack1);
    EXPECT_EQ(Wait(CommCommands_FileTransferPacket, 200), commError_Nack);
    mSerial.Feed(kNackWithoutReason);
    EXPECT_EQ(Wait(CommCommands_FileTransferPacket, 200), commError_Nack);
}

TEST_F(MasterWaitTest, AckWithTheBusyCodeAsPayloadEndsTheWait) {
    mSerial.Feed(FrameBuilder::Ack({16}));
    EXPECT_EQ(Wait(CommCommands_FileTransferPacket, 200), commError_None);
}

TEST_F(MasterWaitTest, AnswerThatIsHandledTooLateCountsAsATimeOut) {
    mSerial.Feed(kAck);
    mMaster.onResponse = [&](Packet&, CommCommands_t) {
        mClock.AdvanceMs(250);
        return commError_None;
    };
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_Timeout);
    EXPECT_EQ(mElapsedMs, 250U);
    EXPECT_EQ(mConsole.Take(), "WaitForResponseToCommand() timed out after 250 timeout var: 200\n");
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("WaitForResponseToCommand() Timed out after 250")));
}

TEST_F(MasterWaitTest, AnswerThatMeansATimeOutIsToldLikeOne) {
    mSerial.Feed(kAck, 10);
    mMaster.onResponse = [](Packet&, CommCommands_t) { return commError_Timeout; };
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_Timeout);
    EXPECT_EQ(mConsole.Take(), ".WaitForResponseToCommand() timed out after 10 timeout var: 200\n");
}

TEST_F(MasterWaitTest, ResultIsThatOfTheLastFrame) {
    mSerial.Feed(kAlive);
    mSerial.Feed(kNack1);
    mMaster.onResponse = [](Packet& packet, CommCommands_t) {
        return packet[1] == CommCommands_CarrierAlive ? commError_Collision : commError_CrcFail;
    };
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_CrcFail);
}

TEST_F(MasterWaitTest, FramesBehindTheAnswerStayForTheNextReader) {
    mSerial.Feed(kAck);
    mSerial.Feed(kAlive);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mSerial.UnreadBytes(), kAlive.size());
    mMaster.Process();
    EXPECT_THAT(mMaster.received, ElementsAre(kAlive));
}

// The clock wraps 50 ms after the wait began.
class MasterWaitAcrossTheWrapTest : public MasterWaitTest {
protected:
    MasterWaitAcrossTheWrapTest() : MasterWaitTest(0xFFFFFFFFU - 49) {}
};

TEST_F(MasterWaitAcrossTheWrapTest, AnswerBehindTheWrapIsTaken) {
    mSerial.Feed(kAck, 100);
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_None);
    EXPECT_EQ(mElapsedMs, 100U);
    EXPECT_EQ(mMaster.responses.at(0).elapsedMs, 100);
}

TEST_F(MasterWaitAcrossTheWrapTest, SilenceLastsAsLongAsEver) {
    EXPECT_EQ(Wait(CommCommands_EnetUp, 200), commError_Timeout);
    EXPECT_EQ(mElapsedMs, 200U);
    EXPECT_EQ(mClock.NowMs(), 150U);
}

TEST_F(MasterWaitAcrossTheWrapTest, RequestsWaitAcrossItToo) {
    std::uint8_t answer[2] = {};
    mSerial.Feed(FrameBuilder::Ack({0x34, 0x12}), 100);
    EXPECT_EQ(mMaster.WaitForResponseToRequest(CommCommands_GetVBat, 200, answer, 2), commError_None);
    EXPECT_EQ(mMaster.WaitForResponseToRequest(CommCommands_GetVBat, 200, answer, 2), commError_Timeout);
    EXPECT_EQ(mClock.ElapsedMs(), 300U);
}

}  // namespace
