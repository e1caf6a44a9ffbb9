// Commands and requests: chunks, attempts and the pauses between them.
#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/PacketLease.h"
#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>

namespace {

constexpr unsigned int kAttempts = 3;
constexpr std::uint32_t kPauseAfterRefusalUs = 13000;
constexpr unsigned short kRequestTimeoutMs = 200;
constexpr std::chrono::milliseconds kLinePoll{1};

bool IsWaitedFor(CommCommands_t command) {
    return command != CommCommands_Ack && command != CommCommands_Nack;
}

// Whether the other side needs a moment before the next attempt.
void PauseBeforeRetry(e_commError result) {
    if (result == commError_Nack || result == commError_Collision) {
        SleepMicroseconds(kPauseAfterRefusalUs);
    }
}

template <typename Output>
void FormatCommandString(Output output, CommCommands_t command, unsigned int total, unsigned int remaining) {
    output = fmt::format_to(output, "{}", GetCommandText(command));
    if (total != 0) {
        fmt::format_to(output, ". {} remaining of {}", remaining, total);
    }
}

}  // namespace

// Whoever waits gets a chance before the next frame of somebody else's long payload. A wait ends with the process,
// since the holder may be telling the bus what it was just answered, and the broker not be listening. These pauses are
// between threads and not part of the link's time: they do not go through its clock.
bool VeltrixNetMaster::TakeLine(std::unique_lock<std::mutex>& line) {
    if (mWaitingForLine > 0) {
        std::this_thread::sleep_for(2 * kLinePoll);
    }
    if (line.try_lock()) {
        return true;
    }
    ++mWaitingForLine;
    bool isTaken = false;
    while (!isTaken && gKeepRunning) {
        std::this_thread::sleep_for(kLinePoll);
        isTaken = line.try_lock();
    }
    --mWaitingForLine;
    return isTaken;
}

void VeltrixNetMaster::TxAndFree(Packet& packet) {
    const PacketLease lease(mPacketPool, packet);
    TxPacket(packet);
}

std::string VeltrixNetMaster::GetCommandString(CommCommands_t command, unsigned int total, unsigned int remaining) {
    std::string text;
    FormatCommandString(std::back_inserter(text), command, total, remaining);
    return text;
}

e_commError VeltrixNetMaster::SendCommand(CommCommands_t command, unsigned int length, const unsigned char* data,
                                          unsigned short timeoutMs) {
    HalLog::Print(2, "Sending command: 0x{:x}", static_cast<unsigned int>(command));
    unsigned int attemptsLeft = kAttempts;
    unsigned int remaining = length;
    const unsigned char* cursor = data;
    e_commError result = commError_Unknown;
    while (true) {
        // A chunk that finds the pool empty keeps the result of the one before it, and so counts as sent after a
        // success: the carrier's check of the whole is what catches it.
        result = SendChunk(command, length, remaining, cursor, timeoutMs, result);
        if (result == commError_CrcFail) {
            return result;
        }
        if (result == commError_BusyRetry && command == CommCommands_FileTransferPacket) {
            HalLog::PrintAlways("Carrier encountered a flash write problem.  Restart the transfer");
            HalLog::Error("Carrier encountered a flash write problem.  Restart the transfer");
            return result;
        }
        if (result == commError_None) {
            const unsigned int chunk = std::min(remaining, kMaxFramePayload);
            remaining -= chunk;
            if (remaining == 0) {
                return commError_None;
            }
            if (!gKeepRunning) {
                return commError_Unknown;  // stopped between two frames: not all of it has arrived
            }
            if (cursor != nullptr) {
                cursor += chunk;
            }
            attemptsLeft = kAttempts;
            continue;
        }
        --attemptsLeft;
        if (attemptsLeft == 0 || !gKeepRunning) {
            return result;
        }
        PauseBeforeRetry(result);
        HalLog::Print(0, "{} retry attempts remaining", attemptsLeft);
    }
}

e_commError VeltrixNetMaster::SendChunk(CommCommands_t command, unsigned int total, unsigned int remaining,
                                        const unsigned char* chunk, unsigned short timeoutMs, e_commError previous) {
    std::unique_lock reading(mSerialReadMutex, std::defer_lock);
    if (IsWaitedFor(command) && !TakeLine(reading)) {
        return commError_Timeout;
    }
    Packet* packet = mPacketPool.Allocate();
    if (packet == nullptr) {
        HalLog::Print(0, "Failed to allocate pTx in SendCommand()");
    }
    const unsigned int length = std::min(remaining, kMaxFramePayload);
    if (PrepareTxPacket(packet, command, length, chunk) == nullptr) {
        return previous;
    }
    TxAndFree(*packet);
    if (command == CommCommands_FileTransferPacket) {
        fmt::memory_buffer text;
        FormatCommandString(fmt::appender(text), command, total, remaining - length);
        HalLog::Print(0, "Sent {}", fmt::string_view(text.data(), text.size()));
    }
    if (!IsWaitedFor(command)) {
        return commError_None;
    }
    unsigned int elapsedMs = 0;
    const e_commError result = WaitForCommandLocked(command, timeoutMs, elapsedMs);
    if (result != commError_None) {
        HalLog::Print(0, "HAL Sent packet: 0x{:x}, carrier return code: {}", static_cast<unsigned int>(command),
                      static_cast<int>(result));
    }
    return result;
}

e_commError VeltrixNetMaster::SendRequest(CommCommands_t command, unsigned char* answer, unsigned short maxLength) {
    e_commError result = commError_Unknown;
    for (unsigned int attempt = 0; attempt < kAttempts; ++attempt) {
        if (attempt > 0) {
            if (!gKeepRunning) {
                break;
            }
            PauseBeforeRetry(result);
        }
        std::unique_lock reading(mSerialReadMutex, std::defer_lock);
        if (!TakeLine(reading)) {
            return commError_Timeout;
        }
        Packet* packet = mPacketPool.Allocate();
        if (PrepareTxPacket(packet, command, 0, nullptr) == nullptr) {
            continue;
        }
        TxAndFree(*packet);
        result = WaitForRequestLocked(kRequestTimeoutMs, answer, maxLength);
        if (result == commError_None) {
            break;
        }
    }
    return result;
}
