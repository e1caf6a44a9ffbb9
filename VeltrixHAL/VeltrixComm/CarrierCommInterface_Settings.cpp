// Settings and commands that other processes hand to the carrier.
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <mutex>
#include <string>

namespace {

// Fixed positions in "YYYY-MM-DDTHH:MM:SS.mmmZ". Throws what substr and stoi throw.
timestampStruct ParseExpiry(const std::string& text) {
    const auto number = [&text](std::size_t at, std::size_t count) { return std::stoi(text.substr(at, count)); };
    timestampStruct time;
    time.year = static_cast<std::uint8_t>(number(2, 2));
    time.month = static_cast<std::uint8_t>(number(5, 2));
    time.day = static_cast<std::uint8_t>(number(8, 2));
    time.hour = static_cast<std::uint8_t>(number(11, 2));
    time.minute = static_cast<std::uint8_t>(number(14, 2));
    time.second = static_cast<std::uint8_t>(number(17, 2));
    time.millisecond = static_cast<std::uint16_t>(number(20, 3));
    return time;
}

}  // namespace

std::mutex CarrierCommInterface::adminAccessMutex;
std::mutex CarrierCommInterface::serverCommandsMutex;

bool CarrierCommInterface::SendAdminAccessStatus(AdminAccessSettings& settings) {
    const std::unique_lock lock(adminAccessMutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        HalLog::Warning("Failed to get mutex for admin access");
        return false;
    }
    const std::string& expiry = settings.get_expiryDate();
    if (expiry.empty()) {
        return false;
    }
    const AdminAccessStruct access{ParseExpiry(expiry), settings.get_enableConsole(), settings.get_enableShell()};
    const auto payload = access.ToBytes();
    if (SendCommand(CommCommands_AdminAccess, static_cast<unsigned int>(payload.size()), payload.data(),
                    kCommandTimeoutMs) != commError_None) {
        HalLog::Warning("Failed to send Admin access request to Carrier");
        return false;
    }
    HalLog::Warning("Admin access info sent to Carrier. Console: {}, SSH: {}", access.consoleEnable,
                    access.shellEnable);
    return true;
}

void CarrierCommInterface::SendTessimorSettings(std::uint8_t is10KHzRawData, std::uint8_t currentSensorType,
                                                std::uint8_t useWireFeedSensor, std::uint8_t useGasSensor,
                                                std::uint8_t gasType, std::uint8_t preWeldDataTenthSeconds,
                                                std::uint8_t postWeldDataTenthSeconds,
                                                std::uint8_t weldEndRequirementMSecs,
                                                std::uint8_t weldStartCurrentThresholdAmps) {
    const auto payload = TessimorSettingsStruct{is10KHzRawData,
                                                currentSensorType,
                                                useWireFeedSensor,
                                                useGasSensor,
                                                gasType,
                                                preWeldDataTenthSeconds,
                                                postWeldDataTenthSeconds,
                                                weldEndRequirementMSecs,
                                                weldStartCurrentThresholdAmps}
                             .ToBytes();
    if (SendCommand(CommCommands_SetTessimorSettings, static_cast<unsigned int>(payload.size()), payload.data(),
                    kCommandTimeoutMs) == commError_None) {
        HalLog::Info("Tessimor Settings sent to Carrier.");
    } else {
        HalLog::Warning("Failed to send Tessimor Settings to Carrier");
    }
}

bool CarrierCommInterface::SendServerCommands(IncomingCommands& commands) {
    const std::unique_lock lock(serverCommandsMutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return false;
    }
    const auto sensor = static_cast<std::uint8_t>(commands.get_currentSensorType());
    if (SendCommand(CommCommands_CurrentSensorSelection, 1, &sensor, kCommandTimeoutMs) != commError_None) {
        HalLog::Info("Sensor config {} send failed", sensor);
        return false;
    }
    HalLog::Info("Sensor config {} sent", sensor);
    DeviceSettings settings;
    settings.set_currentSensorConfig(sensor + 1);
    settings.set_timestamp(DateTime::Now(0));
    BusClient::Publish(mClient, "device_settings", settings);
    return true;
}
