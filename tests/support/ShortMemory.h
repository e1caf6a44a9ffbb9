// Memory that runs out under cJSON.
#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdlib>

// While it lives, cJSON gets that many pieces of memory and no more. One at a time, one thread.
class ShortMemory {
public:
    explicit ShortMemory(int allocations) {
        sAllocationsLeft = allocations;
        cJSON_Hooks hooks{Allocate, std::free};
        cJSON_InitHooks(&hooks);
    }
    ~ShortMemory() { cJSON_InitHooks(nullptr); }
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;

private:
    static void* Allocate(std::size_t size) { return sAllocationsLeft-- > 0 ? std::malloc(size) : nullptr; }

    inline static int sAllocationsLeft = 0;
};
