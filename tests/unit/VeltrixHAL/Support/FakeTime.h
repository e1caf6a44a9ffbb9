// The clock of Common/Helper/SteadyTime.h in the hands of the test. A program that links this has the machine's own
// clock, unless a ControlledClock is alive.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

// Stands still but for the sleeps, each of which returns at once and moves the clock by what was asked for. One at a
// time; it outlives the threads that look at the clock.
class ControlledClock {
public:
    explicit ControlledClock(std::uint32_t startMs = 1'000'000);
    ~ControlledClock();
    ControlledClock(const ControlledClock&) = delete;
    ControlledClock& operator=(const ControlledClock&) = delete;

    // The clock's value, which wraps at 32 bits. Any thread.
    std::uint32_t NowMs() const;

    // How far the clock has moved since it was made. Any thread.
    std::uint64_t ElapsedMs() const;

    // Moves the clock. Any thread.
    void AdvanceMs(std::uint32_t milliseconds);

    // Runs `action` when the clock has moved so far since it was made, on the thread that moves it and with the clock
    // at just that time. Any thread; the time must lie ahead.
    void At(std::uint64_t elapsedMs, std::function<void()> action);

    // Runs `action` each time the clock is looked at, on the looking thread; null for no more. Set it before other
    // threads look. The action may look at the clock itself: that runs no further action.
    void WhenLookedAt(std::function<void()> action);

    // From now on a sleep moves the clock by at most so much, as if a signal had cut it short.
    void CutSleepsTo(std::uint32_t microseconds);

    // The sleeps in microseconds, oldest first, since the beginning or the last TakeSleeps. Any thread.
    std::vector<std::uint32_t> Sleeps() const;
    std::vector<std::uint32_t> TakeSleeps();

    // For the stand-ins themselves.
    std::uint32_t Look();
    void Sleep(std::uint32_t microseconds);

private:
    void AdvanceMicroseconds(std::uint64_t microseconds);

    const std::uint32_t mStartMs;
    mutable std::mutex mMutex;
    std::uint64_t mElapsedUs = 0;
    std::uint32_t mLongestSleepUs = UINT32_MAX;
    std::vector<std::uint32_t> mSleeps;
    std::function<void()> mWhenLookedAt;
    std::multimap<std::uint64_t, std::function<void()>> mActions;  // by elapsed microseconds
};
