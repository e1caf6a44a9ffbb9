// Requests: what counts as an answer, what is copied, and how the time is judged.
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <array>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class MasterRequestTest : public LinkTest {
protected:
    static constexpr std::uint8_t kUntouched = 0xEE;

    e_commError Ask(unsigned short maxLength = 4) {
        return mMaster.SendRequest(CommCommands_GetVBat, mAnswer.data(), maxLength);
    }
    e_commError Wait(unsigned short timeoutMs, unsigned short maxLength = 4) {
        return mMaster.WaitForResponseToRequest(CommCommands_GetVBat, timeoutMs, mAnswer.data(), maxLength);
    }

    const Bytes kGetVBat = {0x0A, 0x0D, 0x00, 0x00, 0xDF, 0x0F};
    const Bytes kAckWithTwo = {0x0A, 0x01, 0x02, 0x00, 0x49, 0x1C, 0x34, 0x12, 0xED, 0x16};
    std::array<std::uint8_t, 8> mAnswer{kUntouched, kUntouched, kUntouched, kUntouched,
                                        kUntouched, kUntouched, kUntouched, kUntouched};
    const std::array<std::uint8_t, 8> mUntouched = mAnswer;
    const std::array<std::uint8_t, 8> mWithTwo{0x34,       0x12,       kUntouched, kUntouched,
                                               kUntouched, kUntouched, kUntouched, kUntouched};
};

TEST_F(MasterRequestTest, AnswersPayloadIsCopied) {
    AnswerEveryFrame(kAckWithTwo, 20);
    EXPECT_EQ(Ask(), commError_None);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kGetVBat));
    EXPECT_EQ(mAnswer, mWithTwo);
    EXPECT_EQ(mConsole.Take(), "..0x1 received after 20ms\n");
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_EQ(mMaster.responses.size(), 0U) << "a request's answer has no further meaning";
}

TEST_F(MasterRequestTest, AnswerAsLongAsTheBufferIsTaken) {
    AnswerEveryFrame(FrameBuilder::Ack({1, 2, 3, 4}));
    EXPECT_EQ(Ask(4), commError_None);
    EXPECT_EQ(mAnswer[3], 4);
    EXPECT_EQ(mAnswer[4], kUntouched);
}

TEST_F(MasterRequestTest, BelowVerbosityZeroTheFramesAreNotTold) {
    VeltrixErrorLog::gVerbosity = -1;
    AnswerEveryFrame(kAckWithTwo, 10);
    EXPECT_EQ(Ask(), commError_None);
    EXPECT_EQ(mConsole.Take(), ".");
}

TEST_F(MasterRequestTest, EmptyAckEndsTheWaitWithoutAnAnswer) {
    AnswerEveryFrame(kAck);
    EXPECT_EQ(Ask(), commError_Unknown);
    EXPECT_EQ(mSerial.Writes().size(), 3U) << "asked again at once";
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
    EXPECT_EQ(mAnswer, mUntouched);
    EXPECT_EQ(mConsole.Take(), "0x1 received after 0ms\n0x1 received after 0ms\n0x1 received after 0ms\n");
}

TEST_F(MasterRequestTest, AnswerToNobodysBufferEndsTheWaitAsUnknown) {
    mSerial.Feed(kAckWithTwo);
    EXPECT_EQ(mMaster.WaitForResponseToRequest(CommCommands_GetVBat, 200, nullptr, 4), commError_Unknown);
    EXPECT_EQ(mClock.ElapsedMs(), 0U);
}

TEST_F(MasterRequestTest, TooLongAnAnswerIsNotTakenAndTheWaitGoesOn) {
    mSerial.Feed(FrameBuilder::Ack({1, 2, 3, 4, 5}));
    mSerial.Feed(kAckWithTwo, 50);
    EXPECT_EQ(Wait(200), commError_None);
    EXPECT_EQ(mAnswer, mWithTwo);
    EXPECT_EQ(mConsole.Take(), "0x1 received after 0ms\n.....0x1 received after 50ms\n");
}

TEST_F(MasterRequestTest, TooLongAnAnswerAloneEndsInATimeOutAndLeavesTheBuffer) {
    mSerial.Feed(FrameBuilder::Ack({1, 2, 3, 4, 5}));
    EXPECT_EQ(Wait(200), commError_Timeout);
    EXPECT_EQ(mAnswer, mUntouched);
}

TEST_F(MasterRequestTest, BufferOfNoLengthTakesOnlyAnEmptyAck) {
    mSerial.Feed(kAckWithTwo);
    mSerial.Feed(kAck, 10);
    EXPECT_EQ(Wait(200, 0), commError_Unknown);
    EXPECT_EQ(mClock.ElapsedMs(), 10U);
    EXPECT_EQ(mAnswer, mUntouched);
}

TEST_F(MasterRequestTest, NackDoesNotEndTheWait) {
    mSerial.Feed(kNack1);
    mSerial.Feed(kAckWithTwo, 30);
    EXPECT_EQ(Wait(200), commError_None);
    EXPECT_EQ(mConsole.Take(), "0x0 received after 0ms\n...0x1 received after 30ms\n");
}

