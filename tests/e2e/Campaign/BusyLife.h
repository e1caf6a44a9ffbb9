// A machine that does everything at once, by seed: what other processes ask for, what the carrier says on its own, and
// firmware updates, in any order and on top of each other.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "tests/e2e/Campaign/BusTraffic.h"
#include "tests/e2e/Campaign/CarrierTraffic.h"
#include "tests/e2e/Campaign/Chance.h"
#include "tests/e2e/Campaign/FirmwareTraffic.h"
#include "tests/e2e/Harness/Machine.h"

class BusyLife {
public:
    struct Options {
        std::uint64_t seed = 1;
        std::size_t stepsPerUpdate = 100;  // on the average, while none is under way; 0: only on request
    };

    // For a machine that has been started; it must outlive this.
    BusyLife(Machine& machine, const Options& options);

    // What a machine needs for such a life: a carrier that sends one command after the other, is soon back after an
    // update, and judges images.
    static MachineOptions MachineFor(std::uint64_t seed);

    // One thing more happens, if the process has come far enough.
    void Step();
    // Unless one is under way.
    void BeginUpdate();
    // Nothing new begins, and what has begun comes to its end. False when it does not, or the process ends.
    bool Rest(std::chrono::milliseconds limit);

    const BusTraffic& Bus() const { return mBus; }
    const CarrierTraffic& Carrier() const { return mCarrier; }
    const FirmwareTraffic& Firmware() const { return mFirmware; }

private:
    bool ComesTo(const std::function<bool()>& state, std::chrono::milliseconds limit);

    Machine& mMachine;
    Chance mChance;
    Options mOptions;
    BusTraffic mBus;
    CarrierTraffic mCarrier;
    FirmwareTraffic mFirmware;
};
