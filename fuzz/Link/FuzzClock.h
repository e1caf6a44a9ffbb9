// The clock of Common/Helper/SteadyTime.h in the hands of a harness: it moves by what is slept, by what is read from
// the line and by what the harness says. One thread.
#pragma once

#include <cstdint>
#include <functional>

namespace FuzzClock {

// Starts anew at a value of the clock in milliseconds, with nobody looking at the sleeps and no alarm.
void Reset(std::uint32_t startMs);

// Since the start.
std::uint64_t ElapsedUs();

void AdvanceUs(std::uint64_t microseconds);

// Calls `alarm` once, when the clock has come so far since the start, be it by a sleep or by a line that is never
// silent.
void SetAlarm(std::uint64_t elapsedUs, std::function<void()> alarm);
void CancelAlarm();

// Called after each sleep with its length in microseconds.
void OnSleep(std::function<void(std::uint32_t microseconds)> watcher);

}  // namespace FuzzClock
