#include "tests/unit/VeltrixHAL/Carrier/FakeWallClock.h"

#include <atomic>

namespace {

constexpr std::time_t kReal = -1;
std::atomic<std::time_t> sSeconds{kReal};

}  // namespace

// Stands in for the C library's.
extern "C" std::time_t time(std::time_t* result) noexcept {
    std::time_t seconds = sSeconds;
    if (seconds == kReal) {
        std::timespec now{};
        std::timespec_get(&now, TIME_UTC);
        seconds = now.tv_sec;
    }
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

FakeWallClock::FakeWallClock(std::time_t seconds) {
    MoveTo(seconds);
}

FakeWallClock::~FakeWallClock() {
    sSeconds = kReal;
}

void FakeWallClock::MoveTo(std::time_t seconds) {
    sSeconds = seconds;
}
