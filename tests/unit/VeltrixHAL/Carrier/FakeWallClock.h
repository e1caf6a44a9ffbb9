// The wall clock's seconds, as time() tells them, in the hands of the test. A program that links this has the machine's
// own, unless one of these is alive. Nothing sets a clock.
#pragma once

#include <ctime>

// One at a time.
class FakeWallClock {
public:
    explicit FakeWallClock(std::time_t seconds);
    ~FakeWallClock();
    FakeWallClock(const FakeWallClock&) = delete;
    FakeWallClock& operator=(const FakeWallClock&) = delete;

    void MoveTo(std::time_t seconds);
};
