// The bodies of the process's threads besides the main one, and what guards them and the bus handlers.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <Veltrix/EventClient.h>

// Starts the check-in thread. It is never joined: it ends with the process at the latest. False, with a critical
// message in the log, when the system has no thread to give.
bool StartCheckInThread(EventClient& client);

// Starts the processing thread, likewise: every 5 ms one polling step of the link, until the process stops.
bool StartProcessingThread(CarrierCommInterface& carrier);

// The processing thread's body.
void Process(CarrierCommInterface* carrier);

// The check-in thread's body.
void CheckInUntilStopped(EventClient* client);

// Logs the exception that is being handled and the place, "<where><which>"; called in a catch-all, where nothing may
// get further.
void LogCurrentException(const char* where, const char* which = "") noexcept;
