#include "VeltrixHAL/Subscriptions.h"

#include "Common/Helper/ErrorText.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/CarrierTopics.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/SystemMonitor.h"
#include "VeltrixHAL/Threads.h"
#include "VeltrixHAL/WeldEvents.h"

namespace {

// The library reads messages into copies of these until the very end of the process: never destroyed.
template <typename DataType>
const VeltrixDataTypeBase& Prototype() {
    static const DataType& prototype = *new DataType;
    return prototype;
}

// What stands around every handler: nothing new is begun while the process stops, and no exception gets out.
template <EventClient::Handler handler>
void Guarded(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context) {
    if (!gKeepRunning) {
        return;
    }
    try {
        handler(client, message, reserved, context);
    } catch (...) {
        LogCurrentException("a bus handler");
    }
}

enum class Context { None, Identity, Carrier };
enum class Run { OnArrival, Deferred };

// What a failed subscription says. `subject` names it; the forms differ because tools search logs for them.
enum class FailureText {
    PrintedAndLogged,      // "... to <subject>." on standard error, "... to <subject>. <reason>" in the log
    LoggedWithoutStop,     // the same without the full stop in the log
    LoggedWithTopicAlone,  // only "... to <topic>." in the log
};

struct Subscription {
    const char* topic;
    const VeltrixDataTypeBase& prototype;
    Context context;
    Run run;
    EventClient::Handler handler;
    FailureText failure;
    const char* subject;
};

void ReportFailure(const Subscription& subscription, int result) {
    if (subscription.failure == FailureText::LoggedWithTopicAlone) {
        HalLog::Error("An error occurred while subscribing to {}.", subscription.topic);
        return;
    }
    const std::string reason = ErrorText(-result);
    HalLog::PrintError(result, "An error occurred while subscribing to {}.\n{}", subscription.subject, reason);
    HalLog::Error("An error occurred while subscribing to {}{} {}", subscription.subject,
                  subscription.failure == FailureText::LoggedWithoutStop ? "" : ".", reason);
}

}  // namespace

void activateSubscriptions(EventClient& client, CarrierCommInterface& carrier, HALInfo& halInfo,
                           HALStatus& /*halStatus*/) {
    using enum Context;
    using enum Run;
    using enum FailureText;
    const Subscription subscriptions[] = {
        {"req_hal_info", Prototype<RequestType>(), Identity, OnArrival, Guarded<receiveHalInfoRequest>,
         PrintedAndLogged, "HalIdentityRequest"},
        {"power_down_status", Prototype<PowerDownStatus>(), None, Deferred, Guarded<receivePowerDownStatus>,
         LoggedWithTopicAlone, ""},
        {"weld_trigger_start", Prototype<WeldTriggerStart>(), None, Deferred, Guarded<receiveWeldTriggerStart>,
         PrintedAndLogged, "WeldTriggerStart"},
        {"weld_trace_data", Prototype<WeldTraceData>(), None, Deferred, Guarded<receiveWeldData>, PrintedAndLogged,
         "WeldTraceDataPoint"},
        {"weld_trigger_end", Prototype<WeldTriggerEnd>(), None, Deferred, Guarded<receiveWeldTriggerEnd>,
         LoggedWithoutStop, "WeldTriggerEnd"},
        {"system_led_status", Prototype<SystemLedStatus>(), Carrier, Deferred, Guarded<receiveSystemLedStatus>,
         PrintedAndLogged, "system_led_Status"},
        {"led_settings", Prototype<LedSettings>(), Carrier, Deferred, Guarded<receiveLedSettings>, PrintedAndLogged,
         "LED_SETTINGS_TYPE"},
        {"tessimor_settings", Prototype<TessimorSettings>(), Carrier, Deferred, Guarded<receiveTessimorSettings>,
         PrintedAndLogged, "TESSIMOR_SETTINGS_TYPE"},
        {"carrier_file", Prototype<CarrierFileInfo>(), Carrier, Deferred, Guarded<receiveFileInfo>, PrintedAndLogged,
         "carrier_file"},
        {"firmware_update_end", Prototype<FirmwareUpdateEnd>(), Carrier, Deferred, Guarded<receiveFirmwareEnd>,
         PrintedAndLogged, "firmware_update_end"},
        {"admin_access", Prototype<AdminAccessSettings>(), Carrier, Deferred, Guarded<receiveAdminAccessStatus>,
         PrintedAndLogged, "admin_access"},
        {"incoming_commands", Prototype<IncomingCommands>(), Carrier, Deferred, Guarded<receiveIncomingCommands>,
         PrintedAndLogged, "incoming_commands"},
        {"time_sync", Prototype<TimeSyncType>(), Carrier, Deferred, Guarded<receiveTimeSync>, PrintedAndLogged,
         "time_sync"},
        {"system_health", Prototype<SystemHealth>(), None, Deferred, Guarded<receiveSystemHealth>, LoggedWithTopicAlone,
         ""},
        {"req_delayed_device_settings", Prototype<RequestType>(), None, Deferred, Guarded<receiveDeviceSettingsRequest>,
         LoggedWithTopicAlone, ""},
    };

    PublishIdentity(client, halInfo);
    for (const Subscription& subscription : subscriptions) {
        if (!gKeepRunning) {
            return;
        }
        void* const context = subscription.context == Identity  ? static_cast<void*>(&halInfo)
                              : subscription.context == Carrier ? static_cast<void*>(&carrier)
                                                                : nullptr;
        const int result = client.Subscribe(subscription.topic, subscription.handler, &subscription.prototype, context,
                                            subscription.run == Deferred);
        if (result != 0) {
            ReportFailure(subscription, result);
        }
    }
}
