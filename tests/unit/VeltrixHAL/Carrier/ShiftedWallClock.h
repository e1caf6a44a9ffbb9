// The wall clock as clock_gettime tells it, moved as a setting would move it. Nothing sets a clock. The program must be
// linked with --wrap=clock_gettime, which leaves the shared libraries their own.
#pragma once

#include <ctime>

// One at a time.
class ShiftedWallClock {
public:
    ShiftedWallClock() = default;
    ~ShiftedWallClock();
    ShiftedWallClock(const ShiftedWallClock&) = delete;
    ShiftedWallClock& operator=(const ShiftedWallClock&) = delete;

    // It is this second now; the clock goes on from there.
    void MoveTo(std::time_t seconds);
};
