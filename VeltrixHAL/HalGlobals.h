// What the threads of the process share: the stop flag, the link's health and a few words of machine state.
#pragma once

#include <Veltrix/DateTime.h>

#include <atomic>
#include <cstdint>
#include <ctime>

// Cleared by the signal handler or an announced power-down; every loop of the process ends when it is false.
extern std::atomic<bool> gKeepRunning;

// The setting "Core": whether the module's clock is set from the carrier's.
extern std::atomic<bool> gCoreEnabled;

static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler stores into gKeepRunning");

class HalGlobals {
public:
    HalGlobals() = delete;

    // Bits of gProcessHealth.
    static constexpr std::uint32_t kHealthFramePrepared = 0x10;
    static constexpr std::uint32_t kHealthPortPolled = 0x20;

    // When the last weld ended. Main thread only.
    static DateTime gEndTimeOfLastWeld;

    static std::atomic<bool> gIsWeldInProgress;

    // What the link did since the last successful check-in; see the bits above.
    static std::atomic<std::uint32_t> gProcessHealth;

    // LED settings stay off the link while a file goes to the carrier.
    static std::atomic<bool> gInhibitLEDUpdatesDuringFileTransfer;

    // Wall-clock seconds of the last health message of the Tessimor process; at first the start of this process.
    static std::atomic<std::time_t> g_TessimorUpdateTimer;

    // Last battery voltage that the carrier reported, in volts.
    static std::atomic<float> g_batteryVoltage;
};
