// Commands that come through: frames, chunks, and what the console tells of them.
#include "VeltrixHAL/HalGlobals.h"
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <utility>

namespace {

using FrameBuilder::Ramp;
using testing::ElementsAre;
using testing::IsEmpty;

class MasterSendTest : public LinkTest {
protected:
    static Bytes Part(const Bytes& data, std::size_t from, std::size_t count) {
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(from);
        return {first, first + static_cast<std::ptrdiff_t>(count)};
    }
};

TEST_F(MasterSendTest, CommandWithoutPayloadIsAHeaderAndSucceedsWithTheAck) {
    AnswerEveryFrame(kAck);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_None);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(Bytes{0x0A, 0x1A, 0x00, 0x00, 0xD6, 0x9F}));
    ASSERT_EQ(mMaster.responses.size(), 1U);
    EXPECT_EQ(mMaster.responses[0].frame, kAck);
    EXPECT_EQ(mMaster.responses[0].sent, CommCommands_EnetUp);
    EXPECT_EQ(mMaster.responses[0].elapsedMs, 0);
    EXPECT_EQ(mConsole.Take(), "");
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_EQ(HalGlobals::gProcessHealth, 0x30U) << "a frame was prepared and the port polled";
}

TEST_F(MasterSendTest, PayloadOfOneByteIsFollowedByItsCrc) {
    AnswerEveryFrame(kAck);
    const std::uint8_t on = 1;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_DataTransmitEnable, 1, &on, 200), commError_None);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(Bytes{0x0A, 0x0A, 0x01, 0x00, 0x4A, 0xD2, 0x01, 0xE1, 0xF1}));
}

TEST_F(MasterSendTest, LongPayloadLeavesInFramesOfAtMost1024Bytes) {
    std::string toldBeforeTheEnd;
    mSerial.SetResponder([&](const Bytes&) {
        toldBeforeTheEnd += mConsole.Take() + "(frame)\n";
        return Answers{{kAck, 0}};
    });
    const Bytes data = Ramp(2500, 0x0A);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 2500, data.data(), 200), commError_None);
    const auto writes = mSerial.Writes();
    ASSERT_EQ(writes.size(), 3U);
    const auto whole = [](const Bytes& header, const Bytes& payload) {
        return FrameBuilder::Join({header, payload, FrameBuilder::WireCrc(payload)});
    };
    EXPECT_EQ(writes[0], whole({0x0A, 0x04, 0x00, 0x04, 0x05, 0x35}, Part(data, 0, 1024)));
    EXPECT_EQ(writes[1], whole({0x0A, 0x04, 0x00, 0x04, 0x05, 0x35}, Part(data, 1024, 1024)));
    EXPECT_EQ(writes[2], whole({0x0A, 0x04, 0xC4, 0x01, 0xFF, 0x52}, Part(data, 2048, 452)));
    EXPECT_EQ(toldBeforeTheEnd,
              "(frame)\n"
              "Sent FileTransferPacket. 1476 remaining of 2500\n(frame)\n"
              "Sent FileTransferPacket. 452 remaining of 2500\n(frame)\n");
    EXPECT_EQ(mConsole.Take(), "Sent FileTransferPacket. 0 remaining of 2500\n");
}

TEST_F(MasterSendTest, PayloadsAroundTheFrameLimitAreCutThere) {
    AnswerEveryFrame(kAck);
    const Bytes data = Ramp(2049);
    const auto frameSizes = [&](unsigned int length) {
        EXPECT_EQ(mMaster.SendCommand(CommCommands_CommsTest, length, data.data(), 200), commError_None);
        std::vector<std::size_t> sizes;
        for (const Bytes& write : mSerial.TakeWrites()) {
            sizes.push_back(write.size() - 8);
        }
        return sizes;
    };
    EXPECT_THAT(frameSizes(1023), ElementsAre(1023U));
    EXPECT_THAT(frameSizes(1024), ElementsAre(1024U));
    EXPECT_THAT(frameSizes(1025), ElementsAre(1024U, 1U));
    EXPECT_THAT(frameSizes(2048), ElementsAre(1024U, 1024U));
    EXPECT_THAT(frameSizes(2049), ElementsAre(1024U, 1024U, 1U));
    EXPECT_EQ(mConsole.Take(), "") << "only file packets are told of";
}

TEST_F(MasterSendTest, NextFrameLeavesOnlyAfterTheAckOfTheOneBefore) {
    AnswerEveryFrame(kAck, 50);
    const Bytes data = Ramp(1500);
    std::vector<std::uint64_t> times;
    mSerial.SetResponder([&](const Bytes&) {
        times.push_back(mClock.ElapsedMs());
        return Answers{{kAck, 50}};
    });
    EXPECT_EQ(mMaster.SendCommand(CommCommands_CommsTest, 1500, data.data(), 200), commError_None);
    EXPECT_THAT(times, ElementsAre(0U, 50U));
    EXPECT_EQ(mConsole.Take(), Dots(10));
}

