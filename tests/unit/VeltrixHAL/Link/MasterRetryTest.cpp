// Commands that fail: which failures are repeated, how often, after which pause, and with which words.
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

namespace {

using FrameBuilder::Ramp;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class MasterRetryTest : public LinkTest {
protected:
    e_commError Send(CommCommands_t command = CommCommands_EnetUp) {
        return mMaster.SendCommand(command, 0, nullptr, 200);
    }
    std::size_t Frames() const { return mSerial.Writes().size(); }

    const Bytes kEnetUp = {0x0A, 0x1A, 0x00, 0x00, 0xD6, 0x9F};
};

TEST_F(MasterRetryTest, RefusedCommandLeavesThreeTimesWithPausesBetween) {
    AnswerEveryFrame(kNack1);
    std::string toldInThePause;
    mClock.At(5, [&] { toldInThePause = mConsole.Take(); });
    EXPECT_EQ(Send(), commError_Nack);
    EXPECT_EQ(toldInThePause, "HAL Sent packet: 0x1a, carrier return code: 4\n");
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kEnetUp, kEnetUp, kEnetUp));
    EXPECT_THAT(mClock.Sleeps(), ElementsAre(13000U, 13000U));
    EXPECT_EQ(mConsole.Take(),
              "2 retry attempts remaining\n"
              "HAL Sent packet: 0x1a, carrier return code: 4\n"
              "1 retry attempts remaining\n"
              "HAL Sent packet: 0x1a, carrier return code: 4\n");
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterRetryTest, BelowVerbosityZeroARefusalIsSilent) {
    VeltrixErrorLog::gVerbosity = -1;
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Send(), commError_Nack);
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(MasterRetryTest, CollisionPausesLikeARefusal) {
    mMaster.nackMeans = commError_Collision;
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Send(), commError_Collision);
    EXPECT_EQ(Frames(), 3U);
    EXPECT_THAT(mClock.Sleeps(), ElementsAre(13000U, 13000U));
}

TEST_F(MasterRetryTest, UnknownAnswerIsRepeatedAtOnce) {
    mMaster.nackMeans = commError_Unknown;
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Send(), commError_Unknown);
    EXPECT_EQ(Frames(), 3U);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
}

TEST_F(MasterRetryTest, CorruptionIsReturnedWithoutAnyRepetition) {
    mMaster.nackMeans = commError_CrcFail;
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Send(CommCommands_FileTransferEnd), commError_CrcFail);
    EXPECT_EQ(Frames(), 1U);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
    EXPECT_EQ(mConsole.Take(), "HAL Sent packet: 0x5, carrier return code: 3\n");
}

TEST_F(MasterRetryTest, FlashProblemDuringAFilePacketEndsTheTransfer) {
    mMaster.nackMeans = commError_BusyRetry;
    AnswerEveryFrame(kNack1);
    const std::uint8_t byte = 1;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 1, &byte, 200), commError_BusyRetry);
    EXPECT_EQ(Frames(), 1U);
    EXPECT_EQ(mConsole.Take(),
              "Sent FileTransferPacket. 0 remaining of 1\n"
              "HAL Sent packet: 0x4, carrier return code: 6\n"
              "Carrier encountered a flash write problem.  Restart the transfer\n");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Carrier encountered a flash write problem.  Restart the transfer")));
}

TEST_F(MasterRetryTest, FlashProblemIsToldWhateverTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    mMaster.nackMeans = commError_BusyRetry;
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Send(CommCommands_FileTransferPacket), commError_BusyRetry);
    EXPECT_EQ(mConsole.Take(), "Carrier encountered a flash write problem.  Restart the transfer\n");
}

TEST_F(MasterRetryTest, BusyAnswerToAnyOtherCommandIsRepeatedAtOnce) {
    mMaster.nackMeans = commError_BusyRetry;
    AnswerEveryFrame(kNackBusy);
    EXPECT_EQ(Send(), commError_BusyRetry);
    EXPECT_EQ(Frames(), 3U);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterRetryTest, SilenceIsRepeatedAtOnceAfterEachTimeOut) {
    std::vector<std::uint64_t> times;
    mSerial.SetResponder([&](const Bytes&) {
        times.push_back(mClock.ElapsedMs());
        return Answers{};
    });
    EXPECT_EQ(Send(), commError_Timeout);
    EXPECT_THAT(times, ElementsAre(0U, 200U, 400U));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
    EXPECT_THAT(mClock.Sleeps(), Each(10000U));
    const std::string attempt = Dots(20, "WaitForResponseToCommand() timed out after 200 timeout var: 200\n") +
                                "HAL Sent packet: 0x1a, carrier return code: 2\n";
    EXPECT_EQ(mConsole.Take(),
              attempt + "2 retry attempts remaining\n" + attempt + "1 retry attempts remaining\n" + attempt);
    const LogLine line = Information("WaitForResponseToCommand() Timed out after 200");
    EXPECT_THAT(mLog.Take(), ElementsAre(line, line, line));
}

