#include "OSSpecific/Linux/System/SystemClock.h"

#include <cerrno>

int SetSystemClock(const timespec& time) {
    return ::clock_settime(CLOCK_REALTIME, &time) == 0 ? 0 : errno;
}