// A whole file is one payload: what of it has not left yet is read where it lies.
TEST_F(MasterSendTest, TheRestOfAPayloadIsNotCopied) {
    Bytes data = Ramp(1500);
    bool isFirst = true;
    mSerial.SetResponder([&](const Bytes&) {
        if (std::exchange(isFirst, false)) {
            data[1400] = 0x5A;
        }
        return Answers{{kAck, 0}};
    });
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 1500, data.data(), 200), commError_None);
    const auto writes = mSerial.Writes();
    ASSERT_EQ(writes.size(), 2U);
    EXPECT_EQ(writes[1], FrameBuilder::Frame(4, Part(data, 1024, 476)));
    EXPECT_EQ(writes[1][6 + 1400 - 1024], 0x5A);
}

TEST_F(MasterSendTest, LengthWithoutDataSendsHeadersThatAnnounceEachChunk) {
    AnswerEveryFrame(kAck);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferStart, 1500, nullptr, 200), commError_None);
    EXPECT_THAT(mSerial.Writes(),
                ElementsAre(Bytes{0x0A, 0x02, 0x00, 0x04, 0xD3, 0xEC}, Bytes{0x0A, 0x02, 0xDC, 0x01, 0x72, 0xDA}));
}

TEST_F(MasterSendTest, AckLeavesOnceAndNothingIsRead) {
    mSerial.Feed(kNack1);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_Ack, 0, nullptr, 200), commError_None);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kAck));
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
    EXPECT_EQ(mClock.ElapsedMs(), 0U);
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(MasterSendTest, NackLeavesOnceAndNothingIsRead) {
    const std::uint8_t reason = 1;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_Nack, 1, &reason, 200), commError_None);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kNack1));
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
    EXPECT_EQ(mMaster.responses.size(), 0U);
}

TEST_F(MasterSendTest, LongAckLeavesInChunksWithoutAnyWait) {
    const Bytes data = Ramp(1030);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_Ack, 1030, data.data(), 200), commError_None);
    EXPECT_THAT(mSerial.Writes(),
                ElementsAre(FrameBuilder::Ack(Part(data, 0, 1024)), FrameBuilder::Ack(Part(data, 1024, 6))));
    EXPECT_EQ(mSerial.ReadCalls(), 0U);
}

TEST_F(MasterSendTest, AboveVerbosityOneEachCommandIsTold) {
    AnswerEveryFrame(kAck);
    VeltrixErrorLog::gVerbosity = 2;
    mMaster.SendCommand(CommCommands_BoardRevision, 0, nullptr, 200);
    EXPECT_EQ(mConsole.Take(), "Sending command: 0x32\n");
    mMaster.SendCommand(CommCommands_GetRTC, 0, nullptr, 200);
    EXPECT_EQ(mConsole.Take(), "Sending command: 0xf\n");
    VeltrixErrorLog::gVerbosity = 1;
    mMaster.SendCommand(CommCommands_BoardRevision, 0, nullptr, 200);
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(MasterSendTest, ACommandIsToldOnceWhateverItsFramesAndAttempts) {
    const Bytes data = Ramp(2500);
    AnswerInTurn({{{kAck}}, {{kNack1}}, {{kAck}}, {{kAck}}});
    VeltrixErrorLog::gVerbosity = 2;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_CommsTest, 2500, data.data(), 200), commError_None);
    const std::string told = mConsole.Take();
    EXPECT_EQ(mSerial.Writes().size(), 4U);
    EXPECT_THAT(told, testing::StartsWith("Sending command: 0x28\n"));
    EXPECT_EQ(told.rfind("Sending command"), 0U);
}

TEST_F(MasterSendTest, BelowVerbosityZeroFilePacketsAreNotTold) {
    AnswerEveryFrame(kAck);
    VeltrixErrorLog::gVerbosity = -1;
    const std::uint8_t byte = 5;
    EXPECT_EQ(mMaster.SendCommand(CommCommands_FileTransferPacket, 1, &byte, 200), commError_None);
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(MasterSendTest, PacketIsBackInThePoolWhileTheAnswerIsWaitedFor) {
    AnswerEveryFrame(kAck);
    unsigned int out = 99;
    mMaster.onResponse = [&](Packet&, CommCommands_t) {
        out = mMaster.PacketsOut();
        return commError_None;
    };
    EXPECT_EQ(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_None);
    EXPECT_EQ(out, 1U) << "only the answer itself is lent";
}

}  // namespace
