// The machine's enumerations. Values run from 0 without gaps, so that tables of display names can be indexed by them;
// each ..._COUNT is the number of values before it.
#pragma once

enum PowerSupplyState {
    PowerSupplyState_POWER_ON = 0,
    PowerSupplyState_IDLE = 1,
    PowerSupplyState_ERROR = 2,
    PowerSupplyState_FIRMWARE_UPDATE = 3,
    PowerSupplyState_CONTACTOR_ENGAGED = 4,
    PowerSupplyState_WELDING = 5,
    PowerSupplyState_JOG = 6,
    PowerSupplyState_PURGE = 7,
    PowerSupplyState_CLONING_WRITE = 8,
    PowerSupplyState_CLONING_READ = 9,
    PowerSupplyState_LIBRARY_WRITE = 10,
    PowerSupplyState_LIBRARY_READ = 11,
    PowerSupplyState_COUNT
};

enum GenericErrorType {
    GenericErrorType_NONE = 0,
    GenericErrorType_INTERNAL = 1,
    GenericErrorType_TEMPERATURE = 2,
    GenericErrorType_DUTY_CYCLE_EXCEEDED = 3,
    GenericErrorType_INPUT_POWER_PRIMARY = 4,
    GenericErrorType_OUTPUT_POWER_SECONDARY = 5,
    GenericErrorType_COMMUNICATION = 6,
    GenericErrorType_POWER_SOURCE = 7,
    GenericErrorType_WIRE_FEEDER = 8,
    GenericErrorType_USER_INTERFACE = 9,
    GenericErrorType_USER_SETTINGS = 10,
    GenericErrorType_SYSTEM_DATA = 11,
    GenericErrorType_COUNT
};

enum PowerSupplyType {
    PowerSupplyType_UNKNOWN = 0,
    PowerSupplyType_MODEL_A = 1,
    PowerSupplyType_MODEL_B = 2,
    PowerSupplyType_MODEL_C = 3,
    PowerSupplyType_COUNT
};

enum FeederType {
    FeederType_NONE = 0,
    FeederType_MODEL_A = 1,
    FeederType_MODEL_B = 2,
    FeederType_MODEL_C = 3,
    FeederType_COUNT
};
