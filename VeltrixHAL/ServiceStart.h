// The last steps of the start: from the settings to the announcement that the process is ready.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>

// Reads the settings, makes the subscriptions, takes now for the end of the last weld and publishes "process_ready".
// None of it waits for another's success: what fails is logged where it fails. A stop of the process leaves out the
// subscriptions that are still to be made, and then the announcement. Main thread; all arguments must live as long as
// the process.
void StartService(EventClient& client, CarrierCommInterface& carrier, HALInfo& halInfo, HALStatus& halStatus);
