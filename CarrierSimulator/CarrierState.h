#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "CarrierSimulator/CarrierClock.h"
#include "CarrierSimulator/CarrierFrame.h"
#include "CarrierSimulator/FirmwareReceiver.h"

namespace simulator {

// Who the carrier says it is.
struct CarrierIdentity {
    std::string appVersion = "531726R";
    std::string bootVersion = "531725C";
    uint8_t boardRevision = 3;
    uint16_t halVersion = 8;
    uint16_t commType = 0;
    float battery = 3.07F;  // volts
};

struct LedStates {
    bool isOperatorOn = false;
    bool isEthernetOn = false;
    bool isWifiOn = false;
    bool isInternetOn = false;
    bool isInternetQueried = false;  // ends with the next InternetUp or InternetDown
    bool isUsbActive = false;

    bool operator==(const LedStates&) const = default;
};

struct AdminAccess {
    TimeRecord expiry{};
    bool isConsoleEnabled = false;
    bool isShellEnabled = false;
};

// What the carrier is and what it was told, as one copy.
struct CarrierState {
    CarrierIdentity identity;
    LedStates leds;          // dark after a restart
    Bytes ledSettings;       // 7 or 9 bytes once told: brightness settings in the order of the payload
    Bytes tessimorSettings;  // 9 bytes once told
    std::optional<uint8_t> currentSensor;
    std::optional<AdminAccess> adminAccess;
    std::size_t adminQueries = 0;        // AdminAccess without payload
    bool isDataReporting = false;        // off after a restart
    std::vector<uint16_t> updatePhases;  // every one announced, in order
    std::optional<TimeRecord> clockSet;  // the last SetRTC
    TimeRecord clock{};                  // what GetRTC would answer
    std::optional<bool> isSdCardMounted;
    std::string halBuild;  // the module's answer to GetFirmwareVersions
    std::size_t restarts = 0;
    FirmwareStatus firmware;
};

// "key: value" lines of everything above.
std::string StateText(const CarrierState& state);

}  // namespace simulator
