// Draws by seed, the same with every standard library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

class Chance {
public:
    explicit Chance(std::uint64_t seed) : mEngine(seed) {}

    // From 0 up to, not including, `limit`.
    std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(mEngine() % limit); }
    std::size_t Between(std::size_t least, std::size_t most) { return least + Below(most - least + 1); }
    bool OneIn(std::size_t count) { return Below(count) == 0; }
    const char* Truth() { return OneIn(2) ? "true" : "false"; }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(Below(256)); }

private:
    std::mt19937_64 mEngine;
};
