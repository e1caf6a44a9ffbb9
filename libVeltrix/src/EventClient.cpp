#include <Veltrix/EventClient.h>
#include <mosquitto.h>

#include <cerrno>
#include <utility>

#include "libVeltrix/src/BusLimits.h"
#include "libVeltrix/src/ClientCore.h"

using VeltrixDetail::BusConnection;
using VeltrixDetail::ClientCore;

namespace {

// A topic that messages can be published on; libmosquitto has the last word on what text that is.
bool IsTopic(const std::string& topic) {
    return !topic.empty() && topic.size() <= VeltrixDetail::kMaxTopic &&
           mosquitto_validate_utf8(topic.data(), static_cast<int>(topic.size())) == MOSQ_ERR_SUCCESS &&
           mosquitto_pub_topic_check2(topic.data(), topic.size()) == MOSQ_ERR_SUCCESS;
}

}  // namespace

EventClient::EventClient(const std::string& name) : mCore(std::make_shared<ClientCore>(name)) {}

EventClient::EventClient(std::shared_ptr<ClientCore> core) : mCore(std::move(core)) {}

int EventClient::Connect(const std::string& socket) {
    if (socket.empty()) {
        return -ENOENT;
    }
    if (socket.size() > VeltrixDetail::kMaxSocketPath) {
        return -ENAMETOOLONG;
    }
    return mCore->Connect(socket);
}

int EventClient::Subscribe(const std::string& topic, Handler handler, const VeltrixDataTypeBase* prototype,
                           void* context, bool deferred) {
    if (!IsTopic(topic) || handler == nullptr || prototype == nullptr) {
        return -EINVAL;
    }
    const std::shared_ptr<BusConnection> connection = mCore->Connection();
    if (!connection) {
        return -ENOTCONN;
    }
    if (connection->IsOwnThread()) {
        return -EDEADLK;
    }
    return connection->Subscribe(std::make_shared<VeltrixDetail::Subscription>(
        VeltrixDetail::Subscription{topic, handler, prototype->Clone(), context, deferred}));
}

int EventClient::Publish(const std::string& topic, const VeltrixDataTypeBase& data) {
    if (!IsTopic(topic)) {
        return -EINVAL;
    }
    const std::shared_ptr<BusConnection> connection = mCore->Connection();
    if (!connection) {
        return -ENOTCONN;
    }
    VeltrixDetail::Publication publication{topic, data.ToJson()};
    if (publication.payload.empty()) {
        return -ENOMEM;  // whoever receives an empty text reads an object whose fields all have their defaults
    }
    if (publication.Bytes() > VeltrixDetail::kMaxQueueBytes) {
        return -EMSGSIZE;  // it would drive everything else out of the queue, and then itself
    }
    return connection->Publish(std::move(publication));
}

int EventClient::ExecuteDeferredEventHandlers(int timeoutMs) {
    // A handler may end the object that it was called through.
    const std::shared_ptr<ClientCore> core = mCore;
    return core->RunDeferred(timeoutMs);
}

int EventClient::Disconnect() {
    const std::shared_ptr<ClientCore> core = mCore;
    return core->Disconnect();
}
