// No packet left: the threads of the process never hold all six at once, so the pool is emptied by hand here, below the
// services and above the real port and a simulated carrier.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <vector>

#include "CarrierSimulator/Carrier.h"
#include "OSSpecific/Linux/Uart/LinuxSerial.h"
#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WaitUntil.h"

namespace {

using testing::ElementsAre;

constexpr std::chrono::seconds kPatience{20};

class FramerProbe : public PacketFramer {
public:
    static bool IsHolding(const PacketFramer& framer) { return framer.*(&FramerProbe::mPacketPtr) != nullptr; }
};

class PooledMaster : public VeltrixNetMaster {
public:
    explicit PooledMaster(IBufferedSerial& serial)
        : VeltrixNetMaster(serial, VeltrixNetBusinessUnit_Quasky, VeltrixNetProductId_Kestrum,
                           VeltrixNetNodeType_Kestrum_SBC) {}

    void HandleReceivedPacket(Packet& packet) override {
        received.push_back(packet[1]);
        SendCommand(CommCommands_Ack, 0, nullptr, 200);
    }
    e_commError ProcessResponseFromCarrier(Packet& /*response*/, CommCommands_t /*sent*/, int /*elapsed*/) override {
        return commError_None;
    }

    // All that are free; returns how many that were.
    std::size_t Take() {
        const std::size_t before = mTaken.size();
        while (Packet* const packet = mPacketPool.TakeFirst()) {
            mTaken.push_back(packet);
        }
        return mTaken.size() - before;
    }
    void GiveBack() {
        for (Packet* const packet : mTaken) {
            mPacketPool.Free(*packet);
        }
        mTaken.clear();
    }

    // One is with the framer, to be filled by the next frame.
    std::size_t WithFramer() const { return FramerProbe::IsHolding(mFramer) ? 1 : 0; }

    std::vector<std::uint8_t> received;

private:
    std::vector<Packet*> mTaken;
};

class EmptyPoolTest : public testing::Test {
protected:
    EmptyPoolTest() : mCarrier(Options(mFolder / "uart")) {
        if (!mCarrier.Start()) {
            throw std::runtime_error(mCarrier.Error());
        }
        TYPEDEF_Struct_uartConfig config{};
        config.accessOpt = NonBlockRdWr;
        config.baudrate = B115200;
        config.flowCntl = NoFlowControl;
        config.readMode = RawMode;
        mPort.Configure(mFolder / "uart", config);
        if (mPort.ConnectUart() != 0) {
            throw std::runtime_error("the port does not open");
        }
    }

    static simulator::CarrierOptions Options(const std::string& link) {
        simulator::CarrierOptions options;
        options.link = link;
        options.ownCommands.answerTime = kPatience;
        return options;
    }

    TempFolder mFolder;
    simulator::Carrier mCarrier;
    LinuxSerial mPort;
    PooledMaster mMaster{mPort};
};

TEST_F(EmptyPoolTest, SendsNothingAndSaysUnknown) {
    EXPECT_EQ(mMaster.Take(), 6U);
    EXPECT_EQ(mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_Unknown);
    unsigned char answer[100] = {};
    EXPECT_EQ(mMaster.SendRequest(CommCommands_GetCarrierVersion, answer, 100), commError_Unknown);
    mMaster.GiveBack();
    EXPECT_EQ(mMaster.SendCommand(CommCommands_WiFiUp, 0, nullptr, 5000), commError_None);
    ASSERT_EQ(mCarrier.ReceivedCount(), 1U);
    EXPECT_TRUE(mCarrier.Received()[0].IsCommand(simulator::command::kWifiUp)) << "and not what was asked for before";
    EXPECT_FALSE(mCarrier.State().leds.isEthernetOn);
}

TEST_F(EmptyPoolTest, LeavesAFrameInThePortUntilAPacketIsFree) {
    EXPECT_EQ(mMaster.Take(), 6U);
    const std::uint64_t heartbeat = mCarrier.SendHeartbeat();
    ASSERT_TRUE(mCarrier.WaitForSent(
        [](const auto& record) { return record.IsCommand(simulator::command::kCarrierAlive); }, kPatience));
    for (int i = 0; i < 100; ++i) {
        mMaster.Process();
    }
    EXPECT_THAT(mMaster.received, ElementsAre());
    EXPECT_FALSE(mMaster.mIsCarrierAlive);
    mMaster.GiveBack();
    EXPECT_TRUE(WaitUntil([&] {
        mMaster.Process();
        return !mMaster.received.empty();
    }));
    EXPECT_THAT(mMaster.received, ElementsAre(simulator::command::kCarrierAlive));
    const auto outcome = mCarrier.WaitForOutcome(heartbeat, kPatience);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(outcome->state, simulator::OwnCommand::State::Acked);
}

// Nothing is lost on the way: however many frames come, all six are there afterwards.
TEST_F(EmptyPoolTest, IsNotWhatTrafficLeavesBehind) {
    for (int i = 0; i < 200; ++i) {
        mCarrier.SendCommsTest(32);
        if (i % 4 == 0) {
            mMaster.SendCommand(CommCommands_EnetUp, 0, nullptr, 5000);
        }
        mMaster.Process();
    }
    EXPECT_EQ(mMaster.Take() + mMaster.WithFramer(), 6U);
}

}  // namespace
