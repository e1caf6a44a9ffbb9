#include "VeltrixHAL/BusClient.h"

#include "Common/Helper/ErrorText.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"

namespace BusClient {
namespace {

// Never destroyed: threads publish until the very end of the process.
std::string& SocketName() {
    static std::string& name = *new std::string(RootedPath(kDefaultSocket));
    return name;
}

}  // namespace

void SetSocket(const std::string& socket) {
    SocketName() = socket;
}

const std::string& Socket() {
    return SocketName();
}

void Publish(EventClient& client, const std::string& topic, const VeltrixDataTypeBase& data) {
    if (const int result = client.Publish(topic, data); result != 0) {
        HalLog::Warning("Could not publish {}. {}", topic, ErrorText(-result));
    }
}

int PublishOnce(const std::string& topic, const VeltrixDataTypeBase& data) {
    EventClient client("client");
    int result = client.Connect(Socket());
    if (result == 0) {
        result = client.Publish(topic, data);
        const int left = client.Disconnect();
        result = result == 0 ? left : result;
    }
    if (result != 0) {
        HalLog::Warning("Could not publish {} on {}. {}", topic, DisplayPath(Socket()), ErrorText(-result));
    }
    return result;
}

}  // namespace BusClient
