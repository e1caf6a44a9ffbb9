// Frames that the master builds, and the master as it is made.
#include "VeltrixHAL/HalGlobals.h"
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"
#include "tests/unit/VirtualSlots.h"

#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MasterFrameTest : public LinkTest {
protected:
    // A packet outside the pool, with so many bytes in use.
    std::unique_ptr<Packet> Filled(unsigned int count) {
        auto packet = std::make_unique<Packet>();
        packet->Grow(count);
        return packet;
    }
};

TEST_F(MasterFrameTest, FreshMasterHasItsFlagsFalseAndSixPacketsLastFirst) {
    EXPECT_FALSE(mMaster.mForceLEDRefresh);
    EXPECT_FALSE(mMaster.mIsCarrierAlive);
    for (std::size_t left = 6; left > 0; --left) {
        EXPECT_EQ(mMaster.mPacketPool.Allocate(), &mMaster.mRawPackets[left - 1]);
    }
    EXPECT_EQ(mMaster.mPacketPool.Allocate(), nullptr);
    for (Packet& packet : mMaster.mRawPackets) {
        mMaster.mPacketPool.Free(packet);
    }
}

TEST_F(MasterFrameTest, TimersAndPlainResponsesMeanNothingToTheMaster) {
    SwTimer timer;
    EXPECT_TRUE(mMaster.SwTimerExpired(timer));
    Observer& observer = mMaster;
    EXPECT_TRUE(observer.Update(&timer));
    unsigned char response[6] = {};
    EXPECT_EQ(mMaster.HandleVeltrixNetResponse(response), 0);
}

TEST_F(MasterFrameTest, OperationsStandInTheirSlotsBehindTheTimersOnes) {
    EXPECT_EQ(SlotOf(&VeltrixNetMaster::SwTimerExpired), 1);
    EXPECT_EQ(SlotOf(&VeltrixNetMaster::Process), 4);
    EXPECT_EQ(SlotOf(&VeltrixNetMaster::HandleReceivedPacket), 5);
    EXPECT_EQ(SlotOf(&VeltrixNetMaster::ProcessResponseFromCarrier), 6);
    EXPECT_EQ(SlotOf(&VeltrixNetMaster::HandleVeltrixNetResponse), 7);
}

TEST_F(MasterFrameTest, MasterKeepsWhoseProductItIs) {
    EXPECT_EQ(mMaster.mBusinessUnit, VeltrixNetBusinessUnit_Quasky);
    EXPECT_EQ(mMaster.mProductId, VeltrixNetProductId_Kestrum);
}

TEST_F(MasterFrameTest, PoolGivesZeroedPacketsButTheFirstAsItIs) {
    Packet* packet = mMaster.mPacketPool.TakeFirst();
    packet->Grow(1);
    (*packet)[0] = 0x77;
    mMaster.mPacketPool.Free(*packet);
    packet = mMaster.mPacketPool.TakeFirst();
    EXPECT_EQ(packet->Size(), 1U);
    EXPECT_EQ((*packet)[0], 0x77);
    mMaster.mPacketPool.Free(*packet);
    packet = mMaster.mPacketPool.Allocate();
    EXPECT_EQ(packet->Size(), 0U);
    EXPECT_EQ((*packet)[0], 0);
    mMaster.mPacketPool.Free(*packet);
}

TEST_F(MasterFrameTest, HeaderIsSixBytesWithTheLengthLowByteFirst) {
    Packet packet;
    mMaster.AddHeader(&packet, 1, 0);
    EXPECT_EQ(Content(packet), kAck);
    packet.Reset(false);
    mMaster.AddHeader(&packet, 4, 476);
    EXPECT_EQ(Content(packet), (Bytes{0x0A, 0x04, 0xDC, 0x01, 0xA4, 0x03}));
    packet.Reset(false);
    mMaster.AddHeader(&packet, 4, 65536 + 476);
    EXPECT_EQ(Content(packet), (Bytes{0x0A, 0x04, 0xDC, 0x01, 0xA4, 0x03})) << "the field has sixteen bits";
}

TEST_F(MasterFrameTest, HeaderThatDoesNotFitLeavesThePacketAsItWas) {
    const auto full = Filled(Packet::kCapacity - 5);
    mMaster.AddHeader(full.get(), 1, 0);
    EXPECT_EQ(full->Size(), Packet::kCapacity - 5);
    EXPECT_EQ(Content(*full), Bytes(Packet::kCapacity - 5));
}

