#include "CarrierSimulator/CarrierCommand.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

namespace simulator {
namespace {

struct CommandRow {
    uint8_t code;
    const char* name;
    bool moduleAnswers;
};

constexpr std::array kCommands = {
    CommandRow{command::kNack, "Nack", false},
    CommandRow{command::kAck, "Ack", false},
    CommandRow{command::kFileTransferStart, "FileTransferStart", false},
    CommandRow{command::kFileTransferReady, "FileTransferReady", true},
    CommandRow{command::kFileTransferPacket, "FileTransferPacket", false},
    CommandRow{command::kFileTransferEnd, "FileTransferEnd", false},
    CommandRow{command::kFileTransferApply, "FileTransferApply", false},
    CommandRow{command::kGetBootloaderVersion, "GetBootloaderVersion", false},
    CommandRow{command::kGetCarrierVersion, "GetCarrierVersion", false},
    CommandRow{command::kCarrierAlive, "CarrierAlive", true},
    CommandRow{command::kDataTransmitEnable, "DataTransmitEnable", false},
    CommandRow{command::kSampleData, "SampleData", true},
    CommandRow{command::kPowerFail, "PowerFail", true},
    CommandRow{command::kGetVBat, "GetVBat", true},
    CommandRow{command::kSetRtc, "SetRTC", false},
    CommandRow{command::kGetRtc, "GetRTC", true},
    CommandRow{command::kCurrentCalibrationHigh, "ICalHi", false},
    CommandRow{command::kCurrentCalibrationLow, "ICalLow", false},
    CommandRow{command::kVoltageCalibrationHigh, "VCalHi", false},
    CommandRow{command::kVoltageCalibrationLow, "VCalLow", false},
    CommandRow{command::kGasCalibrationHigh, "GasCalHi", false},
    CommandRow{command::kGasCalibrationLow, "GasCalLow", false},
    CommandRow{command::kCarrierReset, "CarrierReset", false},
    CommandRow{command::kOperatorUp, "OperatorUp", false},
    CommandRow{command::kOperatorDown, "OperatorDown", false},
    CommandRow{command::kOperatorQuery, "OperatorQuery", false},
    CommandRow{command::kEthernetUp, "EnetUp", false},
    CommandRow{command::kEthernetDown, "EnetDown", false},
    CommandRow{command::kEthernetQuery, "EnetQuery", false},
    CommandRow{command::kWifiUp, "WiFiUp", false},
    CommandRow{command::kWifiDown, "WiFiDown", false},
    CommandRow{command::kWifiQuery, "WiFiQuery", false},
    CommandRow{command::kInternetQuery, "InternetQuery", false},
    CommandRow{command::kInternetUp, "InternetUp", false},
    CommandRow{command::kInternetDown, "InternetDown", false},
    CommandRow{command::kErrorMessage, "CarrierErrorMessage", true},
    CommandRow{command::kUsbActivity, "USBActivity", false},
    CommandRow{command::kAdminAccess, "AdminAccess", false},
    CommandRow{command::kSbcReset, "SBC_Reset", true},
    CommandRow{command::kCurrentSensorSelection, "CurrentSensorSelection", false},
    CommandRow{command::kCommsTest, "CommsTest", true},
    CommandRow{command::kDropbear, "Dropbear", false},
    CommandRow{command::kUpdatePhase, "UpdatePhase", false},
    CommandRow{command::kSdCardStatus, "SDCardStatus", true},
    CommandRow{command::kGetFirmwareVersions, "GetFirmwareVersions", true},
    CommandRow{command::kSetStrovanelLedSettings, "SetStrovanelLedSettings", false},
    CommandRow{command::kSetTessimorSettings, "SetTessimorSettings", false},
    CommandRow{command::kBoardRevision, "BoardRevision", false},
};

constexpr std::array<const char*, 17> kNackNames = {"UnknownCommand",
                                                    "HeaderCRC",
                                                    "PayloadCRC",
                                                    "InvalidPayload",
                                                    "RxBufferOverflow",
                                                    "Timeout",
                                                    "FileSizeTooLarge",
                                                    "DownloadNotReady",
                                                    "FileSizeMismatch",
                                                    "CarrierRcvdAliveMsg",
                                                    "FileTypeUnknown",
                                                    "ExpectingAckNack",
                                                    "InvalidTimestamp",
                                                    "CommandFailed",
                                                    "CorruptFileTransfer",
                                                    "NoMemoryLeftInPool",
                                                    "Busy"};

const CommandRow* RowOf(uint8_t code) {
    const auto* row =
        std::find_if(kCommands.begin(), kCommands.end(), [code](const CommandRow& r) { return r.code == code; });
    return row == kCommands.end() ? nullptr : row;
}

}  // namespace

std::string CommandName(uint8_t code) {
    const CommandRow* row = RowOf(code);
    return row != nullptr ? row->name : "Command " + std::to_string(code);
}

std::optional<uint8_t> CommandFromText(std::string_view text) {
    const std::string name(text);
    for (const CommandRow& row : kCommands) {
        if (::strcasecmp(row.name, name.c_str()) == 0) {
            return row.code;
        }
    }
    const bool isHex = name.starts_with("0x") || name.starts_with("0X");
    const char* begin = name.data() + (isHex ? 2 : 0);
    const char* end = name.data() + name.size();
    uint8_t code = 0;
    const auto [stop, error] = std::from_chars(begin, end, code, isHex ? 16 : 10);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return code;
}

std::string NackName(uint8_t code) {
    return code < kNackNames.size() ? kNackNames[code] : "reason " + std::to_string(code);
}

bool ModuleAnswers(uint8_t code) {
    const CommandRow* row = RowOf(code);
    return row != nullptr && row->moduleAnswers;
}

}  // namespace simulator
