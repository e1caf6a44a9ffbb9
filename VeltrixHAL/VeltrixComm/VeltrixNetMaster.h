// The module's end of the link: builds frames, sends commands and requests with retries, waits for the carrier's
// answers, and polls for frames that the carrier sends on its own.
//
// One attempt of a command against the time line (a request is alike, without the busy rule):
//
//   lock read mutex | frame out | poll every 10 ms ... Ack / Nack -> result     | unlock
//                               | ................... no answer in time -> Timeout
//   then: None -> next chunk; CrcFail -> give up; Nack, Collision -> 13 ms pause; at most three attempts a chunk
//
// Threads: any thread may send. The read mutex is held from before a frame leaves until its wait has ended, so no other
// thread can read the answer away; the write mutex covers one frame. Order: read mutex, then write mutex. Ack and Nack
// are sent without the read mutex: they are sent while it is held. Nothing is allocated on the heap.
//
// While the process stops (gKeepRunning false) a failed attempt is not repeated, a long payload ends between two
// frames, a wait of more than a second ends as a time-out, and so does a command that cannot have the read mutex.
#pragma once

#include "OSSpecific/Linux/Uart/IBufferedSerial.h"
#include "ProcessorAgnostic/Comms/Packet.h"
#include "ProcessorAgnostic/SwTimer/SwTimer.h"
#include "VeltrixHAL/PacketFramer.h"
#include "VeltrixHAL/VeltrixComm/CommCommands.h"
#include "VeltrixHAL/VeltrixComm/SharedPacketPool.h"

#include <array>
#include <atomic>
#include <mutex>
#include <string>

enum veltrixNetBusinessUnit_e {
    VeltrixNetBusinessUnit_Unassigned = 0,
    VeltrixNetBusinessUnit_Quasky = 120,
    VeltrixNetBusinessUnit_Norrel = 138,
};

enum veltrixNetProductId_e {
    VeltrixNetProductId_Unassigned = 0,
    VeltrixNetProductId_Kestrum = 1,
};

// Both Kestrum nodes answer to 1: seen from the carrier, module and gateway are the same node.
enum veltrixNetNodeType_e {
    VeltrixNetNodeType_Unassigned = 0,
    VeltrixNetNodeType_Kestrum_SBC = 1,
    VeltrixNetNodeType_Kestrum_Gateway = 1,
};

class VeltrixNetMaster : public SwTimer::ExpiredObserver {
public:
    // The port is the caller's and outlives the master. The node type is not kept.
    VeltrixNetMaster(IBufferedSerial& serial, veltrixNetBusinessUnit_e businessUnit, veltrixNetProductId_e productId,
                     veltrixNetNodeType_e nodeType);
    VeltrixNetMaster(const VeltrixNetMaster&) = delete;
    VeltrixNetMaster& operator=(const VeltrixNetMaster&) = delete;

    bool SwTimerExpired(SwTimer& timer) override;
    ~VeltrixNetMaster() override = default;

    // One polling step for frames that the carrier sends on its own: does nothing to the line while a wait is reading
    // it. Called by the processing thread again and again.
    virtual void Process();

    // What an unsolicited frame means. Runs on the processing thread, without the read mutex.
    virtual void HandleReceivedPacket(Packet& packet) = 0;

