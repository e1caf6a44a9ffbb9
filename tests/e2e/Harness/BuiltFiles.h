// Where the build has put what the tests start. Set by CMake.
#pragma once

constexpr const char* kHalExecutable = VELTRIX_HAL_EXECUTABLE;
constexpr const char* kClockGuardLibrary = VELTRIX_CLOCK_GUARD_LIBRARY;
