// While the process stops: no further attempt, no long wait, no further chunk.
#include "VeltrixHAL/HalGlobals.h"
#include "tests/support/WaitUntil.h"
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MasterStopTest : public LinkTest {
protected:
    e_commError Send(unsigned short timeoutMs = 200) {
        return mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, timeoutMs);
    }
};

TEST_F(MasterStopTest, MuteCommandRunsItsTimeOutOutAndIsNotRepeated) {
    gKeepRunning = false;
    EXPECT_EQ(Send(), commError_Timeout);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
    EXPECT_EQ(mClock.ElapsedMs(), 200U);
}

TEST_F(MasterStopTest, RefusedCommandIsNeitherRepeatedNorPausedFor) {
    gKeepRunning = false;
    AnswerEveryFrame(kNack1);
    EXPECT_EQ(Send(), commError_Nack);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
    EXPECT_EQ(mConsole.Take(), "HAL Sent packet: 0x1a, carrier return code: 4\n");
}

TEST_F(MasterStopTest, AnsweredCommandSucceeds) {
    gKeepRunning = false;
    AnswerEveryFrame(kAck, 150);
    EXPECT_EQ(Send(), commError_None);
}

TEST_F(MasterStopTest, StopDuringAnAttemptMakesItTheLast) {
    mClock.At(250, [] { gKeepRunning = false; });
    EXPECT_EQ(Send(), commError_Timeout);
    EXPECT_EQ(mSerial.Writes().size(), 2U);
    EXPECT_EQ(mClock.ElapsedMs(), 400U);
}

TEST_F(MasterStopTest, LongWaitEndsAsATimeOutAfterOneSecond) {
    gKeepRunning = false;
    EXPECT_EQ(Send(5000), commError_Timeout);
    EXPECT_EQ(mClock.ElapsedMs(), 1000U);
    std::string wanted = Dots(100);
    wanted.append("WaitForResponseToCommand() timed out after 1000 timeout var: 5000\n");
    wanted.append("HAL Sent packet: 0x1a, carrier return code: 2\n");
    EXPECT_EQ(mConsole.Take(), wanted);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("WaitForResponseToCommand() Timed out after 1000")));
}

TEST_F(MasterStopTest, WaitThatIsOlderThanASecondWhenTheStopComesEndsAtOnce) {
    mClock.At(3005, [] { gKeepRunning = false; });
    EXPECT_EQ(Send(5000), commError_Timeout);
    EXPECT_EQ(mClock.ElapsedMs(), 3010U);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
}

TEST_F(MasterStopTest, LongWaitStillTakesAnAnswerWithinTheSecond) {
    gKeepRunning = false;
    AnswerEveryFrame(kAck, 900);
    EXPECT_EQ(Send(5000), commError_None);
}

TEST_F(MasterStopTest, AnAnswerThatHasComeCountsHoweverOldTheWait) {
    AnswerEveryFrame(kAck, 3000);
    mMaster.onResponse = [](Packet&, CommCommands_t) {
        gKeepRunning = false;
        return commError_None;
    };
    EXPECT_EQ(Send(5000), commError_None);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterStopTest, HeartbeatsDoNotProlongALongWait) {
    gKeepRunning = false;
    for (std::uint32_t at = 0; at < 5000; at += 10) {
        mSerial.Feed(kAlive, at);
    }
    EXPECT_EQ(Send(5000), commError_Timeout);
    EXPECT_LE(mClock.ElapsedMs(), 1010U);
}

TEST_F(MasterStopTest, LongPayloadEndsBetweenTwoFramesAsNotDone) {
    const Bytes data = FrameBuilder::Ramp(2500);
    mSerial.SetResponder([&](const Bytes&) {
        gKeepRunning = false;
        return Answers{{kAck}};
    });
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 2500, data.data(), 200), commError_Unknown);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
}

TEST_F(MasterStopTest, LastFrameOfAPayloadStillSucceeds) {
    const Bytes data = FrameBuilder::Ramp(1500);
    mSerial.SetResponder([&](const Bytes& frame) {
        gKeepRunning = frame.size() == 1032;
        return Answers{{kAck}};
    });
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 1500, data.data(), 200), commError_None);
    EXPECT_EQ(mSerial.Writes().size(), 2U);
}

TEST_F(MasterStopTest, MuteRequestIsAskedOnce) {
    gKeepRunning = false;
    std::uint8_t answer = 0;
    EXPECT_EQ(mMaster.SendRequest(CommCommands_GetVBat, &answer, 1), commError_Timeout);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
    EXPECT_EQ(mClock.ElapsedMs(), 200U);
}

TEST_F(MasterStopTest, AnsweredRequestSucceeds) {
    gKeepRunning = false;
    AnswerEveryFrame(FrameBuilder::Ack({7}), 100);
    std::uint8_t answer = 0;
    EXPECT_EQ(mMaster.SendRequest(CommCommands_GetVBat, &answer, 1), commError_None);
    EXPECT_EQ(answer, 7);
}

TEST_F(MasterStopTest, LongWaitForARequestEndsAsATimeOutAfterOneSecond) {
    gKeepRunning = false;
    EXPECT_EQ(mMaster.WaitForResponseToRequest(CommCommands_GetVBat, 5000, nullptr, 0), commError_Timeout);
    EXPECT_EQ(mClock.ElapsedMs(), 1000U);
    std::string wanted = Dots(100);
    wanted.append("WaitForResponseToRequest() timed out after 1000 timeout var: 5000\n");
    EXPECT_EQ(mConsole.Take(), wanted);
}

TEST_F(MasterStopTest, EmptyPoolIsNotTriedAgain) {
    gKeepRunning = false;
    const std::vector<Packet*> held = mMaster.DrainPool();
    EXPECT_EQ(Send(), commError_Unknown);
    EXPECT_EQ(mLog.Take().size(), 1U);
    mMaster.GiveBack(held);
}

// Somebody else's wait goes on while what it was answered is told to a broker that does not listen.
TEST_F(MasterStopTest, WhatCannotHaveTheLineEndsAsATimeOutUnsent) {
    std::thread elsewhere;
    std::atomic<int> ended{0};
    e_commError command = commError_None;
    e_commError request = commError_None;
    mMaster.onResponse = [&](Packet&, CommCommands_t) {
        elsewhere = std::thread([&] {
            command = mMaster.SendCommand(CommCommands_WiFiUp, 0, nullptr, 200);
            ++ended;
            std::uint8_t answer = 0;
            request = mMaster.SendRequest(CommCommands_BoardRevision, &answer, 1);
            ++ended;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(ended, 0) << "while the process runs it waits";
        gKeepRunning = false;
        EXPECT_TRUE(WaitUntil([&] { return ended == 2; }));
        return commError_None;
    };
    AnswerEveryFrame(kAck);
    EXPECT_EQ(Send(), commError_None);
    ASSERT_TRUE(elsewhere.joinable());
    elsewhere.join();
    EXPECT_EQ(command, commError_Timeout);
    EXPECT_EQ(request, commError_Timeout);
    EXPECT_EQ(mSerial.Writes().size(), 1U);
}

}  // namespace
