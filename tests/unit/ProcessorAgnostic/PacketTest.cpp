#include "ProcessorAgnostic/Comms/Packet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>

namespace {

// 64 KiB does not belong on a stack.
class PacketTest : public testing::Test {
protected:
    class OpenPacket : public Packet {
    public:
        using Packet::m_buffer;
        using Packet::m_count;
        using Packet::m_startIndex;
    };

    bool IsZeroed() const {
        return std::all_of(std::begin(mPacket.m_buffer), std::end(mPacket.m_buffer),
                           [](unsigned char byte) { return byte == 0; });
    }

    const std::unique_ptr<OpenPacket> mOwner = std::make_unique<OpenPacket>();
    OpenPacket& mPacket = *mOwner;
};

TEST_F(PacketTest, AFreshPacketIsEmptyZeroedAndUnlinked) {
    EXPECT_EQ(mPacket.Size(), 0U);
    EXPECT_EQ(mPacket.m_startIndex, 0U);
    EXPECT_EQ(mPacket.m_pNext, nullptr);
    EXPECT_EQ(sizeof mPacket.m_buffer, 65536U);
    EXPECT_EQ(sizeof(packetSize_t), 4U);
    EXPECT_TRUE(IsZeroed());
}

TEST_F(PacketTest, AFreshPacketIsZeroedWhateverTheMemoryHeld) {
    const auto memory = std::make_unique<unsigned char[]>(sizeof(Packet) + alignof(Packet));
    std::fill_n(memory.get(), sizeof(Packet) + alignof(Packet), static_cast<unsigned char>(0xA5));
    void* place = memory.get();
    std::size_t room = sizeof(Packet) + alignof(Packet);
    ASSERT_NE(std::align(alignof(Packet), sizeof(Packet), place, room), nullptr);
    auto* const packet = new (place) Packet;
    const unsigned char* const bytes = *packet;
    EXPECT_TRUE(std::all_of(bytes, bytes + 65536, [](unsigned char byte) { return byte == 0; }));
    packet->~Packet();
}

TEST_F(PacketTest, GrowTakesTheWholeBufferAndNoMore) {
    EXPECT_FALSE(mPacket.Grow(65537));
    EXPECT_EQ(mPacket.Size(), 0U);
    EXPECT_TRUE(mPacket.Grow(65536));
    EXPECT_EQ(mPacket.Size(), 65536U);
}

TEST_F(PacketTest, GrowLooksAtTheStartIndexAndTheAdditionOnly) {
    ASSERT_TRUE(mPacket.Grow(65536));
    EXPECT_TRUE(mPacket.Grow(65536));
    EXPECT_EQ(mPacket.Size(), 131072U);
    ASSERT_TRUE(mPacket.ShrinkFront(10));
    EXPECT_FALSE(mPacket.Grow(65527));
    EXPECT_EQ(mPacket.Size(), 131062U);
    EXPECT_TRUE(mPacket.Grow(65526));
    EXPECT_EQ(mPacket.Size(), 196588U);
}

TEST_F(PacketTest, GrowDoesNotWrap) {
    ASSERT_TRUE(mPacket.Grow(2));
    ASSERT_TRUE(mPacket.ShrinkFront(2));
    EXPECT_FALSE(mPacket.Grow(0xFFFFFFFFU));
    EXPECT_FALSE(mPacket.Grow(0xFFFFFFFEU));
    EXPECT_EQ(mPacket.Size(), 0U);
}

TEST_F(PacketTest, GrowByNothingWorks) {
    EXPECT_TRUE(mPacket.Grow(0));
    EXPECT_EQ(mPacket.Size(), 0U);
}

TEST_F(PacketTest, RoomEndsWithTheBufferWhateverTheStart) {
    EXPECT_TRUE(mPacket.HasRoomFor(65536));
    EXPECT_FALSE(mPacket.HasRoomFor(65537));
    EXPECT_FALSE(mPacket.HasRoomFor(0xFFFFFFFFU));
    ASSERT_TRUE(mPacket.Grow(10));
    EXPECT_TRUE(mPacket.HasRoomFor(65526));
    EXPECT_FALSE(mPacket.HasRoomFor(65527));
    ASSERT_TRUE(mPacket.ShrinkFront(4));
    EXPECT_TRUE(mPacket.HasRoomFor(65526));
    EXPECT_FALSE(mPacket.HasRoomFor(65527));
    ASSERT_TRUE(mPacket.ShrinkBack(6));
    EXPECT_TRUE(mPacket.HasRoomFor(65532));
    EXPECT_FALSE(mPacket.HasRoomFor(65533));
    EXPECT_EQ(mPacket.Size(), 0U);
}

TEST_F(PacketTest, RoomCountsWhatGrowLeavesOut) {
    ASSERT_TRUE(mPacket.Grow(65536));
    EXPECT_TRUE(mPacket.HasRoomFor(0));
    EXPECT_FALSE(mPacket.HasRoomFor(1));
    ASSERT_TRUE(mPacket.Grow(1));
    EXPECT_FALSE(mPacket.HasRoomFor(0));
}

TEST_F(PacketTest, ShrinkFrontMovesTheFirstByte) {
    ASSERT_TRUE(mPacket.Grow(6));
    std::iota(mPacket.m_buffer, mPacket.m_buffer + 6, static_cast<unsigned char>(0x30));
    EXPECT_TRUE(mPacket.ShrinkFront(2));
    EXPECT_EQ(mPacket.Size(), 4U);
    EXPECT_EQ(mPacket[0], 0x32);
    EXPECT_EQ(mPacket[3], 0x35);
    const unsigned char* const bytes = mPacket;
    EXPECT_EQ(bytes, mPacket.m_buffer + 2);
}

TEST_F(PacketTest, ShrinkBackDropsTheLastBytes) {
    ASSERT_TRUE(mPacket.Grow(6));
    EXPECT_TRUE(mPacket.ShrinkBack(6));
    EXPECT_EQ(mPacket.Size(), 0U);
    EXPECT_EQ(mPacket.m_startIndex, 0U);
}

TEST_F(PacketTest, ShrinkingByMoreThanThereIsChangesNothing) {
    ASSERT_TRUE(mPacket.Grow(6));
    EXPECT_FALSE(mPacket.ShrinkFront(7));
    EXPECT_FALSE(mPacket.ShrinkBack(7));
    EXPECT_EQ(mPacket.Size(), 6U);
    EXPECT_EQ(mPacket.m_startIndex, 0U);
}

TEST_F(PacketTest, IndexingIsWriteable) {
    ASSERT_TRUE(mPacket.Grow(3));
    mPacket[2] = 0x7E;
    EXPECT_EQ(mPacket.m_buffer[2], 0x7E);
}

TEST_F(PacketTest, ResetZeroesTheWholeBuffer) {
    ASSERT_TRUE(mPacket.Grow(6));
    ASSERT_TRUE(mPacket.ShrinkFront(2));
    mPacket.m_buffer[0] = 1;
    mPacket.m_buffer[65535] = 2;
    mPacket.Reset(false);
    EXPECT_EQ(mPacket.Size(), 0U);
    EXPECT_EQ(mPacket.m_startIndex, 0U);
    EXPECT_TRUE(IsZeroed());
}

TEST_F(PacketTest, ResetCanKeepTheContent) {
    ASSERT_TRUE(mPacket.Grow(6));
    ASSERT_TRUE(mPacket.ShrinkFront(2));
    mPacket.m_buffer[4] = 9;
    mPacket.Reset(true);
    EXPECT_EQ(mPacket.Size(), 0U);
    EXPECT_EQ(mPacket.m_startIndex, 0U);
    EXPECT_EQ(mPacket.m_buffer[4], 9);
}

}  // namespace
