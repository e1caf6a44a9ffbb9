#include "CarrierSimulator/CarrierState.h"

#include <array>
#include <sstream>

namespace simulator {
namespace {

const char* OnOff(bool isOn) {
    return isOn ? "on" : "off";
}

std::string HexOrNone(const Bytes& bytes) {
    return bytes.empty() ? "none" : HexText(bytes);
}

void PutFirmware(std::ostringstream& text, const FirmwareStatus& firmware) {
    text << "firmware_stage: " << StageName(firmware.stage) << "\n"
         << "firmware_destination: " << int{firmware.destination} << "\n"
         << "firmware_received: " << firmware.received << "/" << firmware.announced << "\n"
         << "firmware_packets: " << firmware.packets << "\n"
         << "firmware_starts: " << firmware.starts << "\n"
         << "firmware_good_ends: " << firmware.goodEnds << "\n"
         << "firmware_bad_ends: " << firmware.badEnds << "\n"
         << "firmware_applies: " << firmware.applies << "\n";
}

void PutTold(std::ostringstream& text, const CarrierState& state) {
    text << "operator_led: " << OnOff(state.leds.isOperatorOn) << "\n"
         << "ethernet_led: " << OnOff(state.leds.isEthernetOn) << "\n"
         << "wifi_led: " << OnOff(state.leds.isWifiOn) << "\n"
         << "internet_led: " << OnOff(state.leds.isInternetOn) << "\n"
         << "internet_queried: " << OnOff(state.leds.isInternetQueried) << "\n"
         << "usb_led: " << OnOff(state.leds.isUsbActive) << "\n"
         << "led_settings: " << HexOrNone(state.ledSettings) << "\n"
         << "tessimor_settings: " << HexOrNone(state.tessimorSettings) << "\n"
         << "current_sensor: " << (state.currentSensor ? std::to_string(*state.currentSensor) : "none") << "\n";
    if (state.adminAccess) {
        text << "admin_access: until " << TextOf(state.adminAccess->expiry) << ", console "
             << OnOff(state.adminAccess->isConsoleEnabled) << ", shell " << OnOff(state.adminAccess->isShellEnabled)
             << "\n";
    } else {
        text << "admin_access: none\n";
    }
    text << "admin_queries: " << state.adminQueries << "\n"
         << "data_reporting: " << OnOff(state.isDataReporting) << "\n"
         << "update_phases:";
    for (const uint16_t phase : state.updatePhases) {
        text << " " << phase;
    }
    text << (state.updatePhases.empty() ? " none\n" : "\n")
         << "clock_set: " << (state.clockSet ? TextOf(*state.clockSet) : "never") << "\n"
         << "sd_card: " << (state.isSdCardMounted ? (*state.isSdCardMounted ? "mounted" : "not mounted") : "unknown")
         << "\n"
         << "hal_build: " << (state.halBuild.empty() ? "unknown" : state.halBuild) << "\n";
}

}  // namespace

std::string StateText(const CarrierState& state) {
    std::ostringstream text;
    text << "app_version: " << state.identity.appVersion << "\n"
         << "boot_version: " << state.identity.bootVersion << "\n"
         << "board_revision: " << int{state.identity.boardRevision} << "\n"
         << "hal_version: " << state.identity.halVersion << "\n"
         << "comm_type: " << state.identity.commType << "\n"
         << "battery: " << state.identity.battery << "\n"
         << "clock: " << TextOf(state.clock) << "\n"
         << "restarts: " << state.restarts << "\n";
    PutTold(text, state);
    PutFirmware(text, state.firmware);
    return text.str();
}

}  // namespace simulator
