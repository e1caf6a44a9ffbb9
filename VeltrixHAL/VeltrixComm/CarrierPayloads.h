// The payloads that the module and the carrier exchange, byte for byte. Words are little-endian on the line, whatever
// the processor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The carrier's time record: UTC.
struct timestampStruct {
    std::uint8_t year = 0;   // since 2000
    std::uint8_t month = 0;  // 1 to 12
    std::uint8_t day = 0;    // 1 to 31
    std::uint8_t hour = 0;
    std::uint8_t minute = 0;
    std::uint8_t second = 0;
    std::uint16_t millisecond = 0;

    static constexpr std::size_t kSize = 8;

    std::array<std::uint8_t, kSize> ToBytes() const {
        return {year,
                month,
                day,
                hour,
                minute,
                second,
                static_cast<std::uint8_t>(millisecond & 0xFFU),
                static_cast<std::uint8_t>(millisecond >> 8U)};
    }

    static timestampStruct FromBytes(const std::array<std::uint8_t, kSize>& bytes) {
        return {bytes[0],
                bytes[1],
                bytes[2],
                bytes[3],
                bytes[4],
                bytes[5],
                static_cast<std::uint16_t>(bytes[6] | (bytes[7] << 8))};
    }
};

// What a heartbeat says of the carrier.
struct CommandPayload_Heartbeat {
    std::uint16_t HB_HAL_Version = 0;
    std::uint16_t HB_CommType = 0;
    std::uint16_t HB_Other = 0;  // reserved

    static constexpr std::size_t kSize = 6;

    static CommandPayload_Heartbeat FromBytes(const std::uint8_t* bytes) {
        const auto word = [bytes](int at) { return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8)); };
        return {word(0), word(2), word(4)};
    }
};

// Console and shell access, and when it expires.
struct AdminAccessStruct {
    timestampStruct ExpirationTimeStamp;
    bool consoleEnable = false;
    bool shellEnable = false;

    static constexpr std::size_t kSize = 10;

    std::array<std::uint8_t, kSize> ToBytes() const {
        const auto time = ExpirationTimeStamp.ToBytes();
        return {time[0],
                time[1],
                time[2],
                time[3],
                time[4],
                time[5],
                time[6],
                time[7],
                std::uint8_t{consoleEnable},
                std::uint8_t{shellEnable}};
    }
};

// The sensor settings of the Tessimor process.
struct TessimorSettingsStruct {
    std::uint8_t is10KHzRawData = 0;
    std::uint8_t currentSensorTypeEnum = 0;
    std::uint8_t useWireFeedSensor = 0;
    std::uint8_t useGasSensor = 0;
    std::uint8_t gasTypeEnum = 0;
    std::uint8_t preWeldDataTenthSeconds = 0;        // kept before a weld
    std::uint8_t postWeldDataTenthSeconds = 0;       // kept after it
    std::uint8_t weldEndRequirementMSecs = 0;        // milliseconds
    std::uint8_t weldStartCurrentThresholdAmps = 0;  // amperes

    static constexpr std::size_t kSize = 9;

    std::array<std::uint8_t, kSize> ToBytes() const {
        return {is10KHzRawData,
                currentSensorTypeEnum,
                useWireFeedSensor,
                useGasSensor,
                gasTypeEnum,
                preWeldDataTenthSeconds,
                postWeldDataTenthSeconds,
                weldEndRequirementMSecs,
                weldStartCurrentThresholdAmps};
    }
};

// The LED states that the carrier last accepted.
struct ledStatusStruct {
    bool isOperatorLedOn = false;
    bool isEthernetLedOn = false;
    bool isWifiLedOn = false;
    bool isInternetLedOn = false;
    bool internetQueried = false;
    bool usbIsBeingAccessed = false;
};

enum ledNames_e {
    operatorLED = 0,
    ethernetLED = 1,
    wifiLED = 2,
    internetLED = 3,
    internetQuery = 4,
    usbAccessLED = 5,
};
