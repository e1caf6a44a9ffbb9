// Turns the port's bytes into checked frames, and writes frames to the port.
//
//   offset 0  0x0A            1  command       2..3  payload length N, low byte first
//   offset 4  header CRC      6  N payload bytes, then the payload's CRC (neither when N is 0)
//
//   state      | byte                                        | next state
//   -----------+---------------------------------------------+-------------------------------------------
//   Idle       | start byte                                  | RxHeader
//   Idle       | any other                                   | Idle (dropped)
//   RxHeader   | one of the first four after the start       | RxHeader
//   RxHeader   | the fifth: CRC wrong, or N above 65528      | Idle (failure)
//   RxHeader   | the fifth: N is 0                           | Idle (frame)
//   RxHeader   | the fifth: otherwise                        | RxPayload
//   RxPayload  | one of the first N + 1                      | RxPayload
//   RxPayload  | the last CRC byte                           | Idle (frame, or failure where the CRC is wrong)
//
// There is no escaping: synchronisation is the hunt for the start byte and the header's CRC. Nothing is allocated on
// the heap. The framer has no lock: the caller serialises Process(), and Send(), each; the two may overlap.
#pragma once

#include "OSSpecific/Linux/Uart/IBufferedSerial.h"
#include "ProcessorAgnostic/Comms/Packet.h"
#include "ProcessorAgnostic/Comms/PacketPool.h"

#include <array>
#include <cstdint>

// What came of the bytes so far. 1 to 3 are the codes of the Nack that answers them.
enum rxPacketStatus_e : std::uint8_t {
    RxPacketWaiting = 0,
    RxHeaderCrcFailed = 1,
    RxPayloadCrcFailed = 2,
    RxPayloadSizeInvalid = 3,
    RxPacketIsValid = 4,
};

class PacketFramer {
public:
    // Port and pool are the caller's and outlive the framer.
    PacketFramer(IBufferedSerial& serial, PacketPool& pool, unsigned char startByte);

    // Reads until a frame is whole or the port has no more bytes. RxPacketIsValid hands a whole frame (header, payload
    // and payload CRC) over through `out`, which the caller returns to the pool. A failure is reported only when no
    // header or payload byte followed it; the bytes of a failed frame are not looked at again. With the pool empty
    // nothing is read, and RxPacketWaiting returned.
    rxPacketStatus_e Process(Packet*& out);

    // Writes the packet's bytes with one call.
    void Send(Packet& packet);

    static constexpr std::uint16_t kHeaderSize = 6;
    static constexpr std::uint16_t kCrcSize = 2;
    static constexpr std::uint16_t kMaxPayloadSize = 65528;

protected:
    enum state_e : std::uint8_t { StateIdle = 0, StateRxHeader = 1, StateRxPayload = 2 };

    rxPacketStatus_e ProcessByte(std::uint8_t byte, rxPacketStatus_e status);
    void ProcessByte_Idle(std::uint8_t byte);
    rxPacketStatus_e ProcessByte_RxHeader(std::uint8_t byte);
    rxPacketStatus_e ProcessByte_RxPayload(std::uint8_t byte);
    rxPacketStatus_e CheckHeader();
    rxPacketStatus_e CheckPayload();
    void ReceiveByte(std::uint8_t byte);

    const unsigned char mPacketStart;
    state_e mState = StateIdle;
    std::uint8_t mHeaderBytesReceived = 0;  // after the start byte
    std::uint16_t mPayloadBytesReceived = 0;
    std::uint16_t mPayloadSize = 0;
    IBufferedSerial& mIBufferedSerial;
    PacketPool& mPacketPool;
    Packet* mPacketPtr = nullptr;
    std::array<std::uint8_t, 7> mReceivedHeader{};
    std::array<std::uint8_t, 65536> mReceivedPayload{};
    std::array<std::uint8_t, 131072> mEscapedTxData{};  // reserved for an escaped line format; frames leave as they are
};
