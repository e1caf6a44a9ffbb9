// The clock of Common/Helper/SteadyTime.h in the hands of a harness: it moves by what is slept, by what is read from
// the line and by what the harness says. One thread.
#pragma once

#include <cstdint>
#include <functional>

namespace FuzzClock {

// Starts anew at a value of the clock in milliseconds, with nobody looking at the sleeps.
void Reset(std::uint32_t startMs);

// Since the start.
std::uint64_t ElapsedUs();

void AdvanceUs(std::uint64_t microseconds);

// Called after each sleep with its length in microseconds.
void OnSleep(std::function<void(std::uint32_t microseconds)> watcher);

}  // namespace FuzzClock
