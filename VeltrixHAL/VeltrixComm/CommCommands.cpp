#include "VeltrixHAL/VeltrixComm/CommCommands.h"

#include <array>
#include <cstddef>

namespace {

struct CommandText {
    CommCommands_t command;
    std::string_view text;
};

constexpr std::array kTexts = {
    CommandText{CommCommands_Nack, "Nack"},
    CommandText{CommCommands_Ack, "Ack"},
    CommandText{CommCommands_FileTransferStart, "FileTransferStart"},
    CommandText{CommCommands_FileTransferPacket, "FileTransferPacket"},
    CommandText{CommCommands_FileTransferEnd, "FileTransferEnd"},
    CommandText{CommCommands_FileTransferApply, "FileTransferApply"},
    CommandText{CommCommands_GetBootloaderVersion, "GetBootloaderVersion"},
    CommandText{CommCommands_GetCarrierVersion, "GetCarrierVersion"},
    CommandText{CommCommands_DataTransmitEnable, "DataTransmitEnable"},
    CommandText{CommCommands_GetVBat, "GetVBat"},
    CommandText{CommCommands_SetRTC, "SetRTC"},
    CommandText{CommCommands_GetRTC, "GetRTC"},
    CommandText{CommCommands_OpIDUp, "OperatorUp"},
    CommandText{CommCommands_OpIDDown, "OperatorDown"},
    CommandText{CommCommands_EnetUp, "EnetUp"},
    CommandText{CommCommands_EnetDown, "EnetDown"},
    CommandText{CommCommands_WiFiUp, "WiFiUp"},
    CommandText{CommCommands_WiFiDown, "WiFiDown"},
    CommandText{CommCommands_InternetQuery, "InternetQuery"},
    CommandText{CommCommands_InternetUp, "InternetUp"},
    CommandText{CommCommands_InternetDown, "InternetDown"},
    CommandText{CommCommands_USBActivity, "USBActivity"},
    CommandText{CommCommands_AdminAccess, "AdminAccess"},
    CommandText{CommCommands_SBC_Reset, "SBC_Reset"},
    CommandText{CommCommands_CurrentSensorSelection, "CurrentSensorSelection"},
    CommandText{CommCommands_CommsTest, "CommsTest"},
    CommandText{CommCommands_UpdatePhase, "UpdatePhase"},
    CommandText{CommCommands_BoardRevision, "GetBoardRevision"},
};

constexpr auto kTextsByCode = [] {
    std::array<std::string_view, 256> texts{};
    for (const CommandText& entry : kTexts) {
        texts[static_cast<std::size_t>(entry.command)] = entry.text;
    }
    return texts;
}();

}  // namespace

std::string_view GetCommandText(CommCommands_t command) {
    return kTextsByCode[static_cast<std::size_t>(command)];
}
