#include "ProcessorAgnostic/Comms/PacketPool.h"

Packet* PacketPool::Allocate() {
    Packet* const packet = MemoryPool<Packet>::Allocate();
    if (packet != nullptr) {
        packet->Reset(false);
    }
    return packet;
}
