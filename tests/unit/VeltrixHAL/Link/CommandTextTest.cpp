// The names of the commands, code by code.
#include "VeltrixHAL/VeltrixComm/CommCommands.h"
#include "tests/unit/VeltrixHAL/Link/LinkMaster.h"

#include <map>

namespace {

TEST_F(LinkTest, EveryCommandCodeHasItsText) {
    const std::map<int, std::string> texts = {
        {0, "Nack"},
        {1, "Ack"},
        {2, "FileTransferStart"},
        {4, "FileTransferPacket"},
        {5, "FileTransferEnd"},
        {6, "FileTransferApply"},
        {7, "GetBootloaderVersion"},
        {8, "GetCarrierVersion"},
        {10, "DataTransmitEnable"},
        {13, "GetVBat"},
        {14, "SetRTC"},
        {15, "GetRTC"},
        {23, "OperatorUp"},
        {24, "OperatorDown"},
        {26, "EnetUp"},
        {27, "EnetDown"},
        {29, "WiFiUp"},
        {30, "WiFiDown"},
        {32, "InternetQuery"},
        {33, "InternetUp"},
        {34, "InternetDown"},
        {36, "USBActivity"},
        {37, "AdminAccess"},
        {38, "SBC_Reset"},
        {39, "CurrentSensorSelection"},
        {40, "CommsTest"},
        {42, "UpdatePhase"},
        {50, "GetBoardRevision"},
    };
    for (int code = 0; code < 256; ++code) {
        const auto found = texts.find(code);
        EXPECT_EQ(mMaster.GetCommandString(static_cast<CommCommands_t>(code), 0, 7),
                  found == texts.end() ? "" : found->second)
            << "code " << code;
    }
}

TEST_F(LinkTest, CommandTextTellsWhatRemainsOfATotal) {
    EXPECT_EQ(mMaster.GetCommandString(CommCommands_FileTransferPacket, 2500, 452),
              "FileTransferPacket. 452 remaining of 2500");
    EXPECT_EQ(mMaster.GetCommandString(CommCommands_FileTransferPacket, 4294967295U, 0),
              "FileTransferPacket. 0 remaining of 4294967295");
    EXPECT_EQ(mMaster.GetCommandString(CommCommands_CarrierAlive, 5, 1), ". 1 remaining of 5");
}

TEST(CommandCodeTest, CodesAreThoseOfTheCarrier) {
    const std::map<int, int> codes = {
        {CommCommands_Nack, 0},
        {CommCommands_Ack, 1},
        {CommCommands_FileTransferStart, 2},
        {CommCommands_FileTransferReady, 3},
        {CommCommands_FileTransferPacket, 4},
        {CommCommands_FileTransferEnd, 5},
        {CommCommands_FileTransferApply, 6},
        {CommCommands_GetBootloaderVersion, 7},
        {CommCommands_GetCarrierVersion, 8},
        {CommCommands_CarrierAlive, 9},
        {CommCommands_DataTransmitEnable, 10},
        {CommCommands_SampleData, 11},
        {CommCommands_PowerFail, 12},
        {CommCommands_GetVBat, 13},
        {CommCommands_SetRTC, 14},
        {CommCommands_GetRTC, 15},
        {CommCommands_ICalHi, 16},
        {CommCommands_ICalLow, 17},
        {CommCommands_VCalHi, 18},
        {CommCommands_VCalLow, 19},
        {CommCommands_GasCalHi, 20},
        {CommCommands_GasCalLow, 21},
        {CommCommands_CarrierReset, 22},
        {CommCommands_OpIDUp, 23},
        {CommCommands_OpIDDown, 24},
        {CommCommands_OpIDQuery, 25},
        {CommCommands_EnetUp, 26},
        {CommCommands_EnetDown, 27},
        {CommCommands_EnetQuery, 28},
        {CommCommands_WiFiUp, 29},
        {CommCommands_WiFiDown, 30},
        {CommCommands_WiFiQuery, 31},
        {CommCommands_InternetQuery, 32},
        {CommCommands_InternetUp, 33},
        {CommCommands_InternetDown, 34},
        {CommCommands_CarrierErrorMessage, 35},
        {CommCommands_USBActivity, 36},
        {CommCommands_AdminAccess, 37},
        {CommCommands_SBC_Reset, 38},
        {CommCommands_CurrentSensorSelection, 39},
        {CommCommands_CommsTest, 40},
        {CommCommands_Dropbear, 41},
        {CommCommands_UpdatePhase, 42},
        {CommCommands_SDCardStatus, 43},
        {CommCommands_GetFirmwareVersions, 44},
        {CommCommands_SetStrovanelLedSettings, 48},
        {CommCommands_SetTessimorSettings, 49},
        {CommCommands_BoardRevision, 50},
    };
    EXPECT_EQ(codes.size(), 48U);
    for (const auto& [code, number] : codes) {
        EXPECT_EQ(code, number);
    }
}

TEST(CommandCodeTest, NackReasonsCountFromUnknownCommandToBusy) {
    const int reasons[] = {MsgNack_UnknownCommand,
                           MsgNack_HeaderCRC,
                           MsgNack_PayloadCRC,
                           MsgNack_InvalidPayload,
                           MsgNack_RxBufferOverflow,
                           MsgNack_Timeout,
                           MsgNack_FileSizeTooLarge,
                           MsgNack_DownloadNotReady,
                           MsgNack_FileSizeMissmatch,
                           MsgNack_CarrierRcvdAliveMsg,
                           MsgNack_FileTypeUnknown,
                           MsgNack_ExpectingAckNack,
                           MsgNack_InvalidTimestamp,
                           MsgNack_CommandFailed,
                           MsgNack_CorruptFileTransfer,
                           MsgNack_NoMemoryLeftInPool,
                           MsgNack_Busy};
    for (int code = 0; code <= 16; ++code) {
        EXPECT_EQ(reasons[code], code);
    }
}

TEST(CommandCodeTest, ResultsHaveTheNumbersThatMessagesShow) {
    EXPECT_EQ(commError_None, 0);
    EXPECT_EQ(commError_Unknown, 1);
    EXPECT_EQ(commError_Timeout, 2);
    EXPECT_EQ(commError_CrcFail, 3);
    EXPECT_EQ(commError_Nack, 4);
    EXPECT_EQ(commError_Collision, 5);
    EXPECT_EQ(commError_BusyRetry, 6);
}

TEST(IdentityCodeTest, UnitsProductsAndNodesHaveTheirNumbers) {
    EXPECT_EQ(VeltrixNetBusinessUnit_Unassigned, 0);
    EXPECT_EQ(VeltrixNetBusinessUnit_Norrel, 138);
    EXPECT_EQ(VeltrixNetBusinessUnit_Quasky, 120);
    EXPECT_EQ(VeltrixNetProductId_Unassigned, 0);
    EXPECT_EQ(VeltrixNetProductId_Kestrum, 1);
    EXPECT_EQ(VeltrixNetNodeType_Unassigned, 0);
    EXPECT_EQ(VeltrixNetNodeType_Kestrum_SBC, 1);
    EXPECT_EQ(VeltrixNetNodeType_Kestrum_Gateway, 1);
}

}  // namespace
