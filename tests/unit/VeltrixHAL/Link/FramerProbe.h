// A framer whose inside can be seen, on a port and a pool of its own.
#pragma once

#include "VeltrixHAL/PacketFramer.h"
#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"

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

    bool HeaderIsZero() const { return mReceivedHeader == std::array<std::uint8_t, 7>{}; }
    bool PayloadIsZero() const {
        for (const std::uint8_t byte : mReceivedPayload) {
            if (byte != 0) {
                return false;
            }
        }
        return true;
    }
    void Append(std::uint8_t byte) { ReceiveByte(byte); }
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
