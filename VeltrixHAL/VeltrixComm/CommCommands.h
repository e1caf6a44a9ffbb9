// The vocabulary of the link: command codes, Nack reasons and the results of link operations.
#pragma once

#include <cstdint>
#include <string_view>

// One byte in the frame. 45 to 47 are not assigned.
enum CommCommands_t : std::uint8_t {
    CommCommands_Nack = 0,
    CommCommands_Ack = 1,
    CommCommands_FileTransferStart = 2,
    CommCommands_FileTransferReady = 3,
    CommCommands_FileTransferPacket = 4,
    CommCommands_FileTransferEnd = 5,
    CommCommands_FileTransferApply = 6,
    CommCommands_GetBootloaderVersion = 7,
    CommCommands_GetCarrierVersion = 8,
    CommCommands_CarrierAlive = 9,
    CommCommands_DataTransmitEnable = 10,
    CommCommands_SampleData = 11,
    CommCommands_PowerFail = 12,
    CommCommands_GetVBat = 13,
    CommCommands_SetRTC = 14,
    CommCommands_GetRTC = 15,
    CommCommands_ICalHi = 16,
    CommCommands_ICalLow = 17,
    CommCommands_VCalHi = 18,
    CommCommands_VCalLow = 19,
    CommCommands_GasCalHi = 20,
    CommCommands_GasCalLow = 21,
    CommCommands_CarrierReset = 22,
    CommCommands_OpIDUp = 23,
    CommCommands_OpIDDown = 24,
    CommCommands_OpIDQuery = 25,
    CommCommands_EnetUp = 26,
    CommCommands_EnetDown = 27,
    CommCommands_EnetQuery = 28,
    CommCommands_WiFiUp = 29,
    CommCommands_WiFiDown = 30,
    CommCommands_WiFiQuery = 31,
    CommCommands_InternetQuery = 32,
    CommCommands_InternetUp = 33,
    CommCommands_InternetDown = 34,
    CommCommands_CarrierErrorMessage = 35,
    CommCommands_USBActivity = 36,
    CommCommands_AdminAccess = 37,
    CommCommands_SBC_Reset = 38,
    CommCommands_CurrentSensorSelection = 39,
    CommCommands_CommsTest = 40,
    CommCommands_Dropbear = 41,
    CommCommands_UpdatePhase = 42,
    CommCommands_SDCardStatus = 43,
    CommCommands_GetFirmwareVersions = 44,
    CommCommands_SetStrovanelLedSettings = 48,
    CommCommands_SetTessimorSettings = 49,
    CommCommands_BoardRevision = 50,
};

// First payload byte of a Nack frame.
enum MsgNack_t : std::uint8_t {
    MsgNack_UnknownCommand = 0,
    MsgNack_HeaderCRC = 1,
    MsgNack_PayloadCRC = 2,
    MsgNack_InvalidPayload = 3,
    MsgNack_RxBufferOverflow = 4,
    MsgNack_Timeout = 5,
    MsgNack_FileSizeTooLarge = 6,
    MsgNack_DownloadNotReady = 7,
    MsgNack_FileSizeMissmatch = 8,
    MsgNack_CarrierRcvdAliveMsg = 9,
    MsgNack_FileTypeUnknown = 10,
    MsgNack_ExpectingAckNack = 11,
    MsgNack_InvalidTimestamp = 12,
    MsgNack_CommandFailed = 13,
    MsgNack_CorruptFileTransfer = 14,
    MsgNack_NoMemoryLeftInPool = 15,
    MsgNack_Busy = 16,
};

// Result of a link operation.
enum e_commError : int {
    commError_None = 0,       // done
    commError_Unknown = 1,    // nothing came of it, or an unexpected frame
    commError_Timeout = 2,    // the wait ran out
    commError_CrcFail = 3,    // the carrier holds the file for corrupt: do not retry the command
    commError_Nack = 4,       // refused
    commError_Collision = 5,  // both sides sent a command at once
    commError_BusyRetry = 6,  // the carrier is writing to flash
};

// The name of a command as messages show it; empty for those that have none.
std::string_view GetCommandText(CommCommands_t command);
