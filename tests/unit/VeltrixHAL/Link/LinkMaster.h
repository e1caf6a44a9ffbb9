// A master whose inside can be seen and whose meanings the test chooses, and the fixture around it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/VeltrixHAL/Link/FramerProbe.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"
#include "tests/unit/VeltrixHAL/Support/FakeTime.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

class LinkMaster : public VeltrixNetMaster {
public:
    using Bytes = FakeSerial::Bytes;
    using VeltrixNetMaster::mBusinessUnit;
    using VeltrixNetMaster::mFramer;
    using VeltrixNetMaster::mPacketPool;
    using VeltrixNetMaster::mProductId;
    using VeltrixNetMaster::mRawPackets;
    using VeltrixNetMaster::mSerialReadMutex;
    using VeltrixNetMaster::mSerialWriteMutex;
    using VeltrixNetMaster::mWaitingForLine;

    explicit LinkMaster(IBufferedSerial& serial)
        : VeltrixNetMaster(serial, VeltrixNetBusinessUnit_Quasky, VeltrixNetProductId_Kestrum,
                           VeltrixNetNodeType_Kestrum_SBC) {}

    // A frame that came during a wait.
    struct Response {
        Bytes frame;
        CommCommands_t sent;
        int elapsedMs;
    };

    void HandleReceivedPacket(Packet& packet) override {
        received.push_back(Content(packet));
        if (onReceived) {
            onReceived(packet);
        }
    }

    // Ack means success and Nack its code's meaning in `nackMeanings`, unless onResponse decides.
    e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int elapsedMs) override {
        responses.push_back({Content(response), sent, elapsedMs});
        if (onResponse) {
            return onResponse(response, sent);
        }
        if (response[1] == CommCommands_Ack) {
            return commError_None;
        }
        return response[1] == CommCommands_Nack ? nackMeans : commError_Unknown;
    }

    // Takes every free packet.
    std::vector<Packet*> DrainPool() {
        std::vector<Packet*> packets;
        for (Packet* packet = mPacketPool.TakeFirst(); packet != nullptr; packet = mPacketPool.TakeFirst()) {
            packets.push_back(packet);
        }
        return packets;
    }
    void GiveBack(const std::vector<Packet*>& packets) {
        for (Packet* const packet : packets) {
            mPacketPool.Free(*packet);
        }
    }

    // Packets that neither lie in the pool nor are being filled.
    unsigned int PacketsOut() {
        const std::vector<Packet*> free = DrainPool();
        GiveBack(free);
        const unsigned int inFramer = FramerProbe::CurrentOf(mFramer) != nullptr ? 1 : 0;
        return s_packetCount - static_cast<unsigned int>(free.size()) - inFramer;
    }

    static bool CanLockFromAnotherThread(std::mutex& mutex) {
        return std::async(std::launch::async,
                          [&] {
                              const std::unique_lock lock(mutex, std::try_to_lock);
                              return lock.owns_lock();
                          })
            .get();
    }

    std::function<void(Packet&)> onReceived;
    std::function<e_commError(Packet&, CommCommands_t)> onResponse;
    e_commError nackMeans = commError_Nack;
    std::vector<Bytes> received;
    std::vector<Response> responses;
};

class LinkTest : public testing::Test {
protected:
    using Bytes = FakeSerial::Bytes;
    using Answers = FakeSerial::Answers;

    explicit LinkTest(std::uint32_t startMs = 1'000'000) : mClock(startMs) {}

    void TearDown() override { EXPECT_EQ(mMaster.PacketsOut(), 0U) << "a packet did not come back"; }

    // The other end gives these answers, one a frame; then it is mute.
    void AnswerInTurn(std::vector<Answers> turns) {
        mTurns = std::move(turns);
        mSerial.SetResponder([this, turn = std::size_t{0}](const Bytes&) mutable {
            return turn < mTurns.size() ? mTurns[turn++] : Answers{};
        });
    }
    void AnswerEveryFrame(Bytes answer, std::uint32_t delayMs = 0) {
        mSerial.SetResponder([=](const Bytes&) { return Answers{{answer, delayMs}}; });
    }

    // What mute polls print.
    static std::string Dots(std::size_t count, const char* then = "") {
        std::string text(count, '.');
        text += then;
        return text;
    }

    const Bytes kAck = {0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAC};
    const Bytes kAlive = {0x0A, 0x09, 0x00, 0x00, 0xBC, 0x6E};
    const Bytes kNack1 = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF1};
    const Bytes kNackBusy = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x10, 0xE0, 0xF9};
    const Bytes kNackWithoutReason = {0x0A, 0x00, 0x00, 0x00, 0x20, 0x70};

    GlobalsGuard mGlobals;
    ControlledClock mClock;
    LogCapture mLog;
    FakeSerial mSerial;
    LinkMaster mMaster{mSerial};
    std::vector<Answers> mTurns;
    ConsoleCapture mConsole;
};
