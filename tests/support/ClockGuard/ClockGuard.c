#include "tests/support/ClockGuard/ClockGuard.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <time.h>
#include <unistd.h>

#define INTERCEPTOR __attribute__((visibility("default")))

static int NamedErrno(const char* name) {
    if (strcmp(name, "EPERM") == 0) {
        return EPERM;
    }
    if (strcmp(name, "EINVAL") == 0) {
        return EINVAL;
    }
    if (strcmp(name, "EFAULT") == 0) {
        return EFAULT;
    }
    return atoi(name);
}

static void Append(int64_t seconds, int64_t nanoseconds) {
    const char* path = getenv("VELTRIX_CLOCK_GUARD_LOG");
    if (path == NULL || path[0] == '\0') {
        return;
    }
    char line[64];
    const int length = snprintf(line, sizeof line, "%lld.%09lld\n", (long long)seconds, (long long)nanoseconds);
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    // One write per line, so that lines of several threads never mix. A line that cannot be written ends the process:
    // a test must not take a lost record for a clock that nobody set.
    if (file < 0 || write(file, line, (size_t)length) != length) {
        abort();
    }
    close(file);
}

static int Answer(int64_t seconds, int64_t nanoseconds) {
    Append(seconds, nanoseconds);
    const char* failure = getenv("VELTRIX_CLOCK_GUARD_ERRNO");
    const int code = (failure == NULL || failure[0] == '\0') ? 0 : NamedErrno(failure);
    if (code != 0) {
        errno = code;
        return -1;
    }
    return 0;
}

static int AnswerAdjustment(const struct timex* adjustment) {
    if (adjustment->modes == 0) {  // only asked for the state, which no test needs
        return TIME_OK;
    }
    return Answer((int64_t)adjustment->time.tv_sec, (int64_t)adjustment->time.tv_usec);
}

INTERCEPTOR int VeltrixClockGuardIsLoaded(void) {
    return 1;
}

INTERCEPTOR int clock_settime(clockid_t clock, const struct timespec* time) {
    if (clock != CLOCK_REALTIME) {
        errno = EINVAL;  // as the system would: no other clock can be set
        return -1;
    }
    return Answer((int64_t)time->tv_sec, (int64_t)time->tv_nsec);
}

INTERCEPTOR int settimeofday(const struct timeval* time, const struct timezone* zone) {
    (void)zone;
    return time == NULL ? Answer(0, 0) : Answer((int64_t)time->tv_sec, (int64_t)time->tv_usec * 1000);
}

INTERCEPTOR int stime(const time_t* time) {
    return Answer((int64_t)*time, 0);
}

INTERCEPTOR int adjtime(const struct timeval* delta, struct timeval* old) {
    if (old != NULL) {
        memset(old, 0, sizeof *old);
    }
    return delta == NULL ? 0 : Answer((int64_t)delta->tv_sec, (int64_t)delta->tv_usec * 1000);
}

INTERCEPTOR int adjtimex(struct timex* adjustment) {
    return AnswerAdjustment(adjustment);
}

INTERCEPTOR int ntp_adjtime(struct timex* adjustment) {
    return AnswerAdjustment(adjustment);
}

INTERCEPTOR int clock_adjtime(clockid_t clock, struct timex* adjustment) {
    (void)clock;
    return AnswerAdjustment(adjustment);
}
