// Who this machine is, from its identity file.
#pragma once

#include <Veltrix/DataTypes.h>

#include <string>

inline constexpr const char* kDefaultIdentityFile = "/Veltrix/identity.config";

// Fills the record from the JSON file. 0: all of it; -1: the file lacks some or all of it, what it has was taken;
// -22: the file could not be opened. Failures are printed on standard error and logged.
int GetIdentityData(const std::string& fileName, HALInfo& info);
