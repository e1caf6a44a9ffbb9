#include "VeltrixHAL/HalGlobals.h"

std::atomic<bool> gKeepRunning{true};
std::atomic<bool> gCoreEnabled{false};

DateTime HalGlobals::gEndTimeOfLastWeld;
std::atomic<bool> HalGlobals::gIsWeldInProgress{false};
std::atomic<std::uint32_t> HalGlobals::gProcessHealth{0};
std::atomic<bool> HalGlobals::gInhibitLEDUpdatesDuringFileTransfer{false};
std::atomic<std::time_t> HalGlobals::g_TessimorUpdateTimer{std::time(nullptr)};
std::atomic<float> HalGlobals::g_batteryVoltage{0.0F};
