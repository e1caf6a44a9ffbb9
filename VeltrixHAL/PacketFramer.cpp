#include "VeltrixHAL/PacketFramer.h"

#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/crc16.h"

namespace {

// While the process stops, one call reads at most this much: a line that never falls silent must not hold it up.
constexpr unsigned int kMostBytesWhileStopping = 2 * Packet::kCapacity;

std::uint16_t LoadLittleEndian(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8));
}

}  // namespace

PacketFramer::PacketFramer(IBufferedSerial& serial, PacketPool& pool, unsigned char startByte)
    : mPacketStart(startByte), mIBufferedSerial(serial), mPacketPool(pool) {}

rxPacketStatus_e PacketFramer::Process(Packet*& out) {
    if (mPacketPtr == nullptr) {
        mPacketPtr = mPacketPool.Allocate();
        if (mPacketPtr == nullptr) {
            return RxPacketWaiting;
        }
    }
    rxPacketStatus_e status = RxPacketWaiting;
    for (unsigned int handled = 0; gKeepRunning || handled < kMostBytesWhileStopping; ++handled) {
        HalGlobals::gProcessHealth |= HalGlobals::kHealthPortPolled;
        std::uint8_t byte = 0;
        if (!mIBufferedSerial.ReadByte(byte)) {
            break;
        }
        status = ProcessByte(byte, status);
        if (status == RxPacketIsValid) {
            out = mPacketPtr;
            mPacketPtr = nullptr;
            break;
        }
    }
    return status;
}

rxPacketStatus_e PacketFramer::ProcessByte(std::uint8_t byte, rxPacketStatus_e status) {
    switch (mState) {
        case StateIdle:
            ProcessByte_Idle(byte);
            return status;
        case StateRxHeader:
            return ProcessByte_RxHeader(byte);
        case StateRxPayload:
            break;
    }
    return ProcessByte_RxPayload(byte);
}

void PacketFramer::ProcessByte_Idle(std::uint8_t byte) {
    if (byte == mPacketStart) {
        mPacketPtr->Reset(false);
        mReceivedHeader[0] = byte;
        mState = StateRxHeader;
    }
}

rxPacketStatus_e PacketFramer::ProcessByte_RxHeader(std::uint8_t byte) {
    ++mHeaderBytesReceived;
    mReceivedHeader[mHeaderBytesReceived] = byte;
    if (mHeaderBytesReceived < kHeaderSize - 1) {
        return RxPacketWaiting;
    }
    const rxPacketStatus_e status = CheckHeader();
    mHeaderBytesReceived = 0;
    mReceivedHeader.fill(0);
    return status;
}

rxPacketStatus_e PacketFramer::CheckHeader() {
    const std::uint16_t received = LoadLittleEndian(&mReceivedHeader[4]);
    const std::uint16_t expected = getCrc16(mReceivedHeader.data(), 4);
    if (received != expected) {
        mState = StateIdle;
        HalLog::Warning("Header CRC received {} != {} expected", received, expected);
        HalLog::Print(1, "Header CRC received {} != {} expected", received, expected);
        return RxHeaderCrcFailed;
    }
    for (std::uint16_t i = 0; i < kHeaderSize; ++i) {
        ReceiveByte(mReceivedHeader[i]);
    }
    mPayloadBytesReceived = 0;
    mPayloadSize = LoadLittleEndian(&mReceivedHeader[2]);
    if (mPayloadSize == 0) {
        mState = StateIdle;
        return RxPacketIsValid;
    }
    if (mPayloadSize > kMaxPayloadSize) {
        mState = StateIdle;
        mPayloadSize = 0;
        return RxPayloadSizeInvalid;
    }
    mState = StateRxPayload;
    return RxPacketWaiting;
}

rxPacketStatus_e PacketFramer::ProcessByte_RxPayload(std::uint8_t byte) {
    mReceivedPayload[mPayloadBytesReceived] = byte;
    ++mPayloadBytesReceived;
    if (mPayloadBytesReceived < mPayloadSize + kCrcSize) {
        return RxPacketWaiting;
    }
    const rxPacketStatus_e status = CheckPayload();
    mState = StateIdle;
    mPayloadBytesReceived = 0;
    mReceivedPayload.fill(0);
    return status;
}

rxPacketStatus_e PacketFramer::CheckPayload() {
    const std::uint16_t received = LoadLittleEndian(&mReceivedPayload[mPayloadSize]);
    const std::uint16_t expected = getCrc16(mReceivedPayload.data(), mPayloadSize);
    if (received != expected) {
        HalLog::Warning("Payload CRC received {} != {} expected", received, expected);
        HalLog::Print(1, "Payload CRC received {} != {}", received, expected);
        return RxPayloadCrcFailed;
    }
    for (unsigned int i = 0; i < mPayloadSize + 0U + kCrcSize; ++i) {
        ReceiveByte(mReceivedPayload[i]);
    }
    return RxPacketIsValid;
}

void PacketFramer::ReceiveByte(std::uint8_t byte) {
    Packet& packet = *mPacketPtr;
    if (!packet.HasRoomFor(1) || !packet.Grow(1)) {
        packet.Reset(false);
        mState = StateIdle;
        return;
    }
    packet[static_cast<int>(packet.Size()) - 1] = byte;
}

void PacketFramer::Send(Packet& packet) {
    mIBufferedSerial.WriteBytes(packet, static_cast<std::uint16_t>(packet.Size()));
}
