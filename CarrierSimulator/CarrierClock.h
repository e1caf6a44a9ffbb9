#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// The carrier's UTC time as it travels: year since 2000, month, day, hour, minute, second, millisecond (16 bits, low
// byte first).
using TimeRecord = std::array<uint8_t, 8>;

// "2025-03-07T08:05:09.250Z" (also without milliseconds, and without the Z); nothing for what is no time from 2000 to
// 2255.
std::optional<TimeRecord> TimeRecordFromText(std::string_view text);

// "2025-03-07T08:05:09.250Z", whatever the fields hold.
std::string TextOf(const TimeRecord& time);

// True when every field is within its range.
bool IsTime(std::span<const uint8_t> record);

// The carrier's battery-backed clock: it runs along with the computer's time of day, or stands where it was put so that
// a test knows its bytes beforehand. Not thread-safe.
class CarrierClock {
public:
    // Runs from the computer's time of day.
    void Run();

    // Stands at that time.
    void Stand(const TimeRecord& time) { mFixed = time; }

    // Is set to that time: a clock that runs goes on from there, one that stands stands there.
    void Set(const TimeRecord& time);

    TimeRecord Now() const;

private:
    std::optional<TimeRecord> mFixed;
    std::chrono::nanoseconds mAhead{0};  // of the computer's time of day
};

}  // namespace simulator
