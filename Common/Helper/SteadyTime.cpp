#include "Common/Helper/SteadyTime.h"

#include <unistd.h>

#include <chrono>

std::uint32_t GetCurrentTimeSinceEpochInMilliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void SleepMicroseconds(std::uint32_t microseconds) {
    ::usleep(microseconds);  // can only fail by being interrupted, which only a stop does
}
