// The transfer's passes: which failure ends the update, which is counted, and which is repeated.
#include "tests/unit/VeltrixHAL/Carrier/FirmwareFixture.h"

#include <algorithm>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint8_t kCorrupt = 14;
constexpr std::uint8_t kRefused = 13;
const CarrierStub::Bytes kCorruptNack = FrameBuilder::Nack(kCorrupt);
const CarrierStub::Bytes kRefusedNack = FrameBuilder::Nack(kRefused);

const LogLine kSendingFile = Information("Sending file");
const LogLine kCrcFailure = Error("Carrier reported CRC failure on VeltrixApp_CRC.bin file transfer");
LogLine FileTransferFailed(int attempt) {
    return Error("File transfer failed. Attempt: " + std::to_string(attempt));
}
const LogLine kApplySent = Information("Firmware apply command sent. Waiting for carrier to restart...");
const LogLine kStopped = Information("Update with VeltrixApp_CRC.bin ended by the stop. The file is kept");
LogLine GivingUp(int attempts) {
    return Error("File transer giving up after " + std::to_string(attempts) + " attempts");
}

std::vector<LogLine> TheLastTwo(const std::vector<LogLine>& lines) {
    EXPECT_GE(lines.size(), 2U);
    return {lines.end() - static_cast<std::ptrdiff_t>(std::min<std::size_t>(lines.size(), 2)), lines.end()};
}

class FirmwareTransferTest : public FirmwareTest {
protected:
    // The log of a whole update of three bytes, from the first pass on.
    std::vector<LogLine> LogOfUpdate() {
        Update();
        auto lines = UpdateLog();
        EXPECT_FALSE(lines.empty());
        if (!lines.empty()) {
            EXPECT_EQ(lines.front(), Information("Initiating VeltrixApp_CRC.bin transfer of size 3"));
            lines.erase(lines.begin());
        }
        return lines;
    }

    void ExpectNotApplied() {
        EXPECT_EQ(mLine.Count(kApply), 0U);
        EXPECT_TRUE(IsImageThere());
        ExpectAtRest();
    }

    void ExpectApplied() {
        EXPECT_EQ(mLine.Count(kApply), 1U);
        EXPECT_FALSE(IsImageThere());
        ExpectAtRest();
    }

    static std::vector<LogLine> WithApplied(std::vector<LogLine> lines) {
        lines.push_back(Information("Finalizing file transfer"));
        lines.push_back(Information("Firmware apply command sent. Waiting for carrier to restart..."));
        lines.push_back(Information("Carrier connected after firmware update"));
        return lines;
    }
};

