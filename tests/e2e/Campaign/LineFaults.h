// A line that does every kind of harm.
#pragma once

#include <array>

#include "tests/e2e/Harness/Machine.h"

struct LineFaultKind {
    const char* name;
    double simulator::FaultRates::*rate;
    std::size_t simulator::FaultCounts::*count;
};

inline constexpr std::array kLineFaultKinds = {
    LineFaultKind{"lost", &simulator::FaultRates::drop, &simulator::FaultCounts::dropped},
    LineFaultKind{"damaged", &simulator::FaultRates::corrupt, &simulator::FaultCounts::corrupted},
    LineFaultKind{"cut short", &simulator::FaultRates::cut, &simulator::FaultCounts::cut},
    LineFaultKind{"doubled", &simulator::FaultRates::duplicate, &simulator::FaultCounts::duplicated},
    LineFaultKind{"late", &simulator::FaultRates::delay, &simulator::FaultCounts::delayed},
    LineFaultKind{"behind noise", &simulator::FaultRates::noise, &simulator::FaultCounts::noise},
    LineFaultKind{"behind a forged frame", &simulator::FaultRates::forge, &simulator::FaultCounts::forged},
};

// In both directions, that share of the frames suffers each kind: the kinds together are seven times as many. 0 for a
// clean line.
void SetLineFaults(Machine& machine, double shareOfEachKind);
