#pragma once

#include <cstddef>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// One direction of a serial wire: a start bit, eight data bits and a stop bit for each byte, one byte after the other.
// It only computes; who uses it waits. Not thread-safe.
class LinePacer {
public:
    // `baud` 0: no wire, every byte is through at once.
    explicit LinePacer(unsigned int baud) : mPerByte(baud == 0 ? Clock::duration{0} : TenBits(baud)) {}

    bool IsPaced() const { return mPerByte != Clock::duration{0}; }
    Clock::duration PerByte() const { return mPerByte; }

    // Puts `bytes` on the wire, not before `earliest`: the moment at which the first of them begins. The moment at
    // which the last one is through is then FreeAt().
    TimePoint Occupy(TimePoint earliest, std::size_t bytes) {
        const TimePoint start = earliest > mFreeAt ? earliest : mFreeAt;
        mFreeAt = start + mPerByte * static_cast<Clock::rep>(bytes);
        return start;
    }

    TimePoint FreeAt() const { return mFreeAt; }

private:
    static Clock::duration TenBits(unsigned int baud) {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(10)) / static_cast<Clock::rep>(baud);
    }

    Clock::duration mPerByte;
    TimePoint mFreeAt{};
};

}  // namespace simulator
