#include "ProcessorAgnostic/Comms/PacketPool.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "tests/unit/VirtualSlots.h"

namespace {

class PacketPoolTest : public testing::Test {
protected:
    PacketPoolTest() {
        for (Packet& packet : mPackets) {
            mPool.m_available.Prepend(packet);
        }
    }

    const std::unique_ptr<std::array<Packet, 6>> mOwner = std::make_unique<std::array<Packet, 6>>();
    std::array<Packet, 6>& mPackets = *mOwner;
    PacketPool mPool;
};

TEST_F(PacketPoolTest, AFreshPoolYieldsThePacketsInReverseThenNull) {
    for (std::size_t i = mPackets.size(); i > 0; --i) {
        Packet* const packet = mPool.Allocate();
        EXPECT_EQ(packet, &mPackets[i - 1]);
        EXPECT_EQ(packet->m_pNext, nullptr);
    }
    EXPECT_EQ(mPool.Allocate(), nullptr);
    EXPECT_EQ(mPool.Allocate(), nullptr);
}

TEST_F(PacketPoolTest, ThePacketFreedLastIsLentNext) {
    Packet* const first = mPool.Allocate();
    Packet* const second = mPool.Allocate();
    mPool.Free(*second);
    mPool.Free(*first);
    EXPECT_EQ(mPool.m_available.Count(), 6);
    EXPECT_EQ(mPool.Allocate(), first);
    EXPECT_EQ(mPool.Allocate(), second);
}

TEST_F(PacketPoolTest, ALentPacketIsEmptyAndZeroed) {
    Packet* packet = mPool.Allocate();
    ASSERT_TRUE(packet->Grow(65536));
    (*packet)[0] = 1;
    (*packet)[65535] = 2;
    mPool.Free(*packet);
    packet = mPool.Allocate();
    EXPECT_EQ(packet->Size(), 0U);
    EXPECT_EQ((*packet)[0], 0);
    EXPECT_EQ((*packet)[65535], 0);
}

TEST_F(PacketPoolTest, ThePlainPoolLeavesTheContent) {
    MemoryPool<Packet> pool;
    ASSERT_TRUE(mPackets[0].Grow(3));
    mPool.m_available.Clear();
    pool.Free(mPackets[0]);
    EXPECT_EQ(pool.Allocate(), &mPackets[0]);
    EXPECT_EQ(mPackets[0].Size(), 3U);
    EXPECT_EQ(pool.Allocate(), nullptr);
}

TEST_F(PacketPoolTest, OperationsStandInTheirSlots) {
    EXPECT_EQ(SlotOf(&MemoryPool<Packet>::Allocate), 2);
    EXPECT_EQ(SlotOf(&MemoryPool<Packet>::Free), 3);
}

}  // namespace
