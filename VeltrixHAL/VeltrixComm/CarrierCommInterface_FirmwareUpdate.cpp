// Updating the carrier from a file, and the small exchanges about versions.
//
// The course of an update, and what the carrier is told at each milestone:
//
//   announced -> file read -> phase 1 or 2 -> [ start -> ready -> packets -> end ] -> phase 3 -> apply -> carrier back
//                                               ^----- again, after a counted       ^ application files only
//                                                      failure                        -> file deleted -> phase 4
#include "Common/Helper/DiskFile.h"
#include "Common/Helper/ErrorText.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"
#include "VeltrixHAL/VeltrixComm/FrameView.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr unsigned short kStartTimeoutMs = 30000;
constexpr unsigned short kPacketTimeoutMs = 5100;
constexpr unsigned short kApplyTimeoutMs = 30000;
constexpr unsigned int kMostCountedFailures = 3;
constexpr unsigned int kReadyPolls = 20;
constexpr std::uint32_t kReadyPollUs = 100'000;
constexpr std::uint32_t kAlivePollUs = 1'000;
constexpr std::size_t kVersionTextSize = 50;

// The HAL's own build identifier, with its closing zero byte.
constexpr char kHalBuild[] = "531720M_NTP_Disabled_Patch_250220a";
static_assert(sizeof kHalBuild == 35);

std::array<std::uint8_t, 2> PhasePayload(FirmwareUpdateState_e phase) {
    return {static_cast<std::uint8_t>(phase & 0xFFU), static_cast<std::uint8_t>(phase >> 8U)};
}

}  // namespace

std::atomic_flag CarrierCommInterface::updateFileMutex;

// What lasts as long as an update, however it ends: an exception too must not leave the machine without its LEDs and
// without updates.
class CarrierCommInterface::UpdateUnderWay {
public:
    UpdateUnderWay(CarrierCommInterface& carrier, Transfer& transfer) : mCarrier(carrier), mTransfer(transfer) {
        mCarrier.mFirmwareUpdateInProgress = true;
        HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = true;
    }
    ~UpdateUnderWay() {
        mTransfer.image.reset();
        mCarrier.mCarrierIsReadyForFile = false;
        mCarrier.mFirmwareUpdateInProgress = false;
        HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = false;
        updateFileMutex.clear();
    }
    UpdateUnderWay(const UpdateUnderWay&) = delete;
    UpdateUnderWay& operator=(const UpdateUnderWay&) = delete;

private:
    CarrierCommInterface& mCarrier;
    Transfer& mTransfer;
};

void CarrierCommInterface::DispatchCarrierFiles(CarrierFileInfo& info) {
    Transfer transfer;
    transfer.fileName = info.get_fileName();
    transfer.fileFullPath = info.get_fileFullPath();
    if (updateFileMutex.test_and_set()) {
        HalLog::Info("Unknown file received or unable to grab mutex");
        HalLog::Print(0, "Unknown file received or unable to grab mutex");
        return;
    }
    transfer.size = info.get_fileSize();
    if (transfer.size == 0) {
        transfer.size = DiskFile::Size(transfer.fileFullPath);
    }
    if (transfer.size == 0) {
        updateFileMutex.clear();
        return;
    }
    if (!ReadUpdateFile(transfer)) {
        return;  // the flag stays set on purpose, see its declaration
    }
    const UpdateUnderWay underWay(*this, transfer);
    // An unknown name leaves the start payload all zero and is sent all the same: the carrier decides.
    MakeFirmwarePayloadReady(transfer.fileName, transfer.size, transfer.startPayload.data());
    const bool isDone = TransferFile(transfer) && ApplyFile(transfer);
    if (transfer.attempts != 0) {
        HalLog::PrintAlways("File transer giving up after {} attempts", transfer.attempts);
        HalLog::Error("File transer giving up after {} attempts", transfer.attempts);
    }
    if (!isDone && !gKeepRunning) {
        HalLog::Info("Update with {} ended by the stop. The file is kept", transfer.fileName);
    }
}

