#include "tests/e2e/Campaign/LineFaults.h"

namespace {

// Longer than the process waits for most answers, so that some come when nobody waits, or somebody for another one.
constexpr simulator::Milliseconds kDelay{250};

}  // namespace

void SetLineFaults(Machine& machine, double shareOfEachKind) {
    simulator::FaultRates rates;
    for (const LineFaultKind& kind : kLineFaultKinds) {
        rates.*kind.rate = shareOfEachKind;
    }
    rates.delayTime = kDelay;
    for (const auto direction : {simulator::Direction::Received, simulator::Direction::Sent}) {
        machine.Carrier().Faults().SetRates(direction, rates);
    }
}
