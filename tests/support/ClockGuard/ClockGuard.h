// Keeps a process from setting this computer's clock: preloaded (LD_PRELOAD), it stands in for every call of the C
// library that sets or steers the clock.
//
// VELTRIX_CLOCK_GUARD_LOG    file to which each setting that was asked for is appended, one line "seconds.nanoseconds"
// VELTRIX_CLOCK_GUARD_ERRNO  makes the calls fail: a number, or EPERM, EINVAL or EFAULT
//
// The clock stays untouched with neither of them set.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// 1. For dlsym(RTLD_DEFAULT, "VeltrixClockGuardIsLoaded"): a test that may set the clock refuses to run without it.
int VeltrixClockGuardIsLoaded(void);

#ifdef __cplusplus
}
#endif
