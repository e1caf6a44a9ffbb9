// Puts the process's shared words back to what they are at its start, before a test and after it.
#pragma once

#include <Veltrix/VeltrixErrorLog.h>

#include "VeltrixHAL/HalGlobals.h"

#include <ctime>

class GlobalsGuard {
public:
    GlobalsGuard() { Reset(); }
    ~GlobalsGuard() { Reset(); }
    GlobalsGuard(const GlobalsGuard&) = delete;
    GlobalsGuard& operator=(const GlobalsGuard&) = delete;

private:
    static void Reset() {
        gKeepRunning = true;
        gCoreEnabled = false;
        HalGlobals::gEndTimeOfLastWeld = DateTime();
        HalGlobals::gIsWeldInProgress = false;
        HalGlobals::gProcessHealth = 0;
        HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = false;
        HalGlobals::g_TessimorUpdateTimer = std::time(nullptr);
        HalGlobals::g_batteryVoltage = 0.0F;
        VeltrixErrorLog::gVerbosity = 0;
    }
};
