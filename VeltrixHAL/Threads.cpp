#include "VeltrixHAL/Threads.h"

#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/SystemMonitor.h"

#include <exception>
#include <system_error>
#include <thread>

namespace {

constexpr std::uint32_t kProcessingPeriodUs = 5000;

template <typename Body>
bool Start(const char* name, Body body) {
    try {
        std::thread(body).detach();
        return true;
    } catch (const std::system_error& error) {
        HalLog::Critical("Could not start {}. {}", name, error.what());
        return false;
    }
}

}  // namespace

void LogCurrentException(const char* where, const char* which) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& exception) {
            HalLog::Error("Unexpected error in {}{}: {}", where, which, exception.what());
        } catch (...) {
            HalLog::Error("Unexpected error in {}{}", where, which);
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

void CheckInUntilStopped(EventClient* client) {
    while (gKeepRunning) {
        try {
            systemMonitorCheckInHandler(client);
        } catch (...) {
            LogCurrentException("the check-in thread");
        }
    }
}

bool StartProcessingThread(CarrierCommInterface& carrier) {
    return Start("the processing thread", [&carrier] { Process(&carrier); });
}

bool StartCheckInThread(EventClient& client) {
    return Start("the check-in thread", [&client] { CheckInUntilStopped(&client); });
}
