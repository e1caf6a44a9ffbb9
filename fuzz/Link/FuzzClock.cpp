#include "fuzz/Link/FuzzClock.h"

#include "Common/Helper/SteadyTime.h"

#include <utility>

namespace {

std::uint32_t sStartMs = 0;
std::uint64_t sElapsedUs = 0;

std::function<void(std::uint32_t)>& Watcher() {
    static auto& watcher = *new std::function<void(std::uint32_t)>;
    return watcher;
}

}  // namespace

std::uint32_t GetCurrentTimeSinceEpochInMilliseconds() {
    return sStartMs + static_cast<std::uint32_t>(sElapsedUs / 1000);
}

void SleepMicroseconds(std::uint32_t microseconds) {
    sElapsedUs += microseconds;
    if (Watcher()) {
        Watcher()(microseconds);
    }
}

namespace FuzzClock {

void Reset(std::uint32_t startMs) {
    sStartMs = startMs;
    sElapsedUs = 0;
    Watcher() = nullptr;
}

std::uint64_t ElapsedUs() {
    return sElapsedUs;
}

void AdvanceUs(std::uint64_t microseconds) {
    sElapsedUs += microseconds;
}

void OnSleep(std::function<void(std::uint32_t)> watcher) {
    Watcher() = std::move(watcher);
}

}  // namespace FuzzClock
