// Every data type of the bus.
#pragma once

#include <Veltrix/MachineDataTypes.h>   // IWYU pragma: export
#include <Veltrix/SettingsDataTypes.h>  // IWYU pragma: export
#include <Veltrix/WeldDataTypes.h>      // IWYU pragma: export
