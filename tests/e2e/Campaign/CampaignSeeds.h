// Which seeds a campaign runs.
#pragma once

#include <cstdint>
#include <vector>

// VELTRIX_CAMPAIGN_RUNS seeds (if it is not set: `usual`), from VELTRIX_CAMPAIGN_SEED (if it is not set: `first`) on.
// Throws std::runtime_error when one of them is no number, or the first one 0.
std::vector<std::uint64_t> CampaignSeeds(std::uint64_t first, std::size_t usual);
