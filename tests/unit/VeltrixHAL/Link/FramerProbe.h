// A framer whose inside can be seen, on a port and a pool of its own.
#pragma once

#include "VeltrixHAL/PacketFramer.h"
#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

class FramerProbe : public PacketFramer {
public:
    using PacketFramer::PacketFramer;
    using PacketFramer::state_e;
    using PacketFramer::StateIdle;
    using PacketFramer::StateRxHeader;
    using PacketFramer::StateRxPayload;

    state_e State() const { return mState; }
    unsigned int HeaderBytes() const { return mHeaderBytesReceived; }
    unsigned int PayloadBytes() const { return mPayloadBytesReceived; }
    unsigned int PayloadSize() const { return mPayloadSize; }
    const Packet* Current() const { return mPacketPtr; }

    // The packet that any framer is filling, or null.
    static const Packet* CurrentOf(const PacketFramer& framer) { return framer.*(&FramerProbe::mPacketPtr); }

    static constexpr std::size_t HeaderCapacity() { return sizeof mReceivedHeader; }
    static constexpr std::size_t PayloadCapacity() { return sizeof mReceivedPayload; }
    static constexpr std::size_t EscapedCapacity() { return sizeof mEscapedTxData; }

    bool HeaderIsZero() const { return mReceivedHeader == std::array<std::uint8_t, 7>{}; }
    bool PayloadIsZero() const { return IsZero(mReceivedPayload); }
    bool EscapedIsZero() const { return IsZero(mEscapedTxData); }
    void Append(std::uint8_t byte) { ReceiveByte(byte); }

private:
    template <typename Buffer>
    static bool IsZero(const Buffer& buffer) {
        return std::all_of(buffer.begin(), buffer.end(), [](std::uint8_t byte) { return byte == 0; });
    }
};

// Six packets, as the master has.
class SixPackets {
public:
    SixPackets() {
        for (Packet& packet : mPackets) {
            pool.Free(packet);
        }
    }

    PacketPool pool;

private:
    std::array<Packet, 6> mPackets;
};

inline std::vector<std::uint8_t> Content(Packet& packet) {
    const std::uint8_t* const first = packet;
    return {first, first + packet.Size()};
}
