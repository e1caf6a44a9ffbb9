#include "VeltrixHAL/Subscriptions.h"

#include "Common/Helper/ErrorText.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/CarrierTopics.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/SystemMonitor.h"
#include "VeltrixHAL/Threads.h"
#include "VeltrixHAL/WeldEvents.h"

#include <algorithm>
#include <cstddef>

namespace {

using BusHandler = void (*)(EventClient*, VeltrixDataTypeBase*, int, void*);

// The library reads messages into copies of these until the very end of the process: never destroyed.
template <typename DataType>
const VeltrixDataTypeBase& Prototype() {
    static const DataType& prototype = *new DataType;
    return prototype;
}

// A topic as a template argument.
template <std::size_t size>
struct Topic {
    consteval Topic(const char (&literal)[size]) {  // rows pass literals
        std::copy_n(literal, size, text);
    }
    char text[size];
};

// What stands around every handler: nothing new is begun while the process stops, and no exception gets out.
template <Topic topic, BusHandler handler>
void Guarded(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context) {
    if (!gKeepRunning) {
        return;
    }
    try {
        handler(client, message, reserved, context);
    } catch (...) {
        LogCurrentException("the handler of ", topic.text);
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
    BusHandler handler;
    FailureText failure;
    const char* subject;
};

template <Topic topic, typename DataType, BusHandler handler>
Subscription On(Context context, Run run, FailureText failure, const char* subject) {
    return {topic.text, Prototype<DataType>(), context, run, Guarded<topic, handler>, failure, subject};
}

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
        On<"req_hal_info", RequestType, receiveHalInfoRequest>(Identity, OnArrival, PrintedAndLogged,
                                                               "HalIdentityRequest"),
        On<"power_down_status", PowerDownStatus, receivePowerDownStatus>(None, Deferred, LoggedWithTopicAlone, ""),
        On<"weld_trigger_start", WeldTriggerStart, receiveWeldTriggerStart>(None, Deferred, PrintedAndLogged,
                                                                            "WeldTriggerStart"),
        On<"weld_trace_data", WeldTraceData, receiveWeldData>(None, Deferred, PrintedAndLogged, "WeldTraceDataPoint"),
        On<"weld_trigger_end", WeldTriggerEnd, receiveWeldTriggerEnd>(None, Deferred, LoggedWithoutStop,
                                                                      "WeldTriggerEnd"),
        On<"system_led_status", SystemLedStatus, receiveSystemLedStatus>(Carrier, Deferred, PrintedAndLogged,
                                                                         "system_led_Status"),
        On<"led_settings", LedSettings, receiveLedSettings>(Carrier, Deferred, PrintedAndLogged, "LED_SETTINGS_TYPE"),
        On<"tessimor_settings", TessimorSettings, receiveTessimorSettings>(Carrier, Deferred, PrintedAndLogged,
                                                                           "TESSIMOR_SETTINGS_TYPE"),
        On<"carrier_file", CarrierFileInfo, receiveFileInfo>(Carrier, Deferred, PrintedAndLogged, "carrier_file"),
        On<"firmware_update_end", FirmwareUpdateEnd, receiveFirmwareEnd>(Carrier, Deferred, PrintedAndLogged,
                                                                         "firmware_update_end"),
        On<"admin_access", AdminAccessSettings, receiveAdminAccessStatus>(Carrier, Deferred, PrintedAndLogged,
                                                                          "admin_access"),
        On<"incoming_commands", IncomingCommands, receiveIncomingCommands>(Carrier, Deferred, PrintedAndLogged,
                                                                           "incoming_commands"),
        On<"time_sync", TimeSyncType, receiveTimeSync>(Carrier, Deferred, PrintedAndLogged, "time_sync"),
        On<"system_health", SystemHealth, receiveSystemHealth>(None, Deferred, LoggedWithTopicAlone, ""),
        On<"req_delayed_device_settings", RequestType, receiveDeviceSettingsRequest>(None, Deferred,
                                                                                     LoggedWithTopicAlone, ""),
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