TEST_F(FirmwareTransferTest, ARefusedStartEndsTheUpdate) {
    mLine.Answer(kStart, kRefusedNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(Information("Transfer initiation failed. CommError = 4")));
    EXPECT_EQ(mLine.Count(kStart), 3U);
    EXPECT_EQ(mLine.Count(kPacket), 0U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ARefusedStartIsPrintedWhateverTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    mLine.Answer(kStart, kRefusedNack);
    EXPECT_THAT(Update(), ElementsAre("Transfer initiation failed. CommError = 4"));
}

TEST_F(FirmwareTransferTest, AStartWithoutAnswerEndsTheUpdateAfterThreeTimes30Seconds) {
    mLine.Answer(kStart, CarrierStub::kSilence);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(Information("Transfer initiation failed. CommError = 2")));
    EXPECT_EQ(mClock.ElapsedMs(), 90'000U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ARefusedPacketEndsTheUpdateWithoutAWord) {
    mLine.Answer(kPacket, kRefusedNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile));
    EXPECT_EQ(mLine.Count(kPacket), 3U);
    EXPECT_EQ(mLine.Count(kEnd), 0U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, APacketWithoutAnswerEndsTheUpdateAfterThreeTimes5100Milliseconds) {
    mLine.Answer(kPacket, CarrierStub::kSilence);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile));
    EXPECT_EQ(mClock.ElapsedMs(), 15'300U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ACorruptPacketEndsTheUpdateToo) {
    mLine.Answer(kPacket, kCorruptNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile));
    EXPECT_EQ(mLine.Count(kPacket), 1U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ACarrierThatStaysBusyOnTheLineIsATimeOut) {
    mLine.Answer(kPacket, FrameBuilder::Nack(16));
    EXPECT_THAT(LogOfUpdate(), Not(Contains(FileTransferFailed(1))));
    EXPECT_EQ(mClock.ElapsedMs(), 15'300U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ACorruptStartIsNotRepeated) {
    mLine.Answer(kStart, kCorruptNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(Information("Transfer initiation failed. CommError = 3")));
    EXPECT_EQ(mLine.Count(kStart), 1U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ACorruptApplyIsNotRepeated) {
    mLine.Answer(kApply, kCorruptNack);
    mComesBack = false;
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile, Information("Finalizing file transfer"),
                                           Information("Firmware Apply failed. CommError = 3")));
    EXPECT_EQ(mLine.Count(kApply), 1U);
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareTransferTest, ABusyEndIsARefusedEnd) {
    mLine.Answer(kEnd, FrameBuilder::Nack(16));
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile));
    EXPECT_EQ(mLine.Count(kEnd), 3U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ARefusedEndEndsTheUpdateUncounted) {
    mLine.Answer(kEnd, kRefusedNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile));
    EXPECT_EQ(mLine.Count(kEnd), 3U);
    EXPECT_EQ(mLine.Count(kStart), 1U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, AnEndWithoutAnswerEndsTheUpdateAfterThreeTimes200Milliseconds) {
    mLine.Answer(kEnd, CarrierStub::kSilence);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ThreeCrcFailuresAreTheLimit) {
    mLine.Answer(kEnd, kCorruptNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile, kCrcFailure, kSendingFile, kCrcFailure, kSendingFile,
                                           kCrcFailure, GivingUp(3)));
    EXPECT_EQ(mLine.Count(kStart), 3U);
    EXPECT_EQ(mLine.Count(kEnd), 3U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, CrcFailuresArePrinted) {
    mLine.Answer(kEnd, kCorruptNack);
    const auto printed = Update();
    EXPECT_THAT(printed, Contains("Carrier reported CRC failure on VeltrixApp_CRC.bin file transfer").Times(3));
    EXPECT_EQ(printed.back(), "File transer giving up after 3 attempts");
}

TEST_F(FirmwareTransferTest, BelowVerbosityZeroOnlyTheGivingUpIsPrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    mLine.Answer(kEnd, kCorruptNack);
    EXPECT_THAT(Update(),
                ElementsAre("Sending file", "Sending file", "Sending file", "File transer giving up after 3 attempts"));
}

TEST_F(FirmwareTransferTest, TheGivingUpIsSaidWhileTrafficIsStillHeldBack) {
    mLine.Answer(kEnd, kCorruptNack);
    WriteImage({7, 8, 9});
    bool isGivingUp = false;
    {
        const ConsoleCapture console;
        const LogWatch watch([&](const std::string& line) {
            if (line == GivingUp(3).text) {
                isGivingUp = true;
                EXPECT_TRUE(mCarrier->mCarrierIsReadyForFile);
                EXPECT_TRUE(mCarrier->mFirmwareUpdateInProgress);
                EXPECT_TRUE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
                EXPECT_TRUE(TestCarrier::updateFileMutex.test());
            }
        });
        Announce(kAppFile, 3);
    }
    EXPECT_TRUE(isGivingUp);
    ExpectAtRest();
}

TEST_F(FirmwareTransferTest, ASuccessAfterACrcFailureStillTellsOfTheAttempt) {
    mLine.AnswerNext(kEnd, kCorruptNack);
    auto expected = WithApplied({kSendingFile, kCrcFailure, kSendingFile});
    expected.push_back(GivingUp(1));
    EXPECT_THAT(LogOfUpdate(), ElementsAreArray(expected));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ASuccessAfterTwoCrcFailuresToo) {
    mLine.AnswerNext(kEnd, kCorruptNack, 2);
    auto expected = WithApplied({kSendingFile, kCrcFailure, kSendingFile, kCrcFailure, kSendingFile});
    expected.push_back(GivingUp(2));
    EXPECT_THAT(LogOfUpdate(), ElementsAreArray(expected));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ARetryDoesNotWaitForTheCarrierToBeReadyAgain) {
    mSaysReady = false;
    mLine.Answer(kEnd, kCorruptNack);
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kPacket) {
            mCarrier->mCarrierIsReadyForFile = true;
        }
    };
    Update();
    EXPECT_EQ(mLine.Count(kPacket), 3U);
    EXPECT_EQ(mClock.ElapsedMs(), 2000U);
}

