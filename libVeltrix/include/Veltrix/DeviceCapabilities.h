// What a machine can do and report. Not on the bus.
#pragma once

struct DeviceCapabilities {
    bool allowsFeederAttachment = false;
    bool realTimeStatusDrivenByEvents = false;
    bool reportsBatteryVoltage = false;
    bool reportsVolts = false;
    bool reportsAmps = false;
    bool reportsWireFeedSpeed = false;
    bool reportsProgramNumber = false;
    bool reportsProcess = false;
    bool reportsPowerSupplySerialNumber = false;
    bool reportsGasType = false;
    bool reportsWireAlloy = false;
    bool reportsWireDiameter = false;
    bool reportsLifetimeArcHours = false;
    bool reportsWeldEvents = false;
    bool reportsPower = false;
    bool reportsGasFlowRate = false;
};