bool CarrierCommInterface::ReadUpdateFile(Transfer& transfer) {
    const std::string shownPath = DisplayPath(transfer.fileFullPath);
    transfer.image.reset(new (std::nothrow) std::uint8_t[transfer.size]);
    HalLog::Print(0, "Opening update file: {}", shownPath);
    DiskFile file;
    if (!file.OpenForReading(transfer.fileFullPath)) {
        HalLog::Error("Could not open firmware file. Aborting update");
        HalLog::Print(0, "Could not open firmware file. Aborting update");
        return false;
    }
    HalLog::Print(0, "Reading update file: {}", shownPath);
    const std::size_t count = transfer.image == nullptr ? 0 : file.Read(transfer.image.get(), transfer.size);
    if (count != transfer.size) {
        HalLog::Print(0, "HAL - Failure reading firmware file. Aborting update");
        HalLog::Print(0, "Read {} of {} expected.", count, transfer.size);
        HalLog::Error("HAL Errlog: Failure reading firmware file. Aborting update");
        return false;
    }
    return true;
}

void CarrierCommInterface::MakeFirmwarePayloadReady(const std::string& fileName, std::uint32_t size,
                                                    std::uint8_t* startPayload) {
    const FirmwareFile* const file = FindFirmwareFile(fileName);
    if (file == nullptr) {
        HalLog::Error("Unknown transfer file ({}) specified", fileName);
        HalLog::Print(0, "Unknown transfer file ({}) specified", fileName);
        return;
    }
    startPayload[0] = file->destination;
    HalLog::Info("Initiating {} transfer of size {}", fileName, size);
    HalLog::Print(0, "Initiating {} transfer of size {}", fileName, size);
    const auto phase = PhasePayload(file->phase);
    bool sent = false;
    while (!sent && gKeepRunning) {
        HalLog::Print(0, "\n ---> Sending LED udpates status indication <--- ");
        sent = SendCommand(CommCommands_UpdatePhase, static_cast<unsigned int>(phase.size()), phase.data(),
                           kCommandTimeoutMs) == commError_None;
    }
    if (sent) {
        HalLog::Print(0, "\n ---> LED udpates status indication sent <--- ");
    }
    for (unsigned int i = 0; i < 4; ++i) {
        startPayload[1 + i] = static_cast<std::uint8_t>(size >> (8 * i));
    }
}

// Runs passes until one succeeds or the budget of counted failures is spent. Kept on purpose: a failure that counts
// nothing ends the update only while no pass has set the retry flag, and is repeated without a limit after that; and
// since the end result outlives its pass, a busy failure after a CRC failure counts twice.
bool CarrierCommInterface::TransferFile(Transfer& transfer) {
    while (gKeepRunning) {
        const TransferPass pass = RunTransferPass(transfer);
        if (pass == TransferPass::Done) {
            return true;
        }
        if (pass == TransferPass::Failed && transfer.endResult == commError_CrcFail) {
            ++transfer.attempts;
            HalLog::Print(0, "Carrier reported CRC failure on {} file transfer", transfer.fileName);
            HalLog::Error("Carrier reported CRC failure on {} file transfer", transfer.fileName);
        } else if (!transfer.retry) {
            return false;
        }
        if (transfer.attempts >= kMostCountedFailures) {
            return false;
        }
        transfer.retry = true;
    }
    return false;
}

CarrierCommInterface::TransferPass CarrierCommInterface::RunTransferPass(Transfer& transfer) {
    const e_commError started =
        SendCommand(CommCommands_FileTransferStart, static_cast<unsigned int>(transfer.startPayload.size()),
                    transfer.startPayload.data(), kStartTimeoutMs);
    if (started != commError_None) {
        HalLog::PrintAlways("Transfer initiation failed. CommError = {}", static_cast<int>(started));
        HalLog::Info("Transfer initiation failed. CommError = {}", static_cast<int>(started));
        return TransferPass::StartRefused;
    }
    WaitUntilCarrierIsReadyForFile();
    HalLog::PrintAlways("Sending file");
    HalLog::Info("Sending file");
    const e_commError sent =
        SendCommand(CommCommands_FileTransferPacket, transfer.size, transfer.image.get(), kPacketTimeoutMs);
    if (sent == commError_None) {
        transfer.endResult = SendCommand(CommCommands_FileTransferEnd, 0, nullptr, kCommandTimeoutMs);
        return transfer.endResult == commError_None ? TransferPass::Done : TransferPass::Failed;
    }
    if (sent == commError_BusyRetry) {
        ++transfer.attempts;
        HalLog::PrintAlways("File transfer failed. Attempt: {}", transfer.attempts);
        HalLog::Error("File transfer failed. Attempt: {}", transfer.attempts);
        transfer.retry = true;
    }
    return TransferPass::Failed;
}