TEST_F(FirmwareTransferTest, ACarrierThatIsNeverReadyIsWaitedForInEachPass) {
    mSaysReady = false;
    mLine.Answer(kEnd, kCorruptNack);
    Update();
    EXPECT_EQ(mLine.Count(kPacket), 3U);
    EXPECT_EQ(mClock.ElapsedMs(), 6000U);
    const auto sleeps = mClock.Sleeps();
    EXPECT_EQ(std::count(sleeps.begin(), sleeps.end(), 100'000U), 60);
}

TEST_F(FirmwareTransferTest, ThreeTimesBusyIsTheLimit) {
    mBusyCarrier->mBusy = {true, true, true};
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile, FileTransferFailed(1), kSendingFile, FileTransferFailed(2),
                                           kSendingFile, FileTransferFailed(3), GivingUp(3)));
    EXPECT_EQ(mLine.Count(kStart), 3U);
    EXPECT_EQ(mLine.Count(kPacket), 3U);
    EXPECT_EQ(mLine.Count(kEnd), 0U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, BusyIsPrintedWhateverTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    mBusyCarrier->mBusy = {true, true, true};
    EXPECT_THAT(Update(), ElementsAre("Sending file", "File transfer failed. Attempt: 1", "Sending file",
                                      "File transfer failed. Attempt: 2", "Sending file",
                                      "File transfer failed. Attempt: 3", "File transer giving up after 3 attempts"));
}

TEST_F(FirmwareTransferTest, ASuccessAfterBusyStillTellsOfTheAttempt) {
    mBusyCarrier->mBusy = {true};
    auto expected = WithApplied({kSendingFile, FileTransferFailed(1), kSendingFile});
    expected.push_back(GivingUp(1));
    EXPECT_THAT(LogOfUpdate(), ElementsAreArray(expected));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, BusyAfterACrcFailureCountsTwice) {
    mLine.AnswerNext(kEnd, kCorruptNack);
    mBusyCarrier->mBusy = {false, true};
    EXPECT_THAT(LogOfUpdate(),
                ElementsAre(kSendingFile, kCrcFailure, kSendingFile, FileTransferFailed(2), kCrcFailure, GivingUp(3)));
    EXPECT_EQ(mLine.Count(kStart), 2U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, TheCountMayGoBeyondTheLimit) {
    mLine.AnswerNext(kEnd, kCorruptNack, 2);
    mBusyCarrier->mBusy = {false, false, true};
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile, kCrcFailure, kSendingFile, kCrcFailure, kSendingFile,
                                           FileTransferFailed(3), kCrcFailure, GivingUp(4)));
    EXPECT_EQ(mLine.Count(kStart), 3U);
    EXPECT_EQ(mLine.Count(kEnd), 2U);
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ACrcFailureAfterBusyCountsOnce) {
    mBusyCarrier->mBusy = {true};
    mLine.AnswerNext(kEnd, kCorruptNack);
    auto expected = WithApplied({kSendingFile, FileTransferFailed(1), kSendingFile, kCrcFailure, kSendingFile});
    expected.push_back(GivingUp(2));
    EXPECT_THAT(LogOfUpdate(), ElementsAreArray(expected));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ARefusedPacketAfterBusyIsRepeatedUncounted) {
    mBusyCarrier->mBusy = {true};
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kPacket && mLine.Count(kPacket) == 1) {
            mLine.AnswerNext(kPacket, FrameBuilder::Ack());
            mLine.AnswerNext(kPacket, kRefusedNack, 3 * 20);
        }
    };
    const auto lines = LogOfUpdate();
    EXPECT_EQ(mLine.Count(kPacket), 62U);
    EXPECT_EQ(mLine.Count(kStart), 22U);
    EXPECT_THAT(lines, Contains(kSendingFile).Times(22));
    EXPECT_THAT(lines, Not(Contains(kCrcFailure)));
    EXPECT_EQ(lines.back(), GivingUp(1));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ARefusedPacketAfterACrcFailureCountsAsOneMoreCrcFailure) {
    mLine.AnswerNext(kEnd, kCorruptNack);
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kEnd) {
            mLine.Answer(kPacket, kRefusedNack);
        }
    };
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile, kCrcFailure, kSendingFile, kCrcFailure, kSendingFile,
                                           kCrcFailure, GivingUp(3)));
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, AnEndThatIsRefusedOtherwiseWipesOutTheCrcFailure) {
    // CRC failure, then a plain refusal (three attempts), then busy: counted once only.
    mLine.AnswerNext(kEnd, kCorruptNack);
    mLine.AnswerNext(kEnd, kRefusedNack, 3);
    mBusyCarrier->mBusy = {false, false, true};
    auto expected =
        WithApplied({kSendingFile, kCrcFailure, kSendingFile, kSendingFile, FileTransferFailed(2), kSendingFile});
    expected.push_back(GivingUp(2));
    EXPECT_THAT(LogOfUpdate(), ElementsAreArray(expected));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ARefusedEndAfterACountedFailureIsRepeatedUncounted) {
    mBusyCarrier->mBusy = {true};
    mLine.AnswerNext(kEnd, kRefusedNack, 3 * 20);
    const auto lines = LogOfUpdate();
    EXPECT_EQ(mLine.Count(kStart), 22U);
    EXPECT_THAT(lines, Contains(kSendingFile).Times(22));
    EXPECT_EQ(lines.back(), GivingUp(1));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ARefusedStartAfterACountedFailureIsRepeatedWithoutEnd) {
    mLine.AnswerNext(kEnd, kCorruptNack);
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kEnd) {
            mLine.Answer(kStart, kRefusedNack);
        }
        if (mLine.Count(kStart) == 1 + 3 * 500) {
            gKeepRunning = false;
        }
    };
    const auto lines = LogOfUpdate();
    EXPECT_EQ(mLine.Count(kStart), 1501U);
    EXPECT_THAT(lines, Contains(Information("Transfer initiation failed. CommError = 4")).Times(500));
    EXPECT_THAT(lines, Contains(kCrcFailure).Times(1));
    EXPECT_THAT(TheLastTwo(lines), ElementsAre(GivingUp(1), kStopped));
    ExpectNotApplied();
}

