// One look at a machine that runs for a long time.
#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>

#include "tests/e2e/Campaign/Soak/ProcessFigures.h"

struct SoakSample {
    std::chrono::milliseconds elapsed{0};
    std::size_t framesFromModule = 0;
    std::size_t framesToModule = 0;
    std::size_t busMessages = 0;  // sent to the process
    std::size_t errors = 0;       // of the carrier: sent, and acknowledged
    std::size_t errorsAcknowledged = 0;
    std::size_t retries = 0;  // of the process's commands, as it says itself
    std::size_t updates = 0;  // firmware files that reached the carrier, and that did not
    std::size_t updatesFailed = 0;
    double cpuPercent = 0;  // of one processor, since the sample before
    ProcessFigures process;
    ProcessFigures watcher;  // this program itself: its own record has to stay small, too
};

void WriteCsvHeader(std::ostream& out);
void WriteCsv(std::ostream& out, const SoakSample& sample);
// One readable line.
void WriteLine(std::ostream& out, const SoakSample& sample);
