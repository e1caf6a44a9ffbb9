// Identity, state and life cycle of the machine and its processes, and what the carrier says about itself.
#pragma once

#include <Veltrix/DataTypeFields.h>

// "hal_info"
class HALInfo : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(HALInfo,                                //
                   (Required, std::string, serialNumber),  //
                   (Required, std::string, machineType),   //
                   (Required, std::uint32_t, revisionNumber))
};

// "req_hal_info", "req_delayed_device_settings": the topic says it all.
class RequestType : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(RequestType)
};

// "hal_status"
class HALStatus : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(HALStatus, (Required, bool, ready))
};

// "process_ready"
class ProcessReady : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(ProcessReady, (Required, std::uint32_t, index))
};

// "system_health"
class SystemHealth : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(SystemHealth,                          //
                   (Required, std::string, processName),  //
                   (Required, std::uint32_t, code))
};

// "power_down_status"
class PowerDownStatus : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(PowerDownStatus,                        //
                   (Required, bool, isPoweringDown),       //
                   (Required, std::string, nameOfCaller),  //
                   (Required, std::string, reasonForPowerdown))
};

// "carrier_file": a file that lies ready for the carrier; its size in bytes.
class CarrierFileInfo : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(CarrierFileInfo,                      //
                   (Required, std::uint32_t, fileSize),  //
                   (Required, std::string, fileName),    //
                   (Required, std::string, fileFullPath))
};

// "firmware_update_end"
class FirmwareUpdateEnd : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(FirmwareUpdateEnd, (Required, bool, wasUpdateSuccessful))
};

// "carrier_info"
class CarrierInfo : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(CarrierInfo,                                 //
                   (Optional, std::string, appVersion),         //
                   (Optional, std::string, bootloaderVersion),  //
                   (Required, std::uint32_t, HALVersion))
};

// "error_log"
class ErrorLogType : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(ErrorLogType,                      //
                   (Required, std::string, code),     //
                   (Required, std::string, message),  //
                   (Required, DateTime, timestamp))
};
