// The packet pool of a link that several threads send on.
#pragma once

#include "ProcessorAgnostic/Comms/Packet.h"
#include "ProcessorAgnostic/Comms/PacketPool.h"

#include <mutex>

class SharedPacketPool : public PacketPool {
public:
    // Takes a packet and resets it, or gives null. Any thread. Zeroing 64 KiB happens outside the lock.
    Packet* Allocate() override;

    // Takes the first free packet as it is, or gives null. Any thread.
    Packet* TakeFirst();

    // Gives a packet back. Any thread. One that is given back twice stops the caller for good inside the lock, and with
    // it the link: its packets could no longer be told apart.
    void Free(Packet& packet) override;

protected:
    std::mutex mMutex;  // guards m_available
};
