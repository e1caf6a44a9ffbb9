#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"

#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/PacketLease.h"
#include "VeltrixHAL/VeltrixComm/crc16.h"

#include <algorithm>

namespace {

constexpr unsigned char kStartByte = 0x0A;

void StoreLittleEndian(Packet& packet, unsigned int at, std::uint16_t value) {
    packet[static_cast<int>(at)] = static_cast<unsigned char>(value & 0xFFU);
    packet[static_cast<int>(at + 1)] = static_cast<unsigned char>(value >> 8U);
}

}  // namespace

VeltrixNetMaster::VeltrixNetMaster(IBufferedSerial& serial, veltrixNetBusinessUnit_e businessUnit,
                                   veltrixNetProductId_e productId, veltrixNetNodeType_e /*nodeType*/)
    : mFramer(serial, mPacketPool, kStartByte), mBusinessUnit(businessUnit), mProductId(productId) {
    for (Packet& packet : mRawPackets) {
        mPacketPool.Free(packet);
    }
}

bool VeltrixNetMaster::SwTimerExpired(SwTimer& /*timer*/) {
    return true;
}

int VeltrixNetMaster::HandleVeltrixNetResponse(unsigned char* /*response*/) {
    return 0;
}

void VeltrixNetMaster::AddHeader(Packet* packet, unsigned char command, unsigned int length) {
    if (packet == nullptr) {
        HalLog::Error("Failed to allocate a VeltrixNet packet for TX header.");
        return;
    }
    Packet& frame = *packet;
    const unsigned int start = frame.Size();
    if (!frame.HasRoomFor(PacketFramer::kHeaderSize)) {
        return;
    }
    frame.Grow(PacketFramer::kHeaderSize);
    frame[static_cast<int>(start)] = kStartByte;
    frame[static_cast<int>(start + 1)] = command;
    StoreLittleEndian(frame, start + 2, static_cast<std::uint16_t>(length));
    StoreLittleEndian(frame, start + 4, getCrc16(&frame[static_cast<int>(start)], 4));
}

void VeltrixNetMaster::AddPayload(Packet* packet, unsigned int length, const unsigned char* data) {
    if (packet == nullptr) {
        HalLog::Error("Failed to allocate a VeltrixNet packet for TX payload.");
        return;
    }
    Packet& frame = *packet;
    const unsigned int start = frame.Size();
    if (length > Packet::kCapacity - PacketFramer::kCrcSize || !frame.HasRoomFor(length + PacketFramer::kCrcSize) ||
        !frame.Grow(length + PacketFramer::kCrcSize)) {
        HalLog::Error("Failed to grow packet to fit payload");
        return;
    }
    std::copy_n(data, length, &frame[static_cast<int>(start)]);
    StoreLittleEndian(frame, start + length, getCrc16(data, static_cast<std::uint16_t>(length)));
}

Packet* VeltrixNetMaster::PrepareTxPacket(Packet*& packet, unsigned char command, unsigned int length,
                                          const unsigned char* data) {
    if (packet == nullptr) {
        HalLog::Print(0, "Unallocated packet received for TX.");
        HalLog::Error("Unallocated packet received for TX.");
        return nullptr;
    }
    HalGlobals::gProcessHealth |= HalGlobals::kHealthFramePrepared;
    AddHeader(packet, command, length);
    if (data != nullptr) {
        AddPayload(packet, length, data);
    }
    return packet;
}

void VeltrixNetMaster::TxPacket(Packet& packet) {
    const std::lock_guard writing(mSerialWriteMutex);
    mFramer.Send(packet);
}

void VeltrixNetMaster::Process() {
    Packet* received = nullptr;
    rxPacketStatus_e status = RxPacketWaiting;
    if (const std::unique_lock reading(mSerialReadMutex, std::try_to_lock); reading.owns_lock()) {
        status = mFramer.Process(received);
    }
    if (status == RxHeaderCrcFailed || status == RxPayloadCrcFailed || status == RxPayloadSizeInvalid) {
        const std::uint8_t reason = status;
        SendCommand(CommCommands_Nack, 1, &reason, 200);
    }
    if (received != nullptr) {
        {
            const PacketLease lease(mPacketPool, *received);
            HandleReceivedPacket(*received);
        }
        mIsCarrierAlive = true;
    }
}
