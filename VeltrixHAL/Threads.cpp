#include "VeltrixHAL/Threads.h"

#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/SystemMonitor.h"

#include <exception>
#include <thread>

namespace {

constexpr std::uint32_t kProcessingPeriodUs = 5000;

}  // namespace

void LogCurrentException(const char* where) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& exception) {
            HalLog::Error("Unexpected error in {}: {}", where, exception.what());
        } catch (...) {
            HalLog::Error("Unexpected error in {}", where);
        }
    } catch (...) {
        HalLog::PrintErrorRaw("Unexpected error that could not be logged\n");
    }
}

void Process(CarrierCommInterface* carrier) {
    while (gKeepRunning) {
        try {
            carrier->Process();
        } catch (...) {
            LogCurrentException("the processing thread");
        }
        SleepMicroseconds(kProcessingPeriodUs);
    }
}

void StartProcessingThread(CarrierCommInterface& carrier) {
    std::thread(Process, &carrier).detach();
}

void StartCheckInThread(EventClient& client) {
    std::thread([&client] {
        while (gKeepRunning) {
            try {
                systemMonitorCheckInHandler(&client);
            } catch (...) {
                LogCurrentException("the check-in thread");
            }
        }
    }).detach();
}
