#include "VeltrixHAL/VeltrixComm/SharedPacketPool.h"

Packet* SharedPacketPool::TakeFirst() {
    const std::lock_guard lock(mMutex);
    return MemoryPool<Packet>::Allocate();  // NOLINT(bugprone-parent-virtual-call): PacketPool's zeroes, under the lock
}

Packet* SharedPacketPool::Allocate() {
    Packet* const packet = TakeFirst();
    if (packet != nullptr) {
        packet->Reset(false);
    }
    return packet;
}

void SharedPacketPool::Free(Packet& packet) {
    const std::lock_guard lock(mMutex);
    PacketPool::Free(packet);
}
