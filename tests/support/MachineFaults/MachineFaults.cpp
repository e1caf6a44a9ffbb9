#include "tests/support/MachineFaults/MachineFaults.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>

namespace {

constexpr std::size_t kSize = MachineFaultSlot_Count * sizeof(std::int64_t);

}  // namespace

MachineFaults::MachineFaults() {
    const int file = open(Path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const bool isMade = file >= 0 && ftruncate(file, kSize) == 0;
    void* const slots = isMade ? mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0) : MAP_FAILED;
    close(file);
    if (slots == MAP_FAILED) {
        throw std::runtime_error("cannot make " + Path());
    }
    mSlots = static_cast<std::int64_t*>(slots);
}

MachineFaults::~MachineFaults() {
    munmap(mSlots, kSize);
}

std::int64_t MachineFaults::Hits() const {
    return std::atomic_ref(mSlots[MachineFaultSlot_Hits]).load();
}

void MachineFaults::Set(MachineFaultSlot slot, std::int64_t value) {
    std::atomic_ref(mSlots[slot]).store(value);
}
