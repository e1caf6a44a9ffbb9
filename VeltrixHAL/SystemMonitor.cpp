#include "VeltrixHAL/SystemMonitor.h"

#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/HalGlobals.h"

#include <ctime>

namespace {

constexpr std::uint32_t kCheckInPeriodUs = 5'000'000;
constexpr std::uint32_t kPowerDownDelayUs = 2'000'000;
constexpr std::uint32_t kHealthy = HalGlobals::kHealthFramePrepared + HalGlobals::kHealthPortPolled;
constexpr std::uint16_t kFirstTessimorCode = 0x1000;

}  // namespace

void systemMonitorCheckInHandler(EventClient* client) {
    SystemHealth health;
    health.set_processName("HAL");
    while (gKeepRunning) {
        SleepMicroseconds(kCheckInPeriodUs);
        CheckIn(*client, health);
    }
}

// Reading, testing and clearing are separate steps: a bit set in between is lost, which only delays the next check-in.
void CheckIn(EventClient& client, SystemHealth& health) {
    const std::uint32_t value = HalGlobals::gProcessHealth;
    if (!gKeepRunning) {
        return;
    }
    if (value >= kHealthy) {
        health.set_code(value | kProcessIndex);
        static_cast<void>(client.Publish("system_health", health));
        HalGlobals::gProcessHealth = 0;
        return;
    }
    if ((value & HalGlobals::kHealthPortPolled) == 0) {
        HalLog::Error("Did not check in because Rx failed");
    }
    if ((HalGlobals::gProcessHealth & HalGlobals::kHealthFramePrepared) == 0) {
        HalLog::Error("Did not check in because Tx failed");
    }
}

// Whoever announces a power-down, and whatever the flag in it says: the process stops.
void receivePowerDownStatus(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/,
                            void* /*context*/) {
    const auto& status = static_cast<const PowerDownStatus&>(*message);
    HalLog::Info("Powerdown received from {} - {}.", status.get_nameOfCaller(), status.get_reasonForPowerdown());
    SleepMicroseconds(kPowerDownDelayUs);
    gKeepRunning = false;
}

void receiveSystemHealth(EventClient* /*client*/, VeltrixDataTypeBase* message, int /*reserved*/, void* /*context*/) {
    const auto& health = static_cast<const SystemHealth&>(*message);
    if (static_cast<std::uint16_t>(health.get_code()) >= kFirstTessimorCode) {
        HalGlobals::g_TessimorUpdateTimer = std::time(nullptr);
    }
}
