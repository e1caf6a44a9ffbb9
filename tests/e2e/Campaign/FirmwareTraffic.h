// Firmware updates of a busy machine, one after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/e2e/Campaign/BusTraffic.h"
#include "tests/e2e/Campaign/Chance.h"
#include "tests/e2e/Harness/Machine.h"

// Small files with a good trailer, no two alike, under the names that the process knows.
class FirmwareTraffic {
public:
    FirmwareTraffic(Machine& machine, BusTraffic& bus, std::uint64_t seed)
        : mMachine(machine), mBus(bus), mChance(seed) {}

    bool IsBusy() const { return mQuestion != 0; }
    void Begin();
    // Notes the end of an update that has come to one.
    void Settle();

    std::size_t Begun() const { return mBegun; }
    // The file reached the carrier, which came back; or it stayed where it was.
    std::size_t Done() const { return mDone; }
    std::size_t Kept() const { return mKept; }
    // Images that a carrier runs though nobody ever made them.
    std::size_t Wrong() const { return mWrong; }

private:
    Machine& mMachine;
    BusTraffic& mBus;
    Chance mChance;
    std::size_t mQuestion = 0;  // put behind the announcement
    std::string mPath;
    simulator::Bytes mImage;
    std::size_t mApplies = 0;
    std::size_t mBegun = 0;
    std::size_t mDone = 0;
    std::size_t mKept = 0;
    std::size_t mWrong = 0;
};
