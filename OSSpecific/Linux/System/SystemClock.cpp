#include "OSSpecific/Linux/System/SystemClock.h"

#include <cerrno>
#include <ctime>

static_assert(sizeof(std::time_t) == 8, "times beyond 2038 on every processor");

int SetSystemClock(const timespec& time) {
    return ::clock_settime(CLOCK_REALTIME, &time) == 0 ? 0 : errno;
}
