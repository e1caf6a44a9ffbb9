// What the main thread does between start and stop: deferred bus handlers in every pass, "hal_status" now and then.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>

class MainLoop {
public:
    // All three are the caller's and outlive the loop.
    MainLoop(EventClient& client, CarrierCommInterface& carrier, HALStatus& halStatus)
        : mClient(client), mCarrier(carrier), mHalStatus(halStatus) {}

    // A sleep of 5 ms and a pass, until the process stops.
    void Run();

    // One pass without its sleep. Every 1001st, about every 5 s, publishes whether the carrier was heard since the one
    // before; a publication that fails is a warning.
    void Pass();

    // Sleeps for 5 ms, whatever signals come.
    static void Sleep();

private:
    void PublishStatus();

    EventClient& mClient;
    CarrierCommInterface& mCarrier;
    HALStatus& mHalStatus;
    unsigned int mPasses = 0;
};
