#include "libVeltrix/src/WakeUp.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace VeltrixDetail {
namespace {

int MakeDescriptor() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return descriptor < 0 ? -errno : descriptor;
}

}  // namespace

WakeUp::WakeUp() : mDescriptor(MakeDescriptor()) {}

WakeUp::~WakeUp() {
    if (mDescriptor >= 0) {
        close(mDescriptor);
    }
}

void WakeUp::Signal() const {
    // The only failure is a full counter, and that is readable.
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(mDescriptor, &one, sizeof one);
}

void WakeUp::Clear() const {
    // The only failure is an empty counter.
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(mDescriptor, &count, sizeof count);
}

}  // namespace VeltrixDetail
