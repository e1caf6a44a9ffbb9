// The carrier's LEDs: states and brightness settings.
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

namespace {

struct Led {
    ledNames_e name;
    bool ledStatusStruct::*remembered;
    CommCommands_t on;
    CommCommands_t off;
};

constexpr std::array kLeds = {
    Led{operatorLED, &ledStatusStruct::isOperatorLedOn, CommCommands_OpIDUp, CommCommands_OpIDDown},
    Led{ethernetLED, &ledStatusStruct::isEthernetLedOn, CommCommands_EnetUp, CommCommands_EnetDown},
    Led{wifiLED, &ledStatusStruct::isWifiLedOn, CommCommands_WiFiUp, CommCommands_WiFiDown},
    Led{internetLED, &ledStatusStruct::isInternetLedOn, CommCommands_InternetUp, CommCommands_InternetDown},
    // One command for both states, told apart by its payload.
    Led{usbAccessLED, &ledStatusStruct::usbIsBeingAccessed, CommCommands_USBActivity, CommCommands_USBActivity},
};

constexpr std::uint16_t kFirstHalVersionWithOperatorLeds = 6;

}  // namespace

void CarrierCommInterface::SendLedUpdate(ledNames_e led, bool on) {
    if (led == internetQuery) {
        // A query puts the internet LED into a state of its own, so the one remembered no longer holds.
        if (on) {
            mOldLedStatus.isInternetLedOn = false;
            SendCommand(CommCommands_InternetQuery, 0, nullptr, kCommandTimeoutMs);
        }
        return;
    }
    for (const Led& entry : kLeds) {
        if (entry.name != led) {
            continue;
        }
        bool& remembered = mOldLedStatus.*entry.remembered;
        if (remembered == on && !mForceLEDRefresh) {
            return;
        }
        const std::uint8_t payload = on ? 1 : 0;
        const bool hasPayload = entry.on == entry.off;
        if (SendCommand(on ? entry.on : entry.off, hasPayload ? 1 : 0, hasPayload ? &payload : nullptr,
                        kCommandTimeoutMs) == commError_None) {
            remembered = on;
        }
        return;
    }
}

void CarrierCommInterface::UpdateLocalLEDStates(SystemLedStatus* status) {
    mOldLedStatus.isEthernetLedOn = status->get_ethernetIsUp();
    mOldLedStatus.isWifiLedOn = status->get_wifiIsUp();
    mOldLedStatus.isOperatorLedOn = status->get_operatorIsUp();
    mOldLedStatus.isInternetLedOn = status->get_internetIsUp();
    mOldLedStatus.internetQueried = status->get_internetQueried();
    mOldLedStatus.usbIsBeingAccessed = status->get_isAccessingUSB();
}

void CarrierCommInterface::SendStrovanelLedSettings(std::uint8_t cloudGreenLed, std::uint8_t cloudYellowLed,
                                                    std::uint8_t wifiGreenLed, std::uint8_t wifiYellowLed,
                                                    std::uint8_t ethernetGreenLed, std::uint8_t ethernetYellowLed,
                                                    std::uint8_t usbGreenLed, std::uint8_t opIDGreenLed,
                                                    std::uint8_t opIDYellowLed) {
    const std::array<std::uint8_t, 9> payload = {cloudGreenLed, cloudYellowLed,   wifiGreenLed,
                                                 wifiYellowLed, ethernetGreenLed, ethernetYellowLed,
                                                 usbGreenLed,   opIDGreenLed,     opIDYellowLed};
    const unsigned int size = mCarrierHALVersion < kFirstHalVersionWithOperatorLeds ? 7 : 9;
    SendCommand(CommCommands_SetStrovanelLedSettings, size, payload.data(), kCommandTimeoutMs);
}
