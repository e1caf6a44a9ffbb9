#include "fuzz/Link/FuzzClock.h"

#include "Common/Helper/SteadyTime.h"

#include <cstdint>
#include <limits>
#include <utility>

namespace {

std::uint32_t sStartMs = 0;
std::uint64_t sElapsedUs = 0;

std::function<void(std::uint32_t)>& Watcher() {
    static auto& watcher = *new std::function<void(std::uint32_t)>;
    return watcher;
}

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

std::uint64_t sAlarmUs = kNever;
std::function<void()>& Alarm() {
    static auto& alarm = *new std::function<void()>;
    return alarm;
}

}  // namespace

std::uint32_t GetCurrentTimeSinceEpochInMilliseconds() {
    return sStartMs + static_cast<std::uint32_t>(sElapsedUs / 1000);
}

void SleepMicroseconds(std::uint32_t microseconds) {
    FuzzClock::AdvanceUs(microseconds);
    if (Watcher()) {
        Watcher()(microseconds);
    }
}

namespace FuzzClock {

void Reset(std::uint32_t startMs) {
    sStartMs = startMs;
    sElapsedUs = 0;
    Watcher() = nullptr;
    CancelAlarm();
}

std::uint64_t ElapsedUs() {
    return sElapsedUs;
}

void AdvanceUs(std::uint64_t microseconds) {
    sElapsedUs += microseconds;
    if (sElapsedUs >= sAlarmUs) {
        sAlarmUs = kNever;
        Alarm()();
    }
}

void SetAlarm(std::uint64_t elapsedUs, std::function<void()> alarm) {
    Alarm() = std::move(alarm);
    sAlarmUs = elapsedUs;
}

void CancelAlarm() {
    sAlarmUs = kNever;
}

void OnSleep(std::function<void(std::uint32_t)> watcher) {
    Watcher() = std::move(watcher);
}

}  // namespace FuzzClock
