// Preloaded (LD_PRELOAD) into a process: makes calls of the C library fail as they fail on a machine in trouble, while
// a test asks for it. Everything that is not asked for goes on to the next library. For 64-bit systems.
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include "tests/support/MachineFaults/MachineFaultSlots.h"

#define INTERCEPTOR __attribute__((visibility("default")))
// The same call of the next library. ISO C has no conversion from what dlsym gives to a function.
#define NEXT(name)                                              \
    static __typeof__(&(name)) next;                            \
    if (next == NULL) {                                         \
        void* const found = dlsym(RTLD_NEXT, #name);            \
        memcpy((void*)&next, (const void*)&found, sizeof next); \
    }

static int64_t* sSlots;

__attribute__((constructor)) static void Map(void) {
    const char* const path = getenv("VELTRIX_MACHINE_FAULTS");
    if (path == NULL) {
        return;
    }
    const int file = open(path, O_RDWR | O_CLOEXEC);
    const size_t size = MachineFaultSlot_Count * sizeof(int64_t);
    void* const slots = file < 0 ? MAP_FAILED : mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (slots == MAP_FAILED) {
        abort();  // a fault that never comes would make a test pass
    }
    close(file);
    sSlots = slots;
}

static int64_t Slot(enum MachineFaultSlot slot) {
    return sSlots == NULL ? 0 : __atomic_load_n(&sSlots[slot], __ATOMIC_SEQ_CST);
}

static int Suffer(int code) {
    __atomic_add_fetch(&sSlots[MachineFaultSlot_Hits], 1, __ATOMIC_SEQ_CST);
    errno = code;
    return -1;
}

// Takes one of so many, if any are left.
static int Take(enum MachineFaultSlot slot) {
    int64_t left = Slot(slot);
    while (left > 0 &&
           !__atomic_compare_exchange_n(&sSlots[slot], &left, left - 1, 0, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) {
    }
    return left > 0;
}

static int IsOfTheMachine(const char* path) {
    const char* const root = getenv("VELTRIX_ROOT");
    const size_t length = root == NULL ? 0 : strlen(root);
    return length != 0 && strncmp(path, root, length) == 0 && strncmp(path + length, "/Veltrix/", 9) == 0;
}

static int IsFileOfTheMachine(int descriptor) {
    char link[64];
    char path[PATH_MAX];
    snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t size = readlink(link, path, sizeof path - 1);
    path[size < 0 ? 0 : size] = '\0';
    return IsOfTheMachine(path);
}

static int IsRefused(const char* path) {
    return Slot(MachineFaultSlot_IsReadOnly) != 0 && IsOfTheMachine(path);
}

static int AreDescriptorsUsedUp(void) {
    return Slot(MachineFaultSlot_IsUsedUp) != 0;
}

static int IsChange(int flags) {
    return (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
}

INTERCEPTOR ssize_t write(int descriptor, const void* data, size_t size) {
    NEXT(write)
    if (sSlots != NULL) {
        if ((Slot(MachineFaultSlot_ShortWrites) | Slot(MachineFaultSlot_RefusedWrites)) > 0 && isatty(descriptor)) {
            if (Take(MachineFaultSlot_RefusedWrites)) {
                return Suffer(EAGAIN);
            }
            if (size > 1 && Take(MachineFaultSlot_ShortWrites)) {
                Suffer(0);
                return next(descriptor, data, size / 2);
            }
        }
    }
    return next(descriptor, data, size);
}

// Files are written with this one, the terminal with the one above.
INTERCEPTOR ssize_t writev(int descriptor, const struct iovec* pieces, int count) {
    NEXT(writev)
    return Slot(MachineFaultSlot_IsDiskFull) != 0 && IsFileOfTheMachine(descriptor) ? Suffer(ENOSPC)
                                                                                    : next(descriptor, pieces, count);
}

INTERCEPTOR ssize_t read(int descriptor, void* data, size_t size) {
    NEXT(read)
    return Slot(MachineFaultSlot_IsUnreadable) != 0 && isatty(descriptor) ? Suffer(EIO) : next(descriptor, data, size);
}

// Where the library's own buffered output reaches the file. What cannot be written is lost, as it is without this.
INTERCEPTOR int fflush(FILE* stream) {
    NEXT(fflush)
    if (stream != NULL && __fpending(stream) != 0 && Slot(MachineFaultSlot_IsDiskFull) != 0 &&
        IsFileOfTheMachine(fileno(stream))) {
        __fpurge(stream);
        return Suffer(ENOSPC);
    }
    return next(stream);
}

#define INTERCEPT_OPEN(name)                                 \
    INTERCEPTOR int name(const char* path, int flags, ...) { \
        NEXT(name)                                           \
        va_list arguments;                                   \
        va_start(arguments, flags);                          \
        const mode_t mode = va_arg(arguments, mode_t);       \
        va_end(arguments);                                   \
        if (AreDescriptorsUsedUp()) {                        \
            return Suffer(EMFILE);                           \
        }                                                    \
        if (IsChange(flags) && IsRefused(path)) {            \
            return Suffer(EROFS);                            \
        }                                                    \
        return next(path, flags, mode);                      \
    }
INTERCEPT_OPEN(open)
INTERCEPT_OPEN(open64)

#define INTERCEPT_FOPEN(name)                                         \
    INTERCEPTOR FILE* name(const char* path, const char* mode) {      \
        NEXT(name)                                                    \
        if (AreDescriptorsUsedUp()) {                                 \
            Suffer(EMFILE);                                           \
            return NULL;                                              \
        }                                                             \
        if (strcspn(mode, "wa+") < strlen(mode) && IsRefused(path)) { \
            Suffer(EROFS);                                            \
            return NULL;                                              \
        }                                                             \
        return next(path, mode);                                      \
    }
INTERCEPT_FOPEN(fopen)
INTERCEPT_FOPEN(fopen64)

// What else takes a descriptor of the process. Not pipe(): that is how a sanitizer's run-time looks at memory.
INTERCEPTOR int socket(int domain, int type, int protocol) {
    NEXT(socket)
    return AreDescriptorsUsedUp() ? Suffer(EMFILE) : next(domain, type, protocol);
}

INTERCEPTOR int socketpair(int domain, int type, int protocol, int pair[2]) {
    NEXT(socketpair)
    return AreDescriptorsUsedUp() ? Suffer(EMFILE) : next(domain, type, protocol, pair);
}

INTERCEPTOR int eventfd(unsigned int value, int flags) {
    NEXT(eventfd)
    return AreDescriptorsUsedUp() ? Suffer(EMFILE) : next(value, flags);
}

INTERCEPTOR FILE* popen(const char* command, const char* mode) {
    NEXT(popen)
    if (AreDescriptorsUsedUp()) {
        Suffer(EMFILE);
        return NULL;
    }
    return next(command, mode);
}

INTERCEPTOR DIR* opendir(const char* path) {
    NEXT(opendir)
    if (AreDescriptorsUsedUp()) {
        Suffer(EMFILE);
        return NULL;
    }
    return next(path);
}

INTERCEPTOR int rename(const char* from, const char* to) {
    NEXT(rename)
    return IsRefused(from) || IsRefused(to) ? Suffer(EROFS) : next(from, to);
}

INTERCEPTOR int unlink(const char* path) {
    NEXT(unlink)
    return IsRefused(path) ? Suffer(EROFS) : next(path);
}

INTERCEPTOR int mkdir(const char* path, mode_t mode) {
    NEXT(mkdir)
    struct stat status;
    return IsRefused(path) && stat(path, &status) != 0 ? Suffer(EROFS) : next(path, mode);
}

INTERCEPTOR pid_t fork(void) {
    NEXT(fork)
    return Slot(MachineFaultSlot_IsForkRefused) != 0 ? Suffer(EAGAIN) : next();
}

INTERCEPTOR int clock_gettime(clockid_t clock, struct timespec* time) {
    NEXT(clock_gettime)
    const int result = next(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec += Slot(MachineFaultSlot_ClockShift);
    }
    return result;
}

INTERCEPTOR time_t time(time_t* result) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != NULL) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}