TEST_F(FirmwareTransferTest, ARefusedStartAfterACountedFailureEndsWhenTheCarrierTakesIt) {
    mBusyCarrier->mBusy = {true};
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kPacket && mLine.Count(kPacket) == 1) {
            mLine.AnswerNext(kStart, kRefusedNack, 3 * 100);
        }
    };
    const auto lines = LogOfUpdate();
    EXPECT_THAT(lines, Contains(Information("Transfer initiation failed. CommError = 4")).Times(100));
    EXPECT_EQ(lines.back(), GivingUp(1));
    ExpectApplied();
}

TEST_F(FirmwareTransferTest, ARefusedApplyKeepsTheFile) {
    mLine.Answer(kApply, kRefusedNack);
    EXPECT_THAT(LogOfUpdate(), ElementsAre(kSendingFile, Information("Finalizing file transfer"),
                                           Information("Firmware Apply failed. CommError = 4")));
    EXPECT_EQ(mLine.Count(kApply), 3U);
    EXPECT_EQ(mLine.Count(kPhase), 2U);  // no phase 4
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareTransferTest, ARefusedApplyIsPrintedWhateverTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    mLine.Answer(kApply, kRefusedNack);
    EXPECT_THAT(Update(),
                ElementsAre("Sending file", "Finalizing file transfer", "Firmware Apply failed. CommError = 4"));
}

