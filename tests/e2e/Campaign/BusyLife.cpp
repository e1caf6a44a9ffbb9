#include "tests/e2e/Campaign/BusyLife.h"

#include <algorithm>

#include "tests/support/WaitUntil.h"

namespace {

constexpr std::size_t kTenths = 10;
constexpr std::size_t kTenthsFromCarrier = 3;
constexpr simulator::Milliseconds kHeartbeatPeriod{1000};  // while nothing else happens

}  // namespace

BusyLife::BusyLife(Machine& machine, const Options& options)
    : mMachine(machine),
      mChance(options.seed),
      mOptions(options),
      mBus(machine.BusBroker().Socket(), options.seed + 1),
      mCarrier(machine.Carrier(), options.seed),
      mFirmware(machine, mBus, options.seed + 2) {}

MachineOptions BusyLife::MachineFor(std::uint64_t seed) {
    MachineOptions options;
    options.arguments = {"-f", "-v", "0"};
    options.carrier.seed = seed;
    options.carrier.restartTime = simulator::Milliseconds(100);
    options.carrier.firmware.check = simulator::ImageCheck::Crc32;
    options.carrier.ownCommands.isOneByOne = true;
    options.carrier.ownCommands.attempts = 10;
    options.carrier.ownCommands.answerTime = simulator::Milliseconds(500);
    return options;
}

void BusyLife::Step() {
    mCarrier.Settle();
    mFirmware.Settle();
    if (!mFirmware.IsBusy() && mOptions.stepsPerUpdate != 0 && mChance.OneIn(mOptions.stepsPerUpdate)) {
        BeginUpdate();
    } else if (mChance.Below(kTenths) < kTenthsFromCarrier) {
        if (mCarrier.HasRoom()) {
            mCarrier.SendOne();
        }
    } else if (mBus.HasRoom()) {
        mBus.SendOne();
    }
}

void BusyLife::BeginUpdate() {
    if (!mFirmware.IsBusy()) {
        mFirmware.Begin();
    }
}

bool BusyLife::Rest(std::chrono::milliseconds limit) {
    const std::size_t last = mBus.Ask();
    // As any carrier does: one that came back with a single heartbeat, before the process began to wait for it, would
    // be waited for without end.
    mMachine.Carrier().SetHeartbeatPeriod(kHeartbeatPeriod);
    const bool isHandled = ComesTo([&] { return mBus.IsAnswered(last) && mCarrier.AreAllOver(); }, limit);
    mMachine.Carrier().SetHeartbeatPeriod(simulator::Milliseconds(0));
    return isHandled &&
           ComesTo(
               [&] {
                   const auto own = mMachine.Carrier().OwnCommandList();
                   return std::all_of(own.begin(), own.end(), [](const auto& each) { return each.IsOver(); });
               },
               limit);
}

bool BusyLife::ComesTo(const std::function<bool()>& state, std::chrono::milliseconds limit) {
    bool isThere = false;
    WaitUntil(
        [&] {
            mCarrier.Settle();
            mFirmware.Settle();
            isThere = state();
            return isThere || !mMachine.Hal().IsRunning();
        },
        limit);
    return isThere;
}
