#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "CarrierSimulator/CarrierClock.h"
#include "CarrierSimulator/CarrierFrame.h"
#include "CarrierSimulator/CarrierState.h"
#include "CarrierSimulator/FaultInjector.h"
#include "CarrierSimulator/FirmwareReceiver.h"
#include "CarrierSimulator/FrameDecoder.h"
#include "CarrierSimulator/OwnCommands.h"

namespace simulator {

// A count that never runs out.
inline constexpr std::size_t kAlways = SIZE_MAX;

// How the carrier misbehaves while it gets new firmware. Counts go down as they are used.
struct FirmwareFaults {
    std::size_t refuseStarts = 0;  // starts answered with Nack
    uint8_t refuseStartCode = nack::kFileSizeTooLarge;

    bool isNeverReady = false;  // no FileTransferReady after a start
    Milliseconds readyDelay{0};

    std::size_t nackPacket = 0;  // the n-th packet of each file (from 1) is answered with Nack; 0 for none
    std::size_t nackPacketTimes = 1;
    uint8_t nackPacketCode = nack::kCommandFailed;

    std::size_t busyNacks = 0;    // Busy Nacks before the answer to a packet
    std::size_t busyPackets = 1;  // packets that meet them
    Milliseconds busyInterval{20};
    bool isBusyForEver = false;  // and no answer after them

    std::size_t nackEnds = 0;  // ends answered with Nack; the file is given up
    uint8_t nackEndCode = nack::kCommandFailed;
    std::size_t corruptEnds = 0;  // ends answered with CorruptFileTransfer; the file is given up

    std::size_t refuseApplies = 0;
    uint8_t refuseApplyCode = nack::kCommandFailed;

    bool isNeverBack = false;  // silent for ever after an apply
};

struct CarrierOptions {
    CarrierIdentity identity{};
    std::optional<TimeRecord> clock{};  // stands at that time; none: runs with the computer's time of day

    std::string link{};    // symbolic link to the pseudo terminal, empty for none
    std::string device{};  // a serial device in place of a pseudo terminal

    Milliseconds heartbeatPeriod{0};   // 0: only on request
    unsigned int baud = 0;             // pace of the line in both directions; 0: as fast as it goes
    Milliseconds writePatience{2000};  // for a module that reads slowly; what it does not take by then is lost
    Milliseconds answerDelay{0};       // from a frame's last byte to the first byte of its answer

    uint64_t seed = 1;
    FaultRates receiveFaults{};  // from the module to the carrier
    FaultRates sendFaults{};     // from the carrier to the module

    FirmwareOptions firmware{};
    FirmwareFaults firmwareFaults{};
    // What the carrier is after an application (or a boot loader) was applied; empty: as before.
    std::string nextAppVersion{};
    std::string nextBootVersion{};
    Milliseconds restartTime{300};            // deaf and mute
    bool isHeartbeatSentAfterRestart = true;  // whatever the heartbeat period

    bool areDamagedFramesNacked = true;
    FrameDecoder::Gaps gaps{};
    OwnCommandPolicy ownCommands{};
    std::size_t logLimit = 100000;  // frames remembered in each direction
};

struct CarrierStatistics {
    std::size_t framesReceived = 0;   // good ones, as the carrier heard them
    std::size_t damagedReceived = 0;  // bad frames and noise
    std::size_t bytesReceived = 0;    // as they left the module
    std::size_t framesSent = 0;       // and anything else that was sent at once
    std::size_t bytesSent = 0;        // that were taken from the line
    std::size_t bytesLost = 0;        // sent while nobody had the line open or read from it
    std::size_t acksReceived = 0;
    std::size_t nacksReceived = 0;
    std::size_t answersUnexpected = 0;  // Acks and Nacks for which no command waited
    FaultCounts receiveFaults;
    FaultCounts sendFaults;
};

}  // namespace simulator
