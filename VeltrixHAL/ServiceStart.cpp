#include "VeltrixHAL/ServiceStart.h"

#include "Common/Configuration/Configuration.h"
#include "Common/Helper/RootedPath.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/Subscriptions.h"
#include "VeltrixHAL/SystemMonitor.h"

namespace {

constexpr const char* kSettingsFile = "/Veltrix/settings.json";

void ReadSettings() {
    Configuration settings(RootedPath(kSettingsFile), false);
    bool core = false;
    settings.bGet("Core", core);
    gCoreEnabled = core;
}

void AnnounceReadiness(EventClient& client) {
    ProcessReady ready;
    ready.set_index(kProcessIndex);
    BusClient::Publish(client, "process_ready", ready);
}

}  // namespace

void StartService(EventClient& client, CarrierCommInterface& carrier, HALInfo& halInfo, HALStatus& halStatus) {
    ReadSettings();
    activateSubscriptions(client, carrier, halInfo, halStatus);
    HalGlobals::gEndTimeOfLastWeld = DateTime::Now(0);
    if (gKeepRunning) {
        AnnounceReadiness(client);
    }
}