    // What a frame that came during the wait for `sent` means, `elapsedMs` after the wait began. Runs on the waiting
    // thread, with the read mutex held.
    virtual e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int elapsedMs) = 0;

    virtual int HandleVeltrixNetResponse(unsigned char* response);

    // Sends a command, in frames of at most 1024 payload bytes, each acknowledged within timeoutMs before the next and
    // each with three attempts. `data` stays the caller's and is not copied as a whole; null sends frames that consist
    // of a header only. Ack and Nack leave once, without a wait. Any thread. Blocks for up to 3 x timeoutMs a frame,
    // with 13 ms between attempts that were refused; before that for as long as another thread waits for an answer (up
    // to 30 s at the start of a file), and on top for what handling the answer takes (publishing the battery voltage:
    // see BusClient::PublishOnce).
    e_commError SendCommand(CommCommands_t command, unsigned int length, const unsigned char* data,
                            unsigned short timeoutMs);

    // Asks for something and copies the answer's payload, at most maxLength bytes, to `answer`. Three attempts of
    // 200 ms. Any thread; blocks as SendCommand does.
    e_commError SendRequest(CommCommands_t command, unsigned char* answer, unsigned short maxLength);

    // Wait for the answer to a frame that has been sent; for callers that do not hold the read mutex.
    e_commError WaitForResponseToCommand(CommCommands_t command, unsigned short timeoutMs, unsigned int& elapsedMs);
    e_commError WaitForResponseToCommand(CommCommands_t command, unsigned short timeoutMs);
    e_commError WaitForResponseToRequest(CommCommands_t command, unsigned short timeoutMs, unsigned char* answer,
                                         unsigned short maxLength);

    // The pieces of a frame, each appended to the packet. A null packet is a logged error; so is a payload that does
    // not fit, which is left out, as is, silently, a header.
    void AddHeader(Packet* packet, unsigned char command, unsigned int length);
    void AddPayload(Packet* packet, unsigned int length, const unsigned char* data);

    // Header and, where there is data, payload; null for a null packet.
    Packet* PrepareTxPacket(Packet*& packet, unsigned char command, unsigned int length, const unsigned char* data);

    // Writes one frame under the write mutex.
    void TxPacket(Packet& packet);

    // "<name>", or "<name>. <remaining> remaining of <total>" where the total is not 0.
    std::string GetCommandString(CommCommands_t command, unsigned int total, unsigned int remaining);

    // The LED states of the next status message go out even where they did not change.
    std::atomic<bool> mForceLEDRefresh{false};

    // Set by every frame that Process() delivers; cleared by whoever asks.
    std::atomic<bool> mIsCarrierAlive{false};

protected:
    static constexpr unsigned int kMaxFramePayload = 1024;

    // Takes the read mutex; false when the process stops before it can be had.
    bool TakeLine(std::unique_lock<std::mutex>& line);
    // Sends the frame and gives its packet back.
    void TxAndFree(Packet& packet);
    // An attempt at one chunk; with an empty pool nothing is sent and the previous result stands.
    e_commError SendChunk(CommCommands_t command, unsigned int total, unsigned int remaining,
                          const unsigned char* chunk, unsigned short timeoutMs, e_commError previous);
    e_commError WaitForCommandLocked(CommCommands_t command, unsigned short timeoutMs, unsigned int& elapsedMs);
    e_commError WaitForRequestLocked(unsigned short timeoutMs, unsigned char* answer, unsigned short maxLength);
    bool EndsCommandWait(Packet& packet, CommCommands_t command, unsigned int elapsedMs, unsigned short timeoutMs);

    static constexpr unsigned int s_packetCount = 6;

    std::array<Packet, s_packetCount> mRawPackets;
    SharedPacketPool mPacketPool;
    PacketFramer mFramer;
    veltrixNetBusinessUnit_e mBusinessUnit;
    veltrixNetProductId_e mProductId;
    std::mutex mSerialReadMutex;          // the framer's receiving side, for the whole of a wait
    std::mutex mSerialWriteMutex;         // the transmission of one frame
    std::atomic<int> mWaitingForLine{0};  // threads that want the read mutex

    // The periods of the protocol family. This end is driven by the carrier's heartbeats and uses none of them.
    static constexpr ms_t s_queryPeriod = 1000;
    static constexpr ms_t s_quertyRetryTimeout = 200;
    static constexpr ms_t s_commStatusPeriod = 5000;
    static constexpr ms_t s_commStatusRetryTimeout = 200;
    static constexpr ms_t s_commAckTimeout = 200;
};
