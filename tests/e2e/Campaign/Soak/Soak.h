// A busy machine for a long time, looked at again and again.
#pragma once

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/e2e/Campaign/BusyLife.h"
#include "tests/e2e/Campaign/Soak/SoakSample.h"

struct SoakOptions {
    double minutes = 10;
    std::uint64_t seed = 1;
    std::string csvFile;     // empty for none
    double lossPercent = 0;  // of the frames in each direction suffer something
};

class Soak {
public:
    // Throws std::runtime_error where the machine does not come up.
    explicit Soak(const SoakOptions& options);

    // Lives until the time is over or `isToEnd` says so, and then stops the machine. True when the process lived,
    // answered to its end, did not grow and stopped with status 0.
    bool Run(const std::function<bool()>& isToEnd);

private:
    using Clock = std::chrono::steady_clock;

    static MachineOptions MachineFor(const SoakOptions& options);
    void Live(const std::function<bool()>& isToEnd);
    // Of a process that has ended, the figures are those seen last.
    void Sample();
    bool DoesAnswer();
    std::string AwaitNoGrowth();
    bool End();

    SoakOptions mOptions;
    Machine mMachine;
    BusyLife mLife;
    std::size_t mRetries = 0;
    std::ofstream mCsv;
    Clock::time_point mStart;
    ProcessFigures mLastSeen;
    std::vector<SoakSample> mSamples;
};