TEST_F(MasterFrameTest, PayloadFollowsWhatIsThereAndIsFollowedByItsCrc) {
    Packet packet;
    packet.Grow(2);
    packet[0] = 0x55;
    packet[1] = 0x66;
    const Bytes data = FrameBuilder::Text("123456789");
    mMaster.AddPayload(&packet, 9, data.data());
    EXPECT_EQ(Content(packet), (Bytes{0x55, 0x66, '1', '2', '3', '4', '5', '6', '7', '8', '9', 0x90, 0x6E}));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterFrameTest, PayloadOfNothingIsACrcOfZero) {
    Packet packet;
    const std::uint8_t byte = 1;
    mMaster.AddPayload(&packet, 0, &byte);
    EXPECT_EQ(Content(packet), (Bytes{0x00, 0x00}));
}

TEST_F(MasterFrameTest, LongestPayloadFillsThePacketToItsLastByte) {
    const auto packet = Filled(6);
    const Bytes data = FrameBuilder::Ramp(65528);
    mMaster.AddPayload(packet.get(), 65528, data.data());
    EXPECT_EQ(packet->Size(), Packet::kCapacity);
    EXPECT_EQ((*packet)[6 + 65527], data.back());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    const auto empty = Filled(0);
    const Bytes more = FrameBuilder::Ramp(65534);
    mMaster.AddPayload(empty.get(), 65534, more.data());
    EXPECT_EQ(Content(*empty), FrameBuilder::Join({more, FrameBuilder::WireCrc(more)}));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MasterFrameTest, PayloadThatDoesNotFitIsALoggedErrorAndChangesNothing) {
    const Bytes data(65536);
    struct Case {
        unsigned int before;
        unsigned int length;
    };
    for (const Case& one :
         {Case{6, 65529}, Case{0, 65535}, Case{0, 65536}, Case{65534, 1}, Case{6, 4294967295U}, Case{6, 4294967294U}}) {
        const auto packet = Filled(one.before);
        mMaster.AddPayload(packet.get(), one.length, data.data());
        EXPECT_EQ(packet->Size(), one.before);
        EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to grow packet to fit payload"))) << one.length;
    }
}

TEST_F(MasterFrameTest, NoPacketIsALoggedError) {
    mMaster.AddHeader(nullptr, 1, 0);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to allocate a VeltrixNet packet for TX header.")));
    const std::uint8_t byte = 1;
    mMaster.AddPayload(nullptr, 1, &byte);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to allocate a VeltrixNet packet for TX payload.")));
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(MasterFrameTest, PreparingAFrameSetsTheHealthBitAndLeavesTheOthers) {
    HalGlobals::gProcessHealth = 0x20;
    Packet packet;
    Packet* pointer = &packet;
    const std::uint8_t reason = 1;
    EXPECT_EQ(mMaster.PrepareTxPacket(pointer, 0, 1, &reason), &packet);
    EXPECT_EQ(Content(packet), kNack1);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0x30U);
}

TEST_F(MasterFrameTest, FrameWithoutDataIsAHeaderThatAnnouncesTheLength) {
    Packet packet;
    Packet* pointer = &packet;
    EXPECT_EQ(mMaster.PrepareTxPacket(pointer, 4, 476, nullptr), &packet);
    EXPECT_EQ(Content(packet), (Bytes{0x0A, 0x04, 0xDC, 0x01, 0xA4, 0x03}));
}

TEST_F(MasterFrameTest, PreparingWithoutAPacketSaysSoAndLeavesTheHealthWord) {
    Packet* none = nullptr;
    EXPECT_EQ(mMaster.PrepareTxPacket(none, 1, 0, nullptr), nullptr);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unallocated packet received for TX.")));
    EXPECT_EQ(mConsole.Take(), "Unallocated packet received for TX.\n");
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U);
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_EQ(mMaster.PrepareTxPacket(none, 1, 0, nullptr), nullptr);
    EXPECT_EQ(mConsole.Take(), "");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unallocated packet received for TX.")));
}

TEST_F(MasterFrameTest, TransmittingWritesTheFrameWithOneCall) {
    Packet packet;
    mMaster.AddHeader(&packet, 9, 0);
    mMaster.TxPacket(packet);
    EXPECT_THAT(mSerial.Writes(), ElementsAre(kAlive));
}

}  // namespace
