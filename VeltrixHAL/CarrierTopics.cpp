#include "VeltrixHAL/CarrierTopics.h"

#include "Common/Helper/ErrorText.h"
#include "Common/Logging/HalLog.h"
#include "OSSpecific/Linux/System/Shell.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <exception>

namespace {

constexpr unsigned short kCommandTimeoutMs = 200;

CarrierCommInterface& Carrier(void* context) {
    return *static_cast<CarrierCommInterface*>(context);
}

std::uint8_t Byte(std::int32_t value) {
    return static_cast<std::uint8_t>(value);
}

// Amperes to the nearest whole number, in a byte: above 254 all is 255; what is no amperage is 0.
std::uint8_t RoundedThreshold(double amps) {
    if (!(amps > 0)) {
        return 0;
    }
    // Half an ampere is added and the rest cut off, so the largest double below 0.5 counts as 1; kept so.
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return amps > 254.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(amps + 0.5);
}

// The low 16 bits of the whole part, as far as that fits 32 bits; what is no amperage is 0.
std::uint16_t StoredThreshold(double amps) {
    constexpr double kMost = 4294967295.0;
    if (!(amps > 0)) {
        return 0;
    }
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(std::min(amps, kMost)));
}

template <std::size_t size>
void Send(CarrierCommInterface& carrier, CommCommands_t command, const std::array<std::uint8_t, size>& payload) {
    carrier.SendCommand(command, static_cast<unsigned int>(size), payload.data(), kCommandTimeoutMs);
}

void RestartForAdminAccess(EventClient& client) {
    HalLog::Warning("Rebooting system due to admin access request...");
    ::sync();
    if (!RunShell("shutdown -r now &")) {
        HalLog::Warning("The restart for the admin access request could not be issued");
    }
    PowerDownStatus status;
    status.set_isPoweringDown(true);
    status.set_nameOfCaller("HAL");
    status.set_reasonForPowerdown("Admin access status has been set");
    BusClient::Publish(client, "power_down_status", status);
}

}  // namespace

int PublishIdentity(EventClient& client, const HALInfo& info) {
    const int result = client.Publish("hal_info", info);
    if (result != 0) {
        const std::string reason = ErrorText(-result);
        HalLog::PrintError(result, "An error occurred while publishing HAL identity data.\n{}", reason);
        HalLog::Error("An error occurred while publishing HAL identity data. {}", reason);
    }
    return result;
}

void receiveHalInfoRequest(EventClient* client, VeltrixDataTypeBase* /*message*/, int /*reserved*/, void* context) {
    PublishIdentity(*client, *static_cast<const HALInfo*>(context));
}

void receiveSystemLedStatus(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    auto& status = static_cast<SystemLedStatus&>(*message);
    CarrierCommInterface& carrier = Carrier(context);
    if (status.get_doNotSendToCarrier()) {
        carrier.UpdateLocalLEDStates(&status);
        carrier.mForceLEDRefresh = true;
        return;
    }
    if (carrier.mFirmwareUpdateInProgress) {
        return;
    }
    carrier.SendLedUpdate(ethernetLED, status.get_ethernetIsUp());
    carrier.SendLedUpdate(wifiLED, status.get_wifiIsUp());
    carrier.SendLedUpdate(operatorLED, status.get_operatorIsUp());
    carrier.SendLedUpdate(internetQuery, status.get_internetQueried());
    carrier.SendLedUpdate(internetLED, status.get_internetIsUp());
    carrier.SendLedUpdate(usbAccessLED, status.get_isAccessingUSB());
    if (carrier.mForceLEDRefresh) {
        carrier.mForceLEDRefresh = false;
    }
}

void receiveLedSettings(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    if (HalGlobals::gInhibitLEDUpdatesDuringFileTransfer) {
        return;
    }
    const auto& settings = static_cast<const LedSettings&>(*message);
    Carrier(context).SendStrovanelLedSettings(Byte(settings.get_cloudGreenLed()), Byte(settings.get_cloudYellowLed()),
                                              Byte(settings.get_wifiGreenLed()), Byte(settings.get_wifiYellowLed()),
                                              Byte(settings.get_ethernetGreenLed()),
                                              Byte(settings.get_ethernetYellowLed()), Byte(settings.get_usbGreenLed()),
                                              Byte(settings.get_opIDGreenLed()), Byte(settings.get_opIDYellowLed()));
}