TEST_F(FirmwareTransferTest, AnApplyWithoutAnswerFailsAfterThreeTimes30Seconds) {
    mLine.Answer(kApply, CarrierStub::kSilence);
    mComesBack = false;
    EXPECT_THAT(LogOfUpdate(), Contains(Information("Firmware Apply failed. CommError = 2")));
    EXPECT_EQ(mClock.ElapsedMs(), 90'000U);
    EXPECT_TRUE(IsImageThere());
}

TEST_F(FirmwareTransferTest, ARefusedApplyAfterACountedFailureTellsOfTheAttempt) {
    mLine.AnswerNext(kEnd, kCorruptNack);
    mLine.Answer(kApply, kRefusedNack);
    EXPECT_EQ(LogOfUpdate().back(), GivingUp(1));
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

// Stops of the process, each at another place.
class FirmwareStopTest : public FirmwareTransferTest {
protected:
    void StopAtFrame(std::uint8_t command, std::size_t count = 1) {
        mOnFrame = [this, command, count](const Bytes& frame) {
            if (frame[1] == command && mLine.Count(command) == count) {
                gKeepRunning = false;
            }
        };
    }
};

TEST_F(FirmwareStopTest, BetweenTwoPacketsEndsTheUpdate) {
    StopAtFrame(kPacket, 2);
    WriteImage(Bytes(5000, 1));
    Announce(kAppFile, 5000);
    EXPECT_EQ(mLine.Count(kPacket), 2U);
    EXPECT_EQ(mLine.Count(kEnd), 0U);
    ExpectNotApplied();
}

TEST_F(FirmwareStopTest, BehindTheEndStillAppliesAndKeepsTheFile) {
    mComesBack = false;
    StopAtFrame(kEnd);
    EXPECT_THAT(LogOfUpdate(),
                ElementsAre(kSendingFile, Information("Finalizing file transfer"), kApplySent, kStopped));
    EXPECT_EQ(mLine.Count(kPhase), 2U);
    EXPECT_EQ(mLine.Count(kApply), 1U);
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareStopTest, DuringTheWaitForTheCarriersReturnKeepsTheFile) {
    mComesBack = false;
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kApply) {
            mClock.At(mClock.ElapsedMs() + 100, [] { gKeepRunning = false; });
        }
    };
    const auto lines = LogOfUpdate();
    EXPECT_THAT(TheLastTwo(lines), ElementsAre(kApplySent, kStopped));
    EXPECT_EQ(mClock.ElapsedMs(), 100U);
    EXPECT_EQ(mLine.Count(kPhase), 2U);
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareStopTest, WhileThePhaseIsAnnouncedNothingElseIsSent) {
    mLine.Answer(kPhase, kRefusedNack);
    StopAtFrame(kPhase, 5);
    Update();
    EXPECT_THAT(UpdateLog(), ElementsAre(Information("Initiating VeltrixApp_CRC.bin transfer of size 3"), kStopped));
    EXPECT_EQ(mLine.Count(kPhase), 5U);
    EXPECT_EQ(mLine.Count(kStart), 0U);
    ExpectNotApplied();
}

TEST_F(FirmwareStopTest, DuringTheThirdPhaseStillAppliesAndKeepsTheFile) {
    mComesBack = false;
    StopAtFrame(kPhase, 2);
    EXPECT_THAT(TheLastTwo(LogOfUpdate()), ElementsAre(kApplySent, kStopped));
    EXPECT_EQ(mLine.Count(kApply), 1U);
    EXPECT_EQ(mLine.Count(kPhase), 2U);
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareStopTest, DuringAStartThatIsNotAnsweredEndsTheUpdateWithinASecond) {
    mLine.Answer(kStart, CarrierStub::kSilence);
    mClock.At(500, [] { gKeepRunning = false; });
    EXPECT_THAT(LogOfUpdate(), ElementsAre(Information("Transfer initiation failed. CommError = 2"), kStopped));
    EXPECT_LE(mClock.ElapsedMs(), 1500U);
    EXPECT_EQ(mLine.Count(kStart), 1U);
    ExpectNotApplied();
}

TEST_F(FirmwareStopTest, DuringTheWaitForReadinessEndsIt) {
    mSaysReady = false;
    mClock.At(250, [] { gKeepRunning = false; });
    WriteImage(Bytes(5000, 1));
    Announce(kAppFile, 5000);
    EXPECT_EQ(mClock.ElapsedMs(), 300U);
    EXPECT_EQ(mLine.Count(kPacket), 1U);
    EXPECT_EQ(mLine.Count(kEnd), 0U);
    ExpectNotApplied();
}

}  // namespace
