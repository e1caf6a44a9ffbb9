// How much happened in a machine's life on a bad line, so that a life can last until it was enough.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/e2e/Campaign/BusyLife.h"
#include "tests/e2e/Harness/Machine.h"

struct LineAmounts {
    std::size_t faultsFromModule = 0;
    std::size_t faultsToModule = 0;
    std::size_t busMessages = 0;
    std::size_t carrierCommands = 0;    // acknowledged
    std::size_t carrierErrors = 0;      // acknowledged
    std::size_t reportingSwitches = 0;  // as the carrier heard them
    std::size_t updatesBegun = 0;
    std::size_t updatesEnded = 0;
    std::size_t updatePackets = 0;  // as the carrier heard them

    static LineAmounts Of(Machine& machine, const BusyLife& life);
    LineAmounts WithoutUpdates() const;
    LineAmounts& operator+=(const LineAmounts& other);
    // "bus messages 12, ..."
    std::string Text() const;
    // "bus messages 12 of 30" for each that is less than the least.
    std::vector<std::string> MissingFrom(const LineAmounts& least) const;
};
