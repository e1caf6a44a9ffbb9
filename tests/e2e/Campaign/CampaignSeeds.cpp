#include "tests/e2e/Campaign/CampaignSeeds.h"

#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

std::uint64_t NumberFrom(const char* variable, std::uint64_t otherwise) {
    const char* const value = std::getenv(variable);
    if (value == nullptr) {
        return otherwise;
    }
    const std::string text = value;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        throw std::runtime_error(std::string(variable) + " is no number: " + text);
    }
    return number;
}

}  // namespace

std::vector<std::uint64_t> CampaignSeeds(std::uint64_t first, std::size_t usual) {
    const std::uint64_t begin = NumberFrom("VELTRIX_CAMPAIGN_SEED", first);
    const std::uint64_t count = NumberFrom("VELTRIX_CAMPAIGN_RUNS", usual);
    if (count == 0) {
        throw std::runtime_error("VELTRIX_CAMPAIGN_RUNS asks for no run at all");
    }
    std::vector<std::uint64_t> seeds;
    for (std::uint64_t i = 0; i < count; ++i) {
        seeds.push_back(begin + i);
    }
    return seeds;
}
