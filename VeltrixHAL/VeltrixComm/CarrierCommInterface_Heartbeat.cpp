// Heartbeats: the start sequence, the check of both sides' versions, and the carrier's data reporting.
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"
#include "VeltrixHAL/VeltrixComm/FrameView.h"

#include <cstring>
#include <ctime>

namespace {

constexpr std::uint16_t kHalVersion = 8;
constexpr std::uint16_t kCommType = 0;
constexpr std::int64_t kTessimorSpanSeconds = 2;
constexpr const char* kExpectedCarrierVersion = "531726R";

using Answer = std::array<std::uint8_t, 100>;

std::string TextOf(const Answer& answer) {
    const auto* const text = reinterpret_cast<const char*>(answer.data());
    return {text, ::strnlen(text, answer.size())};
}

}  // namespace

bool CarrierCommInterface::runOnce = true;
bool CarrierCommInterface::dataReportingEnabled = false;

void CarrierCommInterface::HandleRxCarrierHeartbeat(const std::uint8_t* frame) {
    CheckCarrierCommSettings(frame);
    SendAck();
    if (runOnce) {
        runOnce = false;
        RunStartSequence();
    }
    mForceLEDRefresh = true;
    UpdateDataReporting();
}

void CarrierCommInterface::CheckCarrierCommSettings(const std::uint8_t* frame) {
    if (FrameView::PayloadLength(frame) != CommandPayload_Heartbeat::kSize) {
        return;
    }
    const auto heartbeat = CommandPayload_Heartbeat::FromBytes(FrameView::Payload(frame));
    mCarrierHALVersion = heartbeat.HB_HAL_Version;
    if (heartbeat.HB_HAL_Version != kHalVersion || heartbeat.HB_CommType != kCommType) {
        HalLog::Warning("Carrier comm settings do not match those of SBC");
        HalLog::Warning("Carrier: HAL {}, Comm {}; SBC: HAL {}, Comm {}", heartbeat.HB_HAL_Version,
                        heartbeat.HB_CommType, kHalVersion, kCommType);
    }
}

void CarrierCommInterface::RunStartSequence() {
    bool isCutShort = false;  // a stop leaves one attempt, and little time, to say the version
    Answer answer{};
    if (SendRequest(CommCommands_GetBootloaderVersion, answer.data(), kRequestBufferSize) == commError_None) {
        mCarrierBootloaderVersion = TextOf(answer);
        HalLog::Print(0, "Veltrix bootloader version: {}", mCarrierBootloaderVersion);
    } else {
        HalLog::Warning("Failed to get carrier bootloader version");
        HalLog::Print(0, "Failed to get carrier bootloader version");
    }

    answer.fill(0);
    if (SendRequest(CommCommands_GetCarrierVersion, answer.data(), kRequestBufferSize) == commError_None) {
        mCarrierAppVersion = TextOf(answer);
        HalLog::Print(0, "Veltrix carrier version: {}", mCarrierAppVersion);
    } else {
        isCutShort = !gKeepRunning;
        HalLog::Warning("Failed to get carrier app version");
        HalLog::Print(0, "Failed to get carrier app version");
    }

    answer.fill(0);
    if (SendRequest(CommCommands_BoardRevision, answer.data(), kRequestBufferSize) == commError_None) {
        mBoardRevision = answer[0];
        HalLog::Print(0, "Veltrix Board Revision: 0x{:x}", mBoardRevision);
    } else {
        HalLog::Warning("Failed to get board revision");
        HalLog::Print(0, "Failed to get board revision");
    }

    if (!isCutShort && !CheckIfCarrierVersionIsValid()) {
        ReportVersionMismatch();
    }
    for (const CommCommands_t command : {CommCommands_AdminAccess, CommCommands_GetVBat, CommCommands_GetRTC}) {
        SendCommand(command, 0, nullptr, kCommandTimeoutMs);
    }
    PublishCarrierInfo();
}

bool CarrierCommInterface::CheckIfCarrierVersionIsValid() {
    return mCarrierAppVersion == kExpectedCarrierVersion;
}

void CarrierCommInterface::ReportVersionMismatch() {
    ErrorLogType mismatch;
    mismatch.set_code("SWMismatch_System");
    mismatch.set_message(mCarrierAppVersion + " received, but expecting " + kExpectedCarrierVersion);
    mismatch.set_timestamp(DateTime::Now(0));
    BusClient::PublishOnce("error_log", mismatch);
}

void CarrierCommInterface::PublishCarrierInfo() {
    CarrierInfo info;
    if (!mCarrierAppVersion.empty()) {
        info.set_appVersion(mCarrierAppVersion);
    }
    if (!mCarrierBootloaderVersion.empty()) {
        info.set_bootloaderVersion(mCarrierBootloaderVersion);
    }
    info.set_HALVersion(mCarrierHALVersion);
    BusClient::PublishOnce("carrier_info", info);
    HalLog::PrintAlways("published info");
}

// The mark follows the decision, not the send's result: a carrier that missed the command is told at the next change.
void CarrierCommInterface::UpdateDataReporting() {
    const std::int64_t age = std::int64_t{std::time(nullptr)} - std::int64_t{HalGlobals::g_TessimorUpdateTimer.load()};
    const bool wanted = age < kTessimorSpanSeconds;
    if (wanted == dataReportingEnabled) {
        return;
    }
    HalLog::PrintAlways("**** {} data reporting ****", wanted ? "Enable" : "Disable");
    const std::uint8_t payload = wanted ? 1 : 0;
    SendCommand(CommCommands_DataTransmitEnable, 1, &payload, kCommandTimeoutMs);
    dataReportingEnabled = wanted;
}

void CarrierCommInterface::GetCapabilities(DeviceCapabilities& capabilities) {
    capabilities.allowsFeederAttachment = false;
    capabilities.realTimeStatusDrivenByEvents = true;
    capabilities.reportsBatteryVoltage = true;
    capabilities.reportsVolts = true;
    capabilities.reportsAmps = true;
    capabilities.reportsWireFeedSpeed = true;
    capabilities.reportsProgramNumber = false;
    capabilities.reportsProcess = false;
    capabilities.reportsPowerSupplySerialNumber = false;
    capabilities.reportsGasType = false;
    capabilities.reportsWireAlloy = false;
    capabilities.reportsWireDiameter = false;
    capabilities.reportsLifetimeArcHours = false;
    capabilities.reportsWeldEvents = true;
    capabilities.reportsPower = true;
    capabilities.reportsGasFlowRate = true;
}
