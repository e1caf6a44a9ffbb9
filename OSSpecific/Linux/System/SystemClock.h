// The machine's wall clock. Tests link their own definition: no test may set a real clock.
#pragma once

#include <ctime>

// Sets CLOCK_REALTIME. Returns 0, or a positive errno.
int SetSystemClock(const timespec& time);