// The carrier says when it is ready, but one that never does is sent the file all the same.
void CarrierCommInterface::WaitUntilCarrierIsReadyForFile() {
    for (unsigned int poll = 0; poll < kReadyPolls && !mCarrierIsReadyForFile && gKeepRunning; ++poll) {
        SleepMicroseconds(kReadyPollUs);
    }
}

// Not kept from it by a stop: the carrier has the whole image, and each of the two commands ends within a second then.
bool CarrierCommInterface::ApplyFile(const Transfer& transfer) {
    HalLog::PrintAlways("Finalizing file transfer");
    HalLog::Info("Finalizing file transfer");
    if (IsApplicationFile(transfer.fileName)) {
        SendUpdatePhase(UpdatePhase_3);
    }
    const e_commError applied =
        SendCommand(CommCommands_FileTransferApply, 1, transfer.startPayload.data(), kApplyTimeoutMs);
    if (applied != commError_None) {
        HalLog::PrintAlways("Firmware Apply failed. CommError = {}", static_cast<int>(applied));
        HalLog::Info("Firmware Apply failed. CommError = {}", static_cast<int>(applied));
        return false;
    }
    HalLog::PrintAlways("Firmware apply command sent. Waiting for carrier to restart... ");
    HalLog::Info("Firmware apply command sent. Waiting for carrier to restart...");
    if (!WaitUntilCarrierIsBack()) {
        return false;
    }
    HalLog::Info("Carrier connected after firmware update");
    HalLog::Print(0, "Carrier connected after firmware update");
    HalLog::Print(0, "Removing {}", DisplayPath(transfer.fileFullPath));
    if (const int error = DiskFile::Remove(transfer.fileFullPath); error != 0) {
        HalLog::Warning("Unable to remove {}. {}", DisplayPath(transfer.fileFullPath), ErrorText(error));
    }
    HalLog::Print(0, "Updating {}", transfer.fileName);
    if (IsApplicationFile(transfer.fileName)) {
        SendUpdatePhase(UpdatePhase_4);
    }
    return true;
}

// False when the process stops first. There is no other limit: an image that was applied has to come up.
bool CarrierCommInterface::WaitUntilCarrierIsBack() {
    mIsCarrierAlive = false;
    while (!mIsCarrierAlive && gKeepRunning) {
        SleepMicroseconds(kAlivePollUs);
    }
    return mIsCarrierAlive;
}

void CarrierCommInterface::SendUpdatePhase(FirmwareUpdateState_e phase) {
    const auto payload = PhasePayload(phase);
    SendCommand(CommCommands_UpdatePhase, static_cast<unsigned int>(payload.size()), payload.data(), kCommandTimeoutMs);
}

void CarrierCommInterface::HandleRxUploadReady(const std::uint8_t* /*frame*/) {
    HalLog::Info("Carrier is ready for firmware");
    HalLog::Print(0, "Carrier is ready for firmware");
    SendAck();
    mCarrierIsReadyForFile = true;
}

void CarrierCommInterface::HandleFwVersionRequest(const std::uint8_t* /*frame*/) {
    SendCommand(CommCommands_Ack, sizeof kHalBuild, reinterpret_cast<const unsigned char*>(kHalBuild),
                kCommandTimeoutMs);
}

void CarrierCommInterface::ProcessResponseToCarrierVersion(Packet& packet, CommCommands_t command) {
    const std::uint8_t* const frame = packet;
    const std::uint16_t length = FrameView::PayloadLength(frame);
    if (length == 0 || length > kVersionTextSize) {
        return;
    }
    const auto* const text = reinterpret_cast<const char*>(FrameView::Payload(frame));
    const std::string version(text, ::strnlen(text, length));
    if (command == CommCommands_GetCarrierVersion) {
        mCarrierAppVersion = version;
        HalLog::Info("Carrier app version received: {}", version);
        HalLog::Print(1, "Carrier app version received: {}", version);
    } else if (command == CommCommands_GetBootloaderVersion) {
        mCarrierBootloaderVersion = version;
        HalLog::Info("Carrier boot version received: {}", version);
        HalLog::Print(1, "Carrier boot version received: {}", version);
    }
}
