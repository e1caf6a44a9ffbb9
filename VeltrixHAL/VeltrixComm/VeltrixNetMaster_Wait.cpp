// Waiting for the carrier's answers.
#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/FrameView.h"
#include "VeltrixHAL/VeltrixComm/PacketLease.h"
#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kPollPeriodMs = 10;
constexpr std::uint32_t kLongestWaitWhileStoppingMs = 1000;

void PauseBetweenPolls() {
    HalLog::PrintRaw(".");
    SleepMicroseconds(kPollPeriodMs * 1000);
}

bool IsCutShort(std::uint32_t elapsedMs) {
    return !gKeepRunning && elapsedMs >= kLongestWaitWhileStoppingMs;
}

// Whether a frame ends the wait for a request's answer. Copies the answer and sets what the wait has come to.
bool EndsRequestWait(const std::uint8_t* frame, unsigned char* answer, unsigned short maxLength, e_commError& result) {
    const CommCommands_t command = FrameView::Command(frame);
    if (command == CommCommands_CarrierAlive) {
        return false;
    }
    result = commError_Unknown;
    const std::uint16_t length = FrameView::PayloadLength(frame);
    if (command != CommCommands_Ack || length > maxLength) {
        return false;
    }
    if (length != 0 && answer != nullptr) {
        std::copy_n(FrameView::Payload(frame), length, answer);
        result = commError_None;
    }
    return true;
}

}  // namespace

e_commError VeltrixNetMaster::WaitForResponseToCommand(CommCommands_t command, unsigned short timeoutMs,
                                                       unsigned int& elapsedMs) {
    const std::lock_guard reading(mSerialReadMutex);
    return WaitForCommandLocked(command, timeoutMs, elapsedMs);
}

e_commError VeltrixNetMaster::WaitForResponseToCommand(CommCommands_t command, unsigned short timeoutMs) {
    unsigned int elapsedMs = 0;
    return WaitForResponseToCommand(command, timeoutMs, elapsedMs);
}

e_commError VeltrixNetMaster::WaitForResponseToRequest(CommCommands_t /*command*/, unsigned short timeoutMs,
                                                       unsigned char* answer, unsigned short maxLength) {
    const std::lock_guard reading(mSerialReadMutex);
    return WaitForRequestLocked(timeoutMs, answer, maxLength);
}

e_commError VeltrixNetMaster::WaitForCommandLocked(CommCommands_t command, unsigned short timeoutMs,
                                                   unsigned int& elapsedMs) {
    const std::uint32_t start = GetCurrentTimeSinceEpochInMilliseconds();
    const auto elapsed = [start] { return GetCurrentTimeSinceEpochInMilliseconds() - start; };
    e_commError result = commError_Unknown;
    bool ended = false;
    bool cutShort = false;
    while (!ended && !cutShort && elapsed() < timeoutMs) {
        Packet* received = nullptr;
        mFramer.Process(received);
        if (received == nullptr) {
            PauseBetweenPolls();
        } else {
            const PacketLease lease(mPacketPool, *received);
            const std::uint32_t age = elapsed();
            ended = EndsCommandWait(*received, command, age, timeoutMs);
            result = ProcessResponseFromCarrier(*received, command, static_cast<int>(age));
        }
        cutShort = !ended && IsCutShort(elapsed());
    }
    elapsedMs = elapsed();
    if (elapsedMs < timeoutMs && !cutShort && result != commError_Timeout) {
        return result;
    }
    HalLog::PrintAlways("WaitForResponseToCommand() timed out after {} timeout var: {}", elapsedMs, timeoutMs);
    HalLog::Info("WaitForResponseToCommand() Timed out after {}", elapsedMs);
    return commError_Timeout;
}

bool VeltrixNetMaster::EndsCommandWait(Packet& packet, CommCommands_t command, unsigned int elapsedMs,
                                       unsigned short timeoutMs) {
    const std::uint8_t* const frame = packet;
    const CommCommands_t received = FrameView::Command(frame);
    if (received == CommCommands_CarrierAlive) {
        HalLog::PrintAlways("Rx heartbeat/alive while waiting for ack");
        return false;
    }
    if (received != CommCommands_Ack && received != CommCommands_Nack) {
        HalLog::PrintAlways("Expected Ack but got Rx Command: {} payload size: {}", static_cast<unsigned int>(received),
                            FrameView::PayloadLength(frame));
        return false;
    }
    if (command == CommCommands_FileTransferPacket && received == CommCommands_Nack &&
        FrameView::NackCode(frame) == MsgNack_Busy) {
        HalLog::Print(0, "Received busy nack; carrier is storing the packet ({}ms of {}ms remaining before aborting)",
                      elapsedMs, timeoutMs);
        // The log's form has always had only the one figure; whoever searches logs for it relies on that.
        HalLog::Info("Received busy nack; carrier is storing the packet ({}ms of ms remaining before aborting)",
                     elapsedMs);
        return false;
    }
    return true;
}

e_commError VeltrixNetMaster::WaitForRequestLocked(unsigned short timeoutMs, unsigned char* answer,
                                                   unsigned short maxLength) {
    const std::uint32_t start = GetCurrentTimeSinceEpochInMilliseconds();
    const auto elapsed = [start] { return GetCurrentTimeSinceEpochInMilliseconds() - start; };
    std::uint32_t emptyPolls = 0;
    e_commError result = commError_Unknown;
    bool ended = false;
    bool cutShort = false;
    while (!ended && !cutShort && elapsed() < timeoutMs) {
        Packet* received = nullptr;
        mFramer.Process(received);
        if (received == nullptr) {
            ++emptyPolls;
            PauseBetweenPolls();
        } else {
            const PacketLease lease(mPacketPool, *received);
            const std::uint8_t* const frame = *received;
            ended = EndsRequestWait(frame, answer, maxLength, result);
            HalLog::Print(0, "0x{:x} received after {}ms", static_cast<unsigned int>(FrameView::Command(frame)),
                          kPollPeriodMs * emptyPolls);
        }
        cutShort = !ended && IsCutShort(elapsed());
    }
    // Judged by the polls, not by the clock: a late but whole answer can count as a time-out, and a wait that the clock
    // ended can come out as unknown. Callers treat both alike.
    const std::uint32_t estimateMs = kPollPeriodMs * emptyPolls;
    if (estimateMs < timeoutMs && !cutShort) {
        return result;
    }
    HalLog::PrintAlways("WaitForResponseToRequest() timed out after {} timeout var: {}", estimateMs, timeoutMs);
    HalLog::Info("WaitForResponseToRequest() Timed out after {}", estimateMs);
    return commError_Timeout;
}