void receiveTessimorSettings(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    HalLog::PrintAlways("<<<<<< received Tessimor Settings message from VeltrixTessimor >>>>>>>>");
    const auto& settings = static_cast<const TessimorSettings&>(*message);
    Carrier(context).SendTessimorSettings(
        std::uint8_t{settings.get_is10KHzRawData()}, Byte(settings.get_currentSensorType()),
        std::uint8_t{settings.get_useWireFeedSensor()}, std::uint8_t{settings.get_useGasSensor()},
        Byte(settings.get_gasType()), Byte(settings.get_preWeldDataTenthSeconds()),
        Byte(settings.get_postWeldDataTenthSeconds()), Byte(std::min(settings.get_weldEndRequirementMSecs(), 255)),
        RoundedThreshold(settings.get_weldStartCurrentThresholdAmps()));
}

void receiveFileInfo(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    Carrier(context).DispatchCarrierFiles(static_cast<CarrierFileInfo&>(*message));
}

void receiveFirmwareEnd(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    HalLog::PrintAlways("<<<<<< Update Complete received by HAL >>>>>>>>");
    const auto& end = static_cast<const FirmwareUpdateEnd&>(*message);
    const auto phase = static_cast<std::uint8_t>(end.get_wasUpdateSuccessful() ? UpdatePhase_End : UpdatePhase_Fail);
    Send(Carrier(context), CommCommands_UpdatePhase, std::array<std::uint8_t, 2>{phase, 0});
}

void receiveAdminAccessStatus(EventClient* client, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    auto& settings = static_cast<AdminAccessSettings&>(*message);
    bool accepted = false;
    try {
        accepted = Carrier(context).SendAdminAccessStatus(settings);
    } catch (const std::exception& exception) {
        HalLog::Error("Admin access expiry date is no time: \"{}\" ({})", settings.get_expiryDate(), exception.what());
    }
    if (accepted) {
        RestartForAdminAccess(*client);
    }
}

void receiveIncomingCommands(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    auto& commands = static_cast<IncomingCommands&>(*message);
    if (commands.get_currentSensorTypeReceived()) {
        Carrier(context).SendServerCommands(commands);
    }
    if (const std::uint16_t threshold = StoredThreshold(commands.get_arcStartThreshold()); threshold != 0) {
        Carrier(context).UpdateStoredConfig(threshold);
    }
}

void receiveTimeSync(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* context) {
    const auto& sync = static_cast<const TimeSyncType&>(*message);
    if (!sync.get_receivedTimeFromCloud()) {
        return;
    }
    const DateTime timestamp = sync.get_serverTimestamp();
    const std::string text = timestamp.ToISO8601String();
    HalLog::Print(0, "Received time from Core - {}", text);
    HalLog::Info("Received {} from Core", text);
    const auto seconds = static_cast<std::time_t>(timestamp.GetSeconds());
    std::tm utc{};
    constexpr int kFirstYear = 2000 - 1900;  // the carrier's year is one byte from 2000 on
    if (::gmtime_r(&seconds, &utc) == nullptr || utc.tm_year < kFirstYear || utc.tm_year > kFirstYear + 255) {
        HalLog::Warning("Time {} from Core is outside the carrier's years and is not passed on", text);
        return;
    }
    timestampStruct stamp;
    stamp.year = Byte(utc.tm_year - kFirstYear);
    stamp.month = Byte(utc.tm_mon + 1);
    stamp.day = Byte(utc.tm_mday);
    stamp.hour = Byte(utc.tm_hour);
    stamp.minute = Byte(utc.tm_min);
    stamp.second = Byte(utc.tm_sec);
    HalLog::Info("Syncing Carrier to year {}, month {}, day {}. Hour {}, min {}, sec {}", stamp.year, stamp.month,
                 stamp.day, stamp.hour, stamp.minute, stamp.second);
    HalLog::Print(0, "Setting STM to time received from CORE");
    Send(Carrier(context), CommCommands_SetRTC, stamp.ToBytes());
}

void receiveDeviceSettingsRequest(EventClient* client, VeltrixDataTypeBase* /*message*/, int /*reserved*/,
                                  void* /*context*/) {
    DeviceSettings settings;
    settings.set_batteryVoltage(double{HalGlobals::g_batteryVoltage});
    BusClient::Publish(*client, "delayed_device_settings", settings);
}
