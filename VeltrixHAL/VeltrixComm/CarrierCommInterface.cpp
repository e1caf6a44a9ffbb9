// Dispatch of what the carrier sends on its own, and the meaning of its replies.
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/VeltrixComm/FrameView.h"

CarrierCommInterface::CarrierCommInterface(IBufferedSerial& port, EventClient& client)
    : VeltrixNetMaster(port, VeltrixNetBusinessUnit_Quasky, VeltrixNetProductId_Kestrum,
                       VeltrixNetNodeType_Kestrum_SBC),
      mClient(client) {
    ReadStoredConfig(mArcMinThreshold);
}

void CarrierCommInterface::HandleReceivedPacket(Packet& packet) {
    struct Entry {
        CommCommands_t command;
        void (CarrierCommInterface::*handle)(const std::uint8_t* frame);
    };
    static constexpr std::array kHandlers = {
        Entry{CommCommands_Nack, &CarrierCommInterface::HandleRxNack},
        Entry{CommCommands_Ack, &CarrierCommInterface::HandleRxAck},
        Entry{CommCommands_FileTransferReady, &CarrierCommInterface::HandleRxUploadReady},
        Entry{CommCommands_CarrierAlive, &CarrierCommInterface::HandleRxCarrierHeartbeat},
        Entry{CommCommands_SampleData, &CarrierCommInterface::HandleRxSampleData},
        Entry{CommCommands_PowerFail, &CarrierCommInterface::HandleRxPowerFail},
        Entry{CommCommands_GetVBat, &CarrierCommInterface::HandleRxVBat},
        Entry{CommCommands_GetRTC, &CarrierCommInterface::HandleRxRTC},
        Entry{CommCommands_CarrierErrorMessage, &CarrierCommInterface::HandleRxError},
        Entry{CommCommands_SBC_Reset, &CarrierCommInterface::HandleResetCommand},
        Entry{CommCommands_CommsTest, &CarrierCommInterface::HandleCommsTestCommand},
        Entry{CommCommands_Dropbear, &CarrierCommInterface::HandleDropbear},
        Entry{CommCommands_SDCardStatus, &CarrierCommInterface::HandleSDCardStatusCommand},
        Entry{CommCommands_GetFirmwareVersions, &CarrierCommInterface::HandleFwVersionRequest},
    };
    const std::uint8_t* const frame = packet;
    const CommCommands_t command = FrameView::Command(frame);
    for (const Entry& entry : kHandlers) {
        if (entry.command == command) {
            (this->*entry.handle)(frame);
            return;
        }
    }
    HalLog::Error("Unknown packet received 0d{}", static_cast<unsigned int>(command));
}

void CarrierCommInterface::SendAck() {
    SendCommand(CommCommands_Ack, 0, nullptr, kCommandTimeoutMs);
}

void CarrierCommInterface::HandleRxNack(const std::uint8_t* /*frame*/) {
    HalLog::PrintAlways("Received Nack but not expecting one");
    HalLog::Warning("Received Nack but not expecting one");
}

void CarrierCommInterface::HandleRxAck(const std::uint8_t* /*frame*/) {
    HalLog::PrintAlways("Received Ack but not expecting one");
    HalLog::Warning("Received Ack but not expecting one");
}

void CarrierCommInterface::HandleRxSampleData(const std::uint8_t* /*frame*/) {
    SendAck();
}

// Values are taken from replies only: what comes unasked is just acknowledged.
void CarrierCommInterface::HandleRxVBat(const std::uint8_t* /*frame*/) {
    SendAck();
}

void CarrierCommInterface::HandleRxRTC(const std::uint8_t* /*frame*/) {
    SendAck();
}

void CarrierCommInterface::HandleCommsTestCommand(const std::uint8_t* frame) {
    const std::uint16_t length = FrameView::PayloadLength(frame);
    SendCommand(CommCommands_Ack, length, length == 0 ? nullptr : FrameView::Payload(frame), kCommandTimeoutMs);
}

void CarrierCommInterface::HandleDropbear(const std::uint8_t* frame) {
    HalLog::Error("Deprecated Dropbear command called by carrier: 0d{}",
                  static_cast<unsigned int>(FrameView::Command(frame)));
}

e_commError CarrierCommInterface::ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int /*elapsedMs*/) {
    switch (FrameView::Command(response)) {
        case CommCommands_Ack:
            ProcessAck(response, sent);
            return commError_None;
        case CommCommands_Nack:
            return ProcessNack(response);
        default:
            return ProcessCollision(response);
    }
}

void CarrierCommInterface::ProcessAck(Packet& response, CommCommands_t sent) {
    switch (sent) {
        case CommCommands_GetBootloaderVersion:
        case CommCommands_GetCarrierVersion:
            ProcessResponseToCarrierVersion(response, sent);
            break;
        case CommCommands_GetVBat:
            ProcessResponseToGetVBat(response);
            break;
        case CommCommands_GetRTC:
            ProcessResponseToGetRTC(response);
            break;
        case CommCommands_AdminAccess:
            HalLog::Error("Deprecated AdminAccess command sent by carrier 0d{}",
                          static_cast<unsigned int>(FrameView::Command(response)));
            break;
        default:
            break;
    }
}

e_commError CarrierCommInterface::ProcessNack(Packet& response) {
    const std::uint8_t code = FrameView::NackCode(response);
    HalLog::Print(0, "Nack received - 0x{:x}", code);
    HalLog::Info("Nack received - 0d{}", code);
    switch (code) {
        case MsgNack_Busy:
            return commError_BusyRetry;
        case MsgNack_CorruptFileTransfer:
            return commError_CrcFail;
        default:
            return commError_Nack;
    }
}

e_commError CarrierCommInterface::ProcessCollision(Packet& response) {
    const auto command = static_cast<unsigned int>(FrameView::Command(response));
    HalLog::Print(0, "Collision!!! Expected Ack but received 0x{:x}", command);
    HalLog::Info("Collision!!! Expected Ack but received 0d{}", command);
    const std::uint8_t reason = MsgNack_ExpectingAckNack;
    SendCommand(CommCommands_Nack, 1, &reason, kCommandTimeoutMs);
    return commError_Collision;
}
