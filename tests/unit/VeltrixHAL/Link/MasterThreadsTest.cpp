// Several threads on one master. Meant for the thread sanitizer as much as for its own expectations.
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

// Handlers that only touch what may be touched from any thread.
class BusyMaster : public VeltrixNetMaster {
public:
    using VeltrixNetMaster::mFramer;
    using VeltrixNetMaster::mPacketPool;

    explicit BusyMaster(IBufferedSerial& serial)
        : VeltrixNetMaster(serial, VeltrixNetBusinessUnit_Quasky, VeltrixNetProductId_Kestrum,
                           VeltrixNetNodeType_Kestrum_SBC) {}

    void HandleReceivedPacket(Packet& packet) override {
        if (packet[1] != CommCommands_CarrierAlive) {
            ++strangers;
        }
        ++handled;
        SendCommand(CommCommands_Ack, 0, nullptr, 200);
    }

    // The echoes of the commands: each must come to the thread that sent the command, during that wait.
    e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int /*elapsedMs*/) override {
        if (response[1] == CommCommands_CarrierAlive) {
            return commError_Unknown;
        }
        const bool isMine = response[1] == CommCommands_Ack && response[2] == 1 && response[6] == sent &&
                            std::this_thread::get_id() == commander;
        return isMine ? commError_None : commError_CrcFail;
    }

    unsigned int FreePackets() {
        unsigned int count = 0;
        while (mPacketPool.TakeFirst() != nullptr) {
            ++count;
        }
        return count;
    }

    std::thread::id commander;
    std::atomic<unsigned int> handled{0};
    std::atomic<unsigned int> strangers{0};
};

class MasterThreadsTest : public testing::Test {
protected:
    using Bytes = FakeSerial::Bytes;

    static constexpr unsigned int kRounds = 300;

    // The carrier: echoes the command's code and, to requests, a counter; a heartbeat before every third answer and
    // after every fourth.
    FakeSerial::Answers Answer(const Bytes& frame) {
        const unsigned int number = mFrames++;
        const std::uint8_t command = frame[1];
        if (command == CommCommands_Ack || command == CommCommands_Nack) {
            return {};
        }
        FakeSerial::Answers answers;
        if (number % 3 == 0) {
            answers.push_back({FrameBuilder::Frame(CommCommands_CarrierAlive)});
            ++mHeartbeats;
        }
        answers.push_back({FrameBuilder::Ack({command})});
        if (number % 4 == 0) {
            answers.push_back({FrameBuilder::Frame(CommCommands_CarrierAlive)});
            ++mHeartbeats;
        }
        return answers;
    }

    GlobalsGuard mGlobals;
    ControlledClock mClock;
    LogCapture mLog;
    FakeSerial mSerial;
    BusyMaster mMaster{mSerial};
    std::atomic<unsigned int> mFrames{0};
    std::atomic<unsigned int> mHeartbeats{0};
    ConsoleCapture mConsole;
};

TEST_F(MasterThreadsTest, EachSenderGetsItsOwnAnswersWhileFramesArePolled) {
    mSerial.SetResponder([this](const Bytes& frame) { return Answer(frame); });
    std::atomic<bool> done{false};
    std::atomic<unsigned int> wrongRequests{0};
    std::atomic<unsigned int> wrongCommands{0};

    std::thread poller([&] {
        while (!done) {
            mMaster.Process();
            std::this_thread::yield();
        }
    });
    std::thread requester([&] {
        for (unsigned int i = 0; i < kRounds; ++i) {
            std::uint8_t answer = 0;
            const CommCommands_t command = i % 2 == 0 ? CommCommands_GetVBat : CommCommands_GetRTC;
            const e_commError result = mMaster.SendRequest(command, &answer, 1);
            wrongRequests += result != commError_None || answer != command ? 1U : 0U;
        }
    });
    std::atomic<bool> mayStart{false};
    std::thread commander([&] {
        while (!mayStart) {
            std::this_thread::yield();
        }
        const Bytes data = FrameBuilder::Ramp(1500);
        for (unsigned int i = 0; i < kRounds; ++i) {
            const CommCommands_t command = i % 2 == 0 ? CommCommands_CommsTest : CommCommands_AdminAccess;
            const unsigned int length = i % 10 == 0 ? 1500 : 1;
            const e_commError result = mMaster.SendCommand(command, length, data.data(), 200);
            wrongCommands += result != commError_None ? 1U : 0U;
        }
    });
    mMaster.commander = commander.get_id();
    mayStart = true;
    requester.join();
    commander.join();
    done = true;
    poller.join();

    EXPECT_EQ(wrongRequests, 0U);
    EXPECT_EQ(wrongCommands, 0U);
    EXPECT_EQ(mMaster.strangers, 0U) << "an answer went to the poller";
    EXPECT_FALSE(mSerial.WritesOverlapped());
    EXPECT_LE(mMaster.handled, mHeartbeats);
    const unsigned int inFramer = FramerProbe::CurrentOf(mMaster.mFramer) != nullptr ? 1 : 0;
    EXPECT_EQ(mMaster.FreePackets() + inFramer, 6U);
}

TEST_F(MasterThreadsTest, WritersOfEveryKindNeverOverlapAndLoseNoPacket) {
    // A write takes its time, and gives the others theirs.
    mSerial.SetResponder([](const Bytes&) {
        std::this_thread::yield();
        return FakeSerial::Answers{};
    });
    std::vector<std::thread> writers;
    for (unsigned int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([this] {
            for (unsigned int i = 0; i < kRounds; ++i) {
                const auto reason = static_cast<std::uint8_t>(i);
                mMaster.SendCommand(CommCommands_Ack, 0, nullptr, 200);
                mMaster.SendCommand(CommCommands_Nack, 1, &reason, 200);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_FALSE(mSerial.WritesOverlapped());
    EXPECT_EQ(mSerial.Writes().size(), 4U * 2U * kRounds);
    EXPECT_EQ(mMaster.FreePackets(), 6U);
}

}  // namespace
