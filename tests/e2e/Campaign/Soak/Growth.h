// Whether a long run costs more at its end than at its beginning.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/Campaign/Soak/SoakSample.h"

// Averages of the last minute against those of the second one (the first is for warming up), in one line. Runs below
// three minutes have no such minutes: then their second quarter stands for the one and the last quarter for the other.
std::string GrowthText(const std::vector<SoakSample>& samples);

// How much resident memory may grow: pages of the allocator and of buffers that are used late for the first time.
inline constexpr std::size_t kMostGrowthKiB = 256;

// What it cost after its warm-up: the first sample after a minute, or the very first one of a shorter run. Nothing
// where there is none.
std::optional<ProcessFigures> AfterWarmUp(const std::vector<SoakSample>& samples);

// What has become more: descriptors and threads at all, and resident memory, where it is the process's own, beyond
// kMostGrowthKiB. Empty for nothing.
std::string ForbiddenGrowth(const ProcessFigures& before, const ProcessFigures& after, bool isMemoryItsOwn);
