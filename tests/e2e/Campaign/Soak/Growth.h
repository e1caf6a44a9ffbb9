// Whether a long run costs more at its end than at its beginning.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/Campaign/Soak/SoakSample.h"

// Averages of the last minute against those of the second one (the first is for warming up), in one line. Runs below
// three minutes have no such minutes: then their second quarter stands for the one and the last quarter for the other.
std::string GrowthText(const std::vector<SoakSample>& samples);