TEST_F(MasterRetryTest, SecondAttemptCanSucceed) {
    AnswerInTurn({{{kNack1}}, {{kAck}}});
    EXPECT_EQ(Send(), commError_None);
    EXPECT_EQ(Frames(), 2U);
    EXPECT_EQ(mConsole.Take(), "HAL Sent packet: 0x1a, carrier return code: 4\n2 retry attempts remaining\n");
}

TEST_F(MasterRetryTest, AckThatComesAfterTheTimeOutServesTheNextAttempt) {
    AnswerInTurn({{{kAck, 250}}});
    EXPECT_EQ(Send(), commError_None);
    EXPECT_EQ(Frames(), 2U);
    ASSERT_EQ(mMaster.responses.size(), 1U);
    EXPECT_EQ(mMaster.responses[0].elapsedMs, 50);
}

TEST_F(MasterRetryTest, EachChunkHasThreeAttemptsOfItsOwn) {
    AnswerInTurn({{{kNack1}}, {{kNack1}}, {{kAck}}, {{kNack1}}, {{kNack1}}, {{kAck}}});
    const Bytes data = Ramp(1025);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_CommsTest, 1025, data.data(), 200), commError_None);
    const auto writes = mSerial.Writes();
    ASSERT_EQ(writes.size(), 6U);
    EXPECT_EQ(writes[0], writes[2]) << "the same chunk again";
    EXPECT_EQ(writes[0].size(), 1032U);
    EXPECT_EQ(writes[3], writes[5]);
    EXPECT_EQ(writes[5].size(), 9U);
}

TEST_F(MasterRetryTest, ChunkThatFailsThreeTimesEndsTheCommand) {
    AnswerInTurn({{{kAck}}, {{kNack1}}, {{kNack1}}, {{kNack1}}, {{kAck}}});
    const Bytes data = Ramp(3000);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_CommsTest, 3000, data.data(), 200), commError_Nack);
    EXPECT_EQ(Frames(), 4U);
}

TEST_F(MasterRetryTest, EmptyPoolCountsAsAFailedAttemptOfTheFirstChunk) {
    const std::vector<Packet*> held = mMaster.DrainPool();
    EXPECT_EQ(Send(), commError_Unknown);
    EXPECT_EQ(Frames(), 0U);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
    const std::string attempt = "Failed to allocate pTx in SendCommand()\nUnallocated packet received for TX.\n";
    EXPECT_EQ(mConsole.Take(),
              attempt + "2 retry attempts remaining\n" + attempt + "1 retry attempts remaining\n" + attempt);
    const LogLine line = Error("Unallocated packet received for TX.");
    EXPECT_THAT(mLog.Take(), ElementsAre(line, line, line));
    mMaster.GiveBack(held);
    AnswerEveryFrame(kAck);
    EXPECT_EQ(Send(), commError_None);
}

TEST_F(MasterRetryTest, BelowVerbosityZeroAnEmptyPoolIsOnlyLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    const std::vector<Packet*> held = mMaster.DrainPool();
    EXPECT_EQ(Send(), commError_Unknown);
    EXPECT_EQ(mConsole.Take(), "");
    const LogLine line = Error("Unallocated packet received for TX.");
    EXPECT_THAT(mLog.Take(), ElementsAre(line, line, line));
    mMaster.GiveBack(held);
}

TEST_F(MasterRetryTest, EmptyPoolOnARepetitionKeepsTheResultBefore) {
    std::vector<Packet*> held;
    mClock.At(100, [&] { held = mMaster.DrainPool(); });
    EXPECT_EQ(Send(), commError_Timeout);
    EXPECT_EQ(held.size(), 5U) << "the sixth is the framer's";
    EXPECT_EQ(Frames(), 1U);
    mMaster.GiveBack(held);
}

TEST_F(MasterRetryTest, EmptyPoolAtALaterChunkSkipsTheChunkAsIfSent) {
    // The answer's packet goes back before the wait looks at the clock for the last time: there all are taken away.
    std::vector<Packet*> held;
    mClock.WhenLookedAt([&] {
        if (mMaster.responses.size() == 1 && held.empty()) {
            held = mMaster.DrainPool();
        }
    });
    AnswerEveryFrame(kAck);
    const Bytes data = Ramp(2500);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 2500, data.data(), 200), commError_None);
    EXPECT_EQ(held.size(), 6U);
    EXPECT_EQ(Frames(), 1U) << "the second and third chunk found no packet";
    const std::string skipped = "Failed to allocate pTx in SendCommand()\nUnallocated packet received for TX.\n";
    EXPECT_EQ(mConsole.Take(), "Sent FileTransferPacket. 1476 remaining of 2500\n" + skipped + skipped)
        << "a chunk that did not leave is not told as sent";
    mMaster.GiveBack(held);
}

TEST_F(MasterRetryTest, NackWithoutAPacketIsTriedThreeTimes) {
    const std::vector<Packet*> held = mMaster.DrainPool();
    const std::uint8_t reason = 1;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_Nack, 1, &reason, 200), commError_Unknown);
    EXPECT_EQ(Frames(), 0U);
    EXPECT_EQ(mLog.Take().size(), 3U);
    mMaster.GiveBack(held);
}

}  // namespace
