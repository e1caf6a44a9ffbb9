#include "VeltrixHAL/WeldEvents.h"

#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"

#include <Veltrix/DataTypes.h>

#include <cstdint>
#include <ctime>
#include <string>

namespace {

// ctime's text with its newline, in the machine's time zone. ctime_r would refuse years of five digits, which its
// buffer of 26 characters cannot hold; these handlers run on the main thread alone, so that ctime's own buffer is safe.
std::string TimeText(std::int64_t timestamp) {
    const auto time = static_cast<std::time_t>(timestamp);
    const char* const text = time == timestamp ? std::ctime(&time) : nullptr;
    return text == nullptr ? "(invalid time)\n" : text;
}

}  // namespace

// The four texts that describe the weld (settings, gas, alloy, wire type; "N/A" where unknown) lead to nothing here.
void receiveWeldTriggerStart(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/,
                             void* /*context*/) {
    const auto& start = static_cast<const WeldTriggerStart&>(*message);
    HalGlobals::gIsWeldInProgress = true;
    const std::string time = TimeText(start.get_timestamp());
    HalLog::Print(1, "Weld Start {}  Time: {}", start.get_tag(), time);
    HalLog::Info("Weld started at {}", time);
}

void receiveWeldData(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* /*context*/) {
    const auto& trace = static_cast<const WeldTraceData&>(*message);
    const WeldTraceDataPoint& point = trace.get_data();
    HalLog::Print(2, "Sample: {}, Voltage: {:g}, Current: {:g}, WFS: {:g}", trace.get_sequence(), point.get_volts(),
                  point.get_amps(), point.get_wfs());
}

void receiveWeldTriggerEnd(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* /*context*/) {
    const auto& end = static_cast<const WeldTriggerEnd&>(*message);
    HalGlobals::gIsWeldInProgress = false;
    HalGlobals::gEndTimeOfLastWeld = DateTime::Now(0);
    const WeldMetrics& metrics = end.get_metrics();
    HalLog::Print(1, "Weld {} End", end.get_tag());
    HalLog::Info("Weld {} ended. Duration is {}s. Averages are {} Volts, {} Amps, {} IPM ", end.get_tag(),
                 metrics.get_ArcDuration().get_value(), metrics.get_AverageVoltage().get_value(),
                 metrics.get_AverageAmperage().get_value(), metrics.get_AverageWFS().get_value());
}
