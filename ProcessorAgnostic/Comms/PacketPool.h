#pragma once

#include "ProcessorAgnostic/Comms/Packet.h"
#include "ProcessorAgnostic/MemoryPool/MemoryPool.h"

// A pool of packets. No lock inside.
class PacketPool : public MemoryPool<Packet> {
public:
    // An empty, zeroed packet (at the cost of clearing 64 KiB), or null when all are lent.
    Packet* Allocate() override;
};
