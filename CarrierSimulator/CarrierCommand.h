#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The codes that travel in frames, as the carrier's side knows them, with a name for every one.
namespace simulator {

namespace command {
inline constexpr uint8_t kNack = 0;
inline constexpr uint8_t kAck = 1;
inline constexpr uint8_t kFileTransferStart = 2;
inline constexpr uint8_t kFileTransferReady = 3;
inline constexpr uint8_t kFileTransferPacket = 4;
inline constexpr uint8_t kFileTransferEnd = 5;
inline constexpr uint8_t kFileTransferApply = 6;
inline constexpr uint8_t kGetBootloaderVersion = 7;
inline constexpr uint8_t kGetCarrierVersion = 8;
inline constexpr uint8_t kCarrierAlive = 9;
inline constexpr uint8_t kDataTransmitEnable = 10;
inline constexpr uint8_t kSampleData = 11;
inline constexpr uint8_t kPowerFail = 12;
inline constexpr uint8_t kGetVBat = 13;
inline constexpr uint8_t kSetRtc = 14;
inline constexpr uint8_t kGetRtc = 15;
inline constexpr uint8_t kCurrentCalibrationHigh = 16;
inline constexpr uint8_t kCurrentCalibrationLow = 17;
inline constexpr uint8_t kVoltageCalibrationHigh = 18;
inline constexpr uint8_t kVoltageCalibrationLow = 19;
inline constexpr uint8_t kGasCalibrationHigh = 20;
inline constexpr uint8_t kGasCalibrationLow = 21;
inline constexpr uint8_t kCarrierReset = 22;
inline constexpr uint8_t kOperatorUp = 23;
inline constexpr uint8_t kOperatorDown = 24;
inline constexpr uint8_t kOperatorQuery = 25;
inline constexpr uint8_t kEthernetUp = 26;
inline constexpr uint8_t kEthernetDown = 27;
inline constexpr uint8_t kEthernetQuery = 28;
inline constexpr uint8_t kWifiUp = 29;
inline constexpr uint8_t kWifiDown = 30;
inline constexpr uint8_t kWifiQuery = 31;
inline constexpr uint8_t kInternetQuery = 32;
inline constexpr uint8_t kInternetUp = 33;
inline constexpr uint8_t kInternetDown = 34;
inline constexpr uint8_t kErrorMessage = 35;
inline constexpr uint8_t kUsbActivity = 36;
inline constexpr uint8_t kAdminAccess = 37;
inline constexpr uint8_t kSbcReset = 38;
inline constexpr uint8_t kCurrentSensorSelection = 39;
inline constexpr uint8_t kCommsTest = 40;
inline constexpr uint8_t kDropbear = 41;
inline constexpr uint8_t kUpdatePhase = 42;
inline constexpr uint8_t kSdCardStatus = 43;
inline constexpr uint8_t kGetFirmwareVersions = 44;
inline constexpr uint8_t kSetStrovanelLedSettings = 48;
inline constexpr uint8_t kSetTessimorSettings = 49;
inline constexpr uint8_t kBoardRevision = 50;
}  // namespace command

namespace nack {
inline constexpr uint8_t kUnknownCommand = 0;
inline constexpr uint8_t kHeaderCrc = 1;
inline constexpr uint8_t kPayloadCrc = 2;
inline constexpr uint8_t kInvalidPayload = 3;
inline constexpr uint8_t kRxBufferOverflow = 4;
inline constexpr uint8_t kTimeout = 5;
inline constexpr uint8_t kFileSizeTooLarge = 6;
inline constexpr uint8_t kDownloadNotReady = 7;
inline constexpr uint8_t kFileSizeMismatch = 8;
inline constexpr uint8_t kCarrierReceivedAlive = 9;
inline constexpr uint8_t kFileTypeUnknown = 10;
inline constexpr uint8_t kExpectingAckNack = 11;
inline constexpr uint8_t kInvalidTimestamp = 12;
inline constexpr uint8_t kCommandFailed = 13;
inline constexpr uint8_t kCorruptFileTransfer = 14;
inline constexpr uint8_t kNoMemoryLeftInPool = 15;
inline constexpr uint8_t kBusy = 16;
}  // namespace nack

// "Ack", "WiFiUp", ...; "Command 45" for a code without a meaning.
std::string CommandName(uint8_t code);

// The code of a name (case does not matter) or of a decimal or 0x-hexadecimal number from 0 to 255.
std::optional<uint8_t> CommandFromText(std::string_view text);

// "Busy", "PayloadCRC", ...; "reason 17" for a code without a meaning.
std::string NackName(uint8_t code);

// True for what the module answers with Ack or Nack when the carrier sends it on its own.
bool ModuleAnswers(uint8_t code);

}  // namespace simulator
