// At which place of its class's virtual table an operation stands. Code that is built against the tables by position
// depends on the order, and a new operation in the middle would move it silently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// A destructor takes two places. -1 for an operation that is not virtual.
template <typename Operation>
long SlotOf(Operation operation) {
    struct {
        std::intptr_t pointer;
        std::intptr_t adjustment;
    } parts;
    static_assert(sizeof parts == sizeof operation);
    std::memcpy(&parts, &operation, sizeof parts);
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = (parts.adjustment & 1) != 0;
    const std::intptr_t offset = parts.pointer;
#else
    const bool isVirtual = (parts.pointer & 1) != 0;
    const std::intptr_t offset = parts.pointer - 1;
#endif
    return isVirtual ? static_cast<long>(offset / static_cast<std::intptr_t>(sizeof(void*))) : -1;
}
