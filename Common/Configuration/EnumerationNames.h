// Texts for showing values of the platform's enumerations, indexed by the value. Check a value that came from outside
// against the table's size first.
#pragma once

#include <Veltrix/Enumerations.h>

#include <array>

inline constexpr auto kPowerSupplyStateNames =
    std::to_array<const char*>({"Power-on", "Idle", "Error", "Firmware-update", "Contactor-engaged", "Welding", "Jog",
                                "Purge", "Cloning-write", "Cloning-read", "Library-write", "Library-read"});

inline constexpr auto kGenericErrorTypeNames = std::to_array<const char*>(
    {"None", "Internal", "Temperature", "Duty-cycle-exceeded", "Input-power-(primary)", "Output-power-(secondary)",
     "Communication", "Power-source", "Wire-feeder", "User-interface", "User-settings", "Internal-system-data"});

inline constexpr auto kPowerSupplyTypeNames =
    std::to_array<const char*>({"Unknown", "Power-supply-A", "Power-supply-B", "Power-supply-C"});

inline constexpr auto kFeederTypeNames =
    std::to_array<const char*>({"None", "Wire-feeder-A", "Wire-feeder-B", "Wire-feeder-C"});

static_assert(kPowerSupplyStateNames.size() == PowerSupplyState_COUNT);
static_assert(kGenericErrorTypeNames.size() == GenericErrorType_COUNT);
static_assert(kPowerSupplyTypeNames.size() == PowerSupplyType_COUNT);
static_assert(kFeederTypeNames.size() == FeederType_COUNT);
