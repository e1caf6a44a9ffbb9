// Gives a packet back to its pool, whatever its handling or sending came to.
#pragma once

#include "VeltrixHAL/VeltrixComm/SharedPacketPool.h"

class PacketLease {
public:
    PacketLease(SharedPacketPool& pool, Packet& packet) : mPool(pool), mPacket(packet) {}
    PacketLease(const PacketLease&) = delete;
    PacketLease& operator=(const PacketLease&) = delete;
    ~PacketLease() { mPool.Free(mPacket); }

private:
    SharedPacketPool& mPool;
    Packet& mPacket;
};
