// The process's life cycle as the rest of the machine sees it: its check-in with the system monitor, announced
// power-downs, and the health of the Tessimor process.
#pragma once

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>

#include <cstdint>

// The process's index in "process_ready", and its bit in the code of "system_health".
inline constexpr std::uint32_t kProcessIndex = 0x200;

// Body of the check-in thread: until the process stops, CheckIn every 5 s.
void systemMonitorCheckInHandler(EventClient* client);

// Publishes "system_health" when the link both sent and polled since the last time, and then forgets both; otherwise
// logs what is missing and lets the bits gather.
void CheckIn(EventClient& client, SystemHealth& health);

// Bus handlers; main thread, without context.
void receivePowerDownStatus(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveSystemHealth(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
