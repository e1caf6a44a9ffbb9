// Texts for showing values of the platform's enumerations, indexed by the value. Check a value that came from outside
// against the enumeration's _COUNT first.
#pragma once

#include <Veltrix/Enumerations.h>

#include <array>

extern const std::array<const char*, PowerSupplyState_COUNT> kPowerSupplyStateNames;
extern const std::array<const char*, GenericErrorType_COUNT> kGenericErrorTypeNames;
extern const std::array<const char*, PowerSupplyType_COUNT> kPowerSupplyTypeNames;
extern const std::array<const char*, FeederType_COUNT> kFeederTypeNames;
