#include "tests/unit/Uart/FaultySystemCalls.h"

#include <dlfcn.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

namespace FaultySystemCalls {

Plan& ThePlan() {
    static Plan& plan = *new Plan;
    return plan;
}

namespace {

int Fail() {
    errno = EIO;
    return -1;
}

}  // namespace
}  // namespace FaultySystemCalls

using FaultySystemCalls::Fail;
using FaultySystemCalls::ThePlan;

extern "C" {

int tcflush(int fd, int queue) noexcept {
    if (ThePlan().record) {
        ThePlan().calls.push_back("flush " + std::to_string(fd) + " " + std::to_string(queue));
    }
    return ThePlan().flushFails ? Fail() : ::ioctl(fd, TCFLSH, queue);
}

int tcsetattr(int fd, int action, const termios* settings) {
    using Operation = int (*)(int, int, const termios*);
    static const auto systems = reinterpret_cast<Operation>(::dlsym(RTLD_NEXT, "tcsetattr"));
    if (ThePlan().record) {
        ThePlan().calls.push_back("set " + std::to_string(fd) + " " + std::to_string(action));
    }
    return ThePlan().setFails ? Fail() : systems(fd, action, settings);
}

int close(int fd) {
    if (ThePlan().record) {
        ThePlan().calls.push_back("close " + std::to_string(fd));
    }
    const long result = ::syscall(SYS_close, fd);
    return ThePlan().closeFails ? Fail() : static_cast<int>(result);
}

int flock(int fd, int operation) noexcept {
    if (ThePlan().record && operation == LOCK_UN) {
        ThePlan().calls.push_back("unlock " + std::to_string(fd));
    }
    const bool fails = ThePlan().unlockFails && operation == LOCK_UN;
    return fails ? Fail() : static_cast<int>(::syscall(SYS_flock, fd, operation));
}
}
