// How the carrier gets new firmware, and how it misbehaves while it does.
#include <utility>

#include "CarrierSimulator/Carrier.h"

namespace simulator {
namespace {

constexpr uint8_t kMainHex = 0;
constexpr uint8_t kMainBin = 2;

// True, and one less from now on, while there is something left of the count.
bool UseUp(std::size_t& count) {
    if (count == 0) {
        return false;
    }
    if (count != kAlways) {
        --count;
    }
    return true;
}

Bytes AnswerFrame(FirmwareReceiver::Refusal refusal) {
    if (!refusal) {
        return EncodeFrame(command::kAck);
    }
    const Bytes payload = {*refusal};
    return EncodeFrame(command::kNack, std::span<const uint8_t>(payload));
}

}  // namespace

// False when the command is none of the file transfer's.
bool Carrier::ServeFirmware(const LineItem& item, const std::optional<ScriptedFault>& fault) {
    switch (item.command) {
        case command::kFileTransferStart: {
            const FirmwareReceiver::Refusal refusal = StartFile(item);
            const TimePoint due = SendAnswer(item, AnswerFrame(refusal), fault);
            if (!refusal && !mOptions.firmwareFaults.isNeverReady) {
                At(due + mOptions.firmwareFaults.readyDelay, [this] { AddOwn(command::kFileTransferReady, {}); });
            }
            return true;
        }
        case command::kFileTransferPacket:
            return ServePacket(item, fault);
        case command::kFileTransferEnd:
            SendAnswer(item, AnswerFrame(EndFile()), fault);
            return true;
        case command::kFileTransferApply: {
            const FirmwareReceiver::Refusal refusal = ApplyFile(item);
            const Milliseconds away = mOptions.firmwareFaults.isNeverBack ? Milliseconds::max() : mOptions.restartTime;
            SendAnswer(item, AnswerFrame(refusal), fault, refusal ? std::nullopt : std::optional(away));
            return true;
        }
        default:
            return false;
    }
}

FirmwareReceiver::Refusal Carrier::StartFile(const LineItem& item) {
    ++mPacketTurn;
    if (UseUp(mOptions.firmwareFaults.refuseStarts)) {
        return mOptions.firmwareFaults.refuseStartCode;
    }
    return mFirmware.Start(item.payload);
}

bool Carrier::ServePacket(const LineItem& item, const std::optional<ScriptedFault>& fault) {
    FirmwareFaults& faults = mOptions.firmwareFaults;
    const uint64_t turn = ++mPacketTurn;
    const bool isNamed = faults.nackPacket != 0 && mFirmware.Status().packets + 1 == faults.nackPacket;
    if (isNamed && UseUp(faults.nackPacketTimes)) {
        SendAnswer(item, AnswerFrame(faults.nackPacketCode), fault);
        return true;
    }
    if (faults.busyNacks == 0 || !UseUp(faults.busyPackets)) {
        StorePacket(item, fault);
        return true;
    }
    // Busy with the flash: says so again and again, and stores the packet at the end of it. A packet that comes in
    // between, because the module gave up waiting, takes over.
    TimePoint time = item.time;
    for (std::size_t count = 0; count < faults.busyNacks; ++count) {
        At(time, [this, item, turn] {
            if (turn == mPacketTurn) {
                LineItem now = item;
                now.time = Clock::now();
                SendAnswer(now, AnswerFrame(nack::kBusy), std::nullopt);
            }
        });
        time += faults.busyInterval;
    }
    if (!faults.isBusyForEver) {
        At(time, [this, item, fault, turn] {
            if (turn == mPacketTurn) {
                LineItem now = item;
                now.time = Clock::now();
                StorePacket(now, fault);
            }
        });
    }
    return true;
}

void Carrier::StorePacket(const LineItem& item, const std::optional<ScriptedFault>& fault) {
    const FirmwareReceiver::Refusal refusal = mFirmware.Packet(item.payload);
    SendAnswer(item, AnswerFrame(refusal), fault);
    if (!refusal) {
        const FirmwareStatus& status = mFirmware.Status();
        Tell([received = status.received, announced = status.announced](CarrierListener& listener) {
            listener.OnProgress(received, announced);
        });
    }
}

FirmwareReceiver::Refusal Carrier::EndFile() {
    FirmwareFaults& faults = mOptions.firmwareFaults;
    if (UseUp(faults.nackEnds)) {
        mFirmware.GiveUp();
        return faults.nackEndCode;
    }
    if (UseUp(faults.corruptEnds)) {
        mFirmware.GiveUp();
        return nack::kCorruptFileTransfer;
    }
    return mFirmware.End();
}

FirmwareReceiver::Refusal Carrier::ApplyFile(const LineItem& item) {
    FirmwareFaults& faults = mOptions.firmwareFaults;
    if (UseUp(faults.refuseApplies)) {
        return faults.refuseApplyCode;
    }
    const FirmwareReceiver::Refusal refusal = mFirmware.Apply(item.payload);
    if (!refusal) {
        BecomeNextVersion(item.payload.front());
    }
    return refusal;
}

void Carrier::BecomeNextVersion(uint8_t destination) {
    const bool isMain = destination == kMainHex || destination == kMainBin;
    const std::string& next = isMain ? mOptions.nextAppVersion : mOptions.nextBootVersion;
    if (!next.empty()) {
        (isMain ? mState.identity.appVersion : mState.identity.bootVersion) = next;
    }
}

}  // namespace simulator