TEST_F(MasterRequestTest, OtherFramesAreToldInHexadecimalAndPassedOver) {
    mSerial.Feed({0x0A, 0x0A, 0x01, 0x00, 0x4A, 0xD2, 0x01, 0xE1, 0xF1});
    mSerial.Feed({0x0A, 0x2D, 0x00, 0x00, 0xDC, 0x34});
    mSerial.Feed(kAckWithTwo);
    EXPECT_EQ(Wait(200), commError_None);
    EXPECT_EQ(mConsole.Take(), "0xa received after 0ms\n0x2d received after 0ms\n0x1 received after 0ms\n");
    EXPECT_EQ(mMaster.responses.size(), 0U);
    EXPECT_EQ(mMaster.received.size(), 0U);
}

TEST_F(MasterRequestTest, HeartbeatDuringTheWaitIsPassedOver) {
    mSerial.Feed(kAlive, 10);
    mSerial.Feed(kAckWithTwo, 20);
    EXPECT_EQ(Wait(200), commError_None);
    EXPECT_EQ(mConsole.Take(), ".0x9 received after 10ms\n.0x1 received after 20ms\n");
}

TEST_F(MasterRequestTest, SilenceEndsInATimeOut) {
    EXPECT_EQ(Wait(200), commError_Timeout);
    EXPECT_EQ(mClock.ElapsedMs(), 200U);
    EXPECT_THAT(mClock.Sleeps(), Each(10000U));
    EXPECT_EQ(mConsole.Take(), Dots(20, "WaitForResponseToRequest() timed out after 200 timeout var: 200\n"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("WaitForResponseToRequest() Timed out after 200")));
}

TEST_F(MasterRequestTest, TimeOutIsToldWhateverTheVerbosityAndInWholePolls) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_EQ(Wait(25), commError_Timeout);
    EXPECT_EQ(mConsole.Take(), "...WaitForResponseToRequest() timed out after 30 timeout var: 25\n");
}

// The scheduler let the polls take longer than planned: the clock ends the wait before the polls have added up.
TEST_F(MasterRequestTest, WaitThatTheClockEndedBeforeThePollsIsUnknown) {
    mClock.At(50, [&] { mClock.AdvanceMs(500); });
    EXPECT_EQ(Wait(200), commError_Unknown);
    EXPECT_EQ(mConsole.Take(), Dots(5));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterRequestTest, HeartbeatLeavesTheResultOfAWaitThatTheClockEndsAsItWas) {
    mSerial.Feed(kAlive);
    mClock.At(50, [&] { mClock.AdvanceMs(500); });
    EXPECT_EQ(Wait(200), commError_Unknown);
}

// Sleeps that return early make the polls add up before the clock: the answer is whole and copied, yet counts as late.
TEST_F(MasterRequestTest, AnswerAfterTooManyPollsIsCopiedAndCountsAsATimeOut) {
    mClock.CutSleepsTo(5000);
    mSerial.Feed(kAckWithTwo, 150);
    EXPECT_EQ(Wait(200), commError_Timeout);
    EXPECT_EQ(mAnswer, mWithTwo);
    EXPECT_EQ(mConsole.Take(),
              Dots(30, "0x1 received after 300ms\nWaitForResponseToRequest() timed out after 300 timeout var: 200\n"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("WaitForResponseToRequest() Timed out after 300")));
}

TEST_F(MasterRequestTest, MuteCarrierIsAskedThreeTimesWithoutAPause) {
    std::vector<std::uint64_t> times;
    mSerial.SetResponder([&](const Bytes&) {
        times.push_back(mClock.ElapsedMs());
        return Answers{};
    });
    EXPECT_EQ(Ask(), commError_Timeout);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kGetVBat, kGetVBat, kGetVBat));
    EXPECT_THAT(times, ElementsAre(0U, 200U, 400U));
    const std::string attempt = Dots(20, "WaitForResponseToRequest() timed out after 200 timeout var: 200\n");
    EXPECT_EQ(mConsole.Take(), attempt + attempt + attempt);
}

TEST_F(MasterRequestTest, RefusingCarrierIsAskedThreeTimes) {
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Ask(), commError_Timeout);
    EXPECT_EQ(mSerial.Writes().size(), 3U);
}

TEST_F(MasterRequestTest, ThirdAttemptCanSucceed) {
    AnswerInTurn({{}, {{kAck}}, {{kAckWithTwo}}});
    EXPECT_EQ(Ask(), commError_None);
    EXPECT_EQ(mSerial.Writes().size(), 3U);
    EXPECT_EQ(mAnswer, mWithTwo);
}

TEST_F(MasterRequestTest, LateAnswerServesTheNextAttempt) {
    AnswerInTurn({{{kAckWithTwo, 230}}});
    EXPECT_EQ(Ask(), commError_None);
    EXPECT_EQ(mSerial.Writes().size(), 2U);
    EXPECT_EQ(mAnswer, mWithTwo);
}

TEST_F(MasterRequestTest, EmptyPoolSendsNothing) {
    const std::vector<Packet*> held = mMaster.DrainPool();
    EXPECT_EQ(Ask(), commError_Unknown);
    EXPECT_EQ(mSerial.Writes().size(), 0U);
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
    const std::string line = "Unallocated packet received for TX.\n";
    EXPECT_EQ(mConsole.Take(), line + line + line);
    EXPECT_EQ(mLog.Take().size(), 3U);
    mMaster.GiveBack(held);
}

TEST_F(MasterRequestTest, EmptyPoolOnARepetitionKeepsTheResultBefore) {
    std::vector<Packet*> held;
    mClock.At(100, [&] { held = mMaster.DrainPool(); });
    EXPECT_EQ(Ask(), commError_Timeout);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
    mMaster.GiveBack(held);
}

}  // namespace
