// The bus socket of the process, and publications whose failure is a warning in the log.
#pragma once

#include <Veltrix/EventClient.h>
#include <Veltrix/VeltrixDataTypeBase.h>

#include <string>

namespace BusClient {

inline constexpr const char* kDefaultSocket = "/var/veltrix.unix";

// Names the socket that every connection of the process uses; it is the default one, below VELTRIX_ROOT, until then.
// Call before other threads start.
void SetSocket(const std::string& socket);
const std::string& Socket();

// Publishes on a connection that stands; a failure is a warning in the log. Does not wait. Any thread.
void Publish(EventClient& client, const std::string& topic, const VeltrixDataTypeBase& data);

// Connects a client named "client", publishes and disconnects. Returns 0 or a negative errno; a failure is also a
// warning in the log, and not tried again. Any thread. Blocks for up to 5 s where the broker does not accept, and for
// up to 2.1 s more where it does and then falls silent (5 s where the client's own thread stands still).
int PublishOnce(const std::string& topic, const VeltrixDataTypeBase& data);

}  // namespace BusClient
