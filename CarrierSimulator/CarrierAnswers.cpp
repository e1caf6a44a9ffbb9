#include "CarrierSimulator/CarrierAnswers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string>

#include "CarrierSimulator/CarrierCommand.h"

namespace simulator {
namespace {

using Payload = std::span<const uint8_t>;

Answer Ack() {
    return {};
}
Answer AckText(const std::string& text) {
    return {std::nullopt, Bytes(text.begin(), text.end())};
}
Answer Refuse(uint8_t code) {
    return {code, {}};
}

Answer TellBootVersion(Payload, CarrierState& state, CarrierClock&) {
    return AckText(state.identity.bootVersion);
}
Answer TellAppVersion(Payload, CarrierState& state, CarrierClock&) {
    return AckText(state.identity.appVersion);
}
Answer TellBoardRevision(Payload, CarrierState& state, CarrierClock&) {
    return {std::nullopt, {state.identity.boardRevision}};
}
Answer TellBattery(Payload, CarrierState& state, CarrierClock&) {
    const auto bits = std::bit_cast<uint32_t>(state.identity.battery);
    return {std::nullopt,
            {static_cast<uint8_t>(bits & 0xFFU), static_cast<uint8_t>(bits >> 8U & 0xFFU),
             static_cast<uint8_t>(bits >> 16U & 0xFFU), static_cast<uint8_t>(bits >> 24U)}};
}
Answer TellClock(Payload, CarrierState&, CarrierClock& clock) {
    const TimeRecord now = clock.Now();
    return {std::nullopt, Bytes(now.begin(), now.end())};
}
Answer SetClock(Payload payload, CarrierState& state, CarrierClock& clock) {
    if (!IsTime(payload)) {
        return Refuse(nack::kInvalidTimestamp);
    }
    TimeRecord time{};
    std::copy(payload.begin(), payload.end(), time.begin());
    clock.Set(time);
    state.clockSet = time;
    return Ack();
}

template <bool LedStates::*Led, bool IsOn>
Answer SwitchLed(Payload, CarrierState& state, CarrierClock&) {
    state.leds.*Led = IsOn;
    return Ack();
}
template <bool IsOn>
Answer SwitchInternet(Payload, CarrierState& state, CarrierClock&) {
    state.leds.isInternetOn = IsOn;
    state.leds.isInternetQueried = false;
    return Ack();
}
Answer SetUsbActivity(Payload payload, CarrierState& state, CarrierClock&) {
    state.leds.isUsbActive = payload[0] != 0;
    return Ack();
}
Answer SetDataReporting(Payload payload, CarrierState& state, CarrierClock&) {
    state.isDataReporting = payload[0] != 0;
    return Ack();
}
Answer SetLeds(Payload payload, CarrierState& state, CarrierClock&) {
    state.ledSettings.assign(payload.begin(), payload.end());
    return Ack();
}
Answer SetTessimor(Payload payload, CarrierState& state, CarrierClock&) {
    state.tessimorSettings.assign(payload.begin(), payload.end());
    return Ack();
}
Answer SelectSensor(Payload payload, CarrierState& state, CarrierClock&) {
    state.currentSensor = payload[0];
    return Ack();
}
Answer SetAdminAccess(Payload payload, CarrierState& state, CarrierClock&) {
    if (payload.empty()) {
        ++state.adminQueries;
        return Ack();
    }
    AdminAccess access;
    std::copy_n(payload.begin(), access.expiry.size(), access.expiry.begin());
    access.isConsoleEnabled = payload[8] != 0;
    access.isShellEnabled = payload[9] != 0;
    state.adminAccess = access;
    return Ack();
}
Answer NotePhase(Payload payload, CarrierState& state, CarrierClock&) {
    state.updatePhases.push_back(static_cast<uint16_t>(payload[0] | payload[1] << 8U));
    return Ack();
}
Answer NoteSdCard(Payload payload, CarrierState& state, CarrierClock&) {
    state.isSdCardMounted = payload[0] != 0;
    return Ack();
}
Answer Echo(Payload payload, CarrierState&, CarrierClock&) {
    return {std::nullopt, Bytes(payload.begin(), payload.end())};
}
Answer JustAck(Payload, CarrierState&, CarrierClock&) {
    return Ack();
}
Answer RefuseAlive(Payload, CarrierState&, CarrierClock&) {
    return Refuse(nack::kCarrierReceivedAlive);
}

// Payload sizes: two are allowed for some; kAny takes every size.
constexpr std::size_t kAny = SIZE_MAX;

struct Row {
    uint8_t command;
    std::size_t size;
    std::size_t otherSize;
    Answer (*carryOut)(Payload, CarrierState&, CarrierClock&);
};

constexpr std::array kRows = {
    Row{command::kGetBootloaderVersion, 0, 0, TellBootVersion},
    Row{command::kGetCarrierVersion, 0, 0, TellAppVersion},
    Row{command::kCarrierAlive, kAny, kAny, RefuseAlive},
    Row{command::kDataTransmitEnable, 1, 1, SetDataReporting},
    Row{command::kGetVBat, 0, 0, TellBattery},
    Row{command::kSetRtc, 8, 8, SetClock},
    Row{command::kGetRtc, 0, 0, TellClock},
    Row{command::kCurrentCalibrationHigh, kAny, kAny, JustAck},
    Row{command::kCurrentCalibrationLow, kAny, kAny, JustAck},
    Row{command::kVoltageCalibrationHigh, kAny, kAny, JustAck},
    Row{command::kVoltageCalibrationLow, kAny, kAny, JustAck},
    Row{command::kGasCalibrationHigh, kAny, kAny, JustAck},
    Row{command::kGasCalibrationLow, kAny, kAny, JustAck},
    Row{command::kOperatorUp, 0, 0, SwitchLed<&LedStates::isOperatorOn, true>},
    Row{command::kOperatorDown, 0, 0, SwitchLed<&LedStates::isOperatorOn, false>},
    Row{command::kOperatorQuery, 0, 0, JustAck},
    Row{command::kEthernetUp, 0, 0, SwitchLed<&LedStates::isEthernetOn, true>},
    Row{command::kEthernetDown, 0, 0, SwitchLed<&LedStates::isEthernetOn, false>},
    Row{command::kEthernetQuery, 0, 0, JustAck},
    Row{command::kWifiUp, 0, 0, SwitchLed<&LedStates::isWifiOn, true>},
    Row{command::kWifiDown, 0, 0, SwitchLed<&LedStates::isWifiOn, false>},
    Row{command::kWifiQuery, 0, 0, JustAck},
    Row{command::kInternetQuery, 0, 0, SwitchLed<&LedStates::isInternetQueried, true>},
    Row{command::kInternetUp, 0, 0, SwitchInternet<true>},
    Row{command::kInternetDown, 0, 0, SwitchInternet<false>},
    Row{command::kUsbActivity, 1, 1, SetUsbActivity},
    Row{command::kAdminAccess, 10, 0, SetAdminAccess},
    Row{command::kCurrentSensorSelection, 1, 1, SelectSensor},
    Row{command::kCommsTest, kAny, kAny, Echo},
    Row{command::kUpdatePhase, 2, 2, NotePhase},
    Row{command::kSdCardStatus, 1, 1, NoteSdCard},
    Row{command::kSetStrovanelLedSettings, 9, 7, SetLeds},
    Row{command::kSetTessimorSettings, 9, 9, SetTessimor},
    Row{command::kBoardRevision, 0, 0, TellBoardRevision},
};

}  // namespace

Answer AnswerCommand(uint8_t command, std::span<const uint8_t> payload, CarrierState& state, CarrierClock& clock) {
    const auto row =
        std::find_if(kRows.begin(), kRows.end(), [command](const Row& each) { return each.command == command; });
    if (row == kRows.end()) {
        return Refuse(nack::kUnknownCommand);
    }
    if (row->size != kAny && payload.size() != row->size && payload.size() != row->otherSize) {
        return Refuse(nack::kInvalidPayload);
    }
    return row->carryOut(payload, state, clock);
}

}  // namespace simulator
