#include "tests/e2e/Campaign/LineFaults.h"

namespace {

constexpr int kKinds = 7;
// Longer than the process waits for most answers, so that some come when nobody waits, or somebody for another one.
constexpr simulator::Milliseconds kDelay{250};

}  // namespace

void SetLineFaults(Machine& machine, double share) {
    simulator::FaultRates rates;
    rates.drop = rates.corrupt = rates.cut = rates.duplicate = rates.delay = rates.noise = rates.forge = share / kKinds;
    rates.delayTime = kDelay;
    for (const auto direction : {simulator::Direction::Received, simulator::Direction::Sent}) {
        machine.Carrier().Faults().SetRates(direction, rates);
    }
}
