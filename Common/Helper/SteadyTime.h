// The link's only source of time, but for the pauses in which threads let each other have the line. Tests link their
// own definitions of these two and so control it.
#pragma once

#include <cstdint>

// The steady clock in milliseconds, cut to 32 bits: it wraps after about 49.7 days, so only differences,
// uint32_t(now - start), mean anything. Setting the system time does not touch it. Any thread.
std::uint32_t GetCurrentTimeSinceEpochInMilliseconds();

// Sleeps for at least so many microseconds; a signal may cut it short. Any thread.
void SleepMicroseconds(std::uint32_t microseconds);
