#include "tests/unit/VeltrixHAL/Support/FakeTime.h"

#include "Common/Helper/SteadyTime.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace {

std::atomic<ControlledClock*> sClock{nullptr};

}  // namespace

std::uint32_t GetCurrentTimeSinceEpochInMilliseconds() {
    if (ControlledClock* const clock = sClock.load(); clock != nullptr) {
        return clock->Look();
    }
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void SleepMicroseconds(std::uint32_t microseconds) {
    if (ControlledClock* const clock = sClock.load(); clock != nullptr) {
        clock->Sleep(microseconds);
        std::this_thread::yield();
        return;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

ControlledClock::ControlledClock(std::uint32_t startMs) : mStartMs(startMs) {
    if (sClock.exchange(this) != nullptr) {
        std::fputs("Two clocks are controlled at the same time\n", stderr);
        std::abort();
    }
}

ControlledClock::~ControlledClock() {
    sClock = nullptr;
}

std::uint32_t ControlledClock::NowMs() const {
    return mStartMs + static_cast<std::uint32_t>(ElapsedMs());
}

std::uint64_t ControlledClock::ElapsedMs() const {
    const std::lock_guard lock(mMutex);
    return mElapsedUs / 1000;
}

void ControlledClock::AdvanceMs(std::uint32_t milliseconds) {
    AdvanceMicroseconds(std::uint64_t{milliseconds} * 1000);
}

void ControlledClock::At(std::uint64_t elapsedMs, std::function<void()> action) {
    const std::lock_guard lock(mMutex);
    mActions.emplace(elapsedMs * 1000, std::move(action));
}

void ControlledClock::WhenLookedAt(std::function<void()> action) {
    const std::lock_guard lock(mMutex);
    mWhenLookedAt = std::move(action);
}

void ControlledClock::CutSleepsTo(std::uint32_t microseconds) {
    const std::lock_guard lock(mMutex);
    mLongestSleepUs = microseconds;
}

std::uint32_t ControlledClock::Look() {
    static thread_local bool isInAction = false;
    if (!isInAction) {
        std::function<void()> action;
        {
            const std::lock_guard lock(mMutex);
            action = mWhenLookedAt;
        }
        if (action) {
            isInAction = true;
            action();
            isInAction = false;
        }
    }
    return NowMs();
}

std::vector<std::uint32_t> ControlledClock::Sleeps() const {
    const std::lock_guard lock(mMutex);
    return mSleeps;
}

std::vector<std::uint32_t> ControlledClock::TakeSleeps() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mSleeps, {});
}

void ControlledClock::Sleep(std::uint32_t microseconds) {
    std::uint32_t slept = 0;
    {
        const std::lock_guard lock(mMutex);
        mSleeps.push_back(microseconds);
        slept = std::min(microseconds, mLongestSleepUs);
    }
    AdvanceMicroseconds(slept);
}

void ControlledClock::AdvanceMicroseconds(std::uint64_t microseconds) {
    std::unique_lock lock(mMutex);
    const std::uint64_t end = mElapsedUs + microseconds;
    while (!mActions.empty() && mActions.begin()->first <= end) {
        const auto next = mActions.extract(mActions.begin());
        mElapsedUs = std::max(mElapsedUs, next.key());
        lock.unlock();
        next.mapped()();
        lock.lock();
    }
    mElapsedUs = std::max(mElapsedUs, end);
}
