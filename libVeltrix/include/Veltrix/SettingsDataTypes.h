// LED states and settings, sensor and device settings, access and time: what other processes tell the machine.
#pragma once

#include <Veltrix/DataTypeFields.h>

// "system_led_status"
class SystemLedStatus : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(SystemLedStatus,                    //
                   (Required, bool, ethernetIsUp),     //
                   (Required, bool, wifiIsUp),         //
                   (Required, bool, operatorIsUp),     //
                   (Required, bool, internetIsUp),     //
                   (Required, bool, internetQueried),  //
                   (Required, bool, isAccessingUSB),   //
                   (Required, bool, doNotSendToCarrier))
};

// "led_settings"
class LedSettings : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(LedSettings,                                  //
                   (Required, std::int32_t, cloudGreenLed),      //
                   (Required, std::int32_t, cloudYellowLed),     //
                   (Required, std::int32_t, wifiGreenLed),       //
                   (Required, std::int32_t, wifiYellowLed),      //
                   (Required, std::int32_t, ethernetGreenLed),   //
                   (Required, std::int32_t, ethernetYellowLed),  //
                   (Required, std::int32_t, usbGreenLed),        //
                   (Required, std::int32_t, opIDGreenLed),       //
                   (Required, std::int32_t, opIDYellowLed))
};

// "tessimor_settings": units are in the names.
class TessimorSettings : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(TessimorSettings,                                    //
                   (Required, bool, is10KHzRawData),                    //
                   (Required, std::int32_t, currentSensorType),         //
                   (Required, bool, useWireFeedSensor),                 //
                   (Required, bool, useGasSensor),                      //
                   (Required, std::int32_t, gasType),                   //
                   (Required, std::int32_t, preWeldDataTenthSeconds),   //
                   (Required, std::int32_t, postWeldDataTenthSeconds),  //
                   (Required, std::int32_t, weldEndRequirementMSecs),   //
                   (Required, double, weldStartCurrentThresholdAmps))
};

// "admin_access": the expiry date is an ISO 8601 text, not checked here.
class AdminAccessSettings : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(AdminAccessSettings,                  //
                   (Required, std::string, expiryDate),  //
                   (Required, bool, enableConsole),      //
                   (Required, bool, enableShell))
};

// "incoming_commands": the threshold is in amperes.
class IncomingCommands : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(IncomingCommands,                             //
                   (Required, bool, currentSensorTypeReceived),  //
                   (Required, std::int32_t, currentSensorType),  //
                   (Required, double, arcStartThreshold))
};

// "time_sync"
class TimeSyncType : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(TimeSyncType,                           //
                   (Required, DateTime, serverTimestamp),  //
                   (Required, bool, receivedTimeFromCloud))
};

// "device_settings", "delayed_device_settings": volts and amperes.
class DeviceSettings : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(DeviceSettings,                                 //
                   (Optional, double, batteryVoltage),             //
                   (Optional, std::int32_t, currentSensorConfig),  //
                   (Optional, std::int32_t, arcStartThreshold),    //
                   (Optional, DateTime, timestamp))
};
