#include "libVeltrix/src/ClientId.h"

#include <fmt/core.h>
#include <sys/random.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>

namespace VeltrixDetail {
namespace {

constexpr std::size_t kLongestName = 64;

bool IsPlain(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_' || character == '.';
}

// Tells processes of the same id apart: in other containers, or after a restart.
std::uint32_t RandomNumber() {
    std::uint32_t number = 0;
    if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
        number = static_cast<std::uint32_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    return number;
}

}  // namespace

std::string MakeClientId(const std::string& name) {
    static std::atomic<unsigned> sCount{0};
    std::string id = name.substr(0, kLongestName);
    for (char& character : id) {
        character = IsPlain(character) ? character : '_';
    }
    return fmt::format("{}-{}-{}-{:08x}", id, getpid(), ++sCount, RandomNumber());
}

}  // namespace VeltrixDetail
