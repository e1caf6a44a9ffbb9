#include "tests/unit/VeltrixHAL/Carrier/ShiftedWallClock.h"

#include <atomic>

extern "C" {
int RealClockGetTime(clockid_t clock, timespec* now) noexcept asm("__real_clock_gettime");
int ClockGetTimeShifted(clockid_t clock, timespec* now) noexcept asm("__wrap_clock_gettime");
}

namespace {

std::atomic<std::time_t> sShift{0};

}  // namespace

int ClockGetTimeShifted(clockid_t clock, timespec* now) noexcept {
    const int result = RealClockGetTime(clock, now);
    if (result == 0 && clock == CLOCK_REALTIME) {
        now->tv_sec += sShift;
    }
    return result;
}

ShiftedWallClock::~ShiftedWallClock() {
    sShift = 0;
}

void ShiftedWallClock::MoveTo(std::time_t seconds) {
    timespec now{};
    RealClockGetTime(CLOCK_REALTIME, &now);
    sShift = seconds - now.tv_sec;
}
