// Everything the process listens to on the bus.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>

// Publishes the identity, then makes every subscription in the order of the table. A failure is printed and logged and
// does not stop the rest; a stop of the process does. All arguments must live as long as the process. Blocks for up to
// 5 s for each subscription that the broker does not answer.
void activateSubscriptions(EventClient& client, CarrierCommInterface& carrier, HALInfo& halInfo, HALStatus& halStatus);
