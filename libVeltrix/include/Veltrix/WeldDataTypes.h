// A weld as the machine's processes tell it to each other: start, samples, end.
#pragma once

#include <Veltrix/DataTypeFields.h>

// "weld_trigger_start": the weld's number and its start in seconds since the epoch.
class WeldTriggerStart : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(WeldTriggerStart,                          //
                   (Required, std::int32_t, tag),             //
                   (Required, std::int64_t, timestamp),       //
                   (Optional, std::string, settings, "N/A"),  //
                   (Optional, std::string, gas, "N/A"),       //
                   (Optional, std::string, alloy, "N/A"),     //
                   (Optional, std::string, wireType, "N/A"))
};

// One sample: amperes, volts, wire-feed speed in inches per minute.
class WeldTraceDataPoint : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(WeldTraceDataPoint,         //
                   (Required, double, amps),   //
                   (Required, double, volts),  //
                   (Required, double, wfs))
};

// "weld_trace_data"
class WeldTraceData : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(WeldTraceData,                       //
                   (Required, std::int32_t, sequence),  //
                   (Required, WeldTraceDataPoint, data))
};

class UnitValueDoublePair : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(UnitValueDoublePair,            //
                   (Required, std::string, unit),  //
                   (Required, double, value))
};

// The figures of a whole weld, each with its unit.
class WeldMetrics : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(WeldMetrics,                                       //
                   (Optional, UnitValueDoublePair, ArcDuration),      //
                   (Optional, UnitValueDoublePair, AverageVoltage),   //
                   (Optional, UnitValueDoublePair, AverageAmperage),  //
                   (Optional, UnitValueDoublePair, AverageWFS))
};

// "weld_trigger_end"
class WeldTriggerEnd : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(WeldTriggerEnd,                 //
                   (Required, std::int32_t, tag),  //
                   (Required, WeldMetrics, metrics))
};
