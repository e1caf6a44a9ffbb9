// A client of the machine's event bus.
//
// All results are 0 or a negative errno. All operations may be called from any thread and do not throw. Each connection
// has one library thread of its own: it sends what Publish accepted, receives, runs the handlers that are not
// deferred and, when the broker goes away, reconnects (after 1 s, then with pauses that double up to 10 s) and
// subscribes again. A process must not fork while a client is connected.
#pragma once

#include <Veltrix/VeltrixDataTypeBase.h>

#include <memory>
#include <string>

namespace VeltrixDetail {
class ClientCore;
}

class EventClient {
public:
    // Gets the client that received the message, the message (an object of the prototype's class, the library's, valid
    // during the call), 0, and the context given to Subscribe. An exception that leaves it is caught and logged.
    using Handler = void (*)(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);

    // Not connected. The name is for people who look at the broker's log; it need not be unique.
    // Copies share one connection, and the end of the last copy is a Disconnect.
    explicit EventClient(const std::string& name);
    EventClient(const EventClient&) = default;  // and no move: there is no client without a connection to share
    EventClient& operator=(const EventClient&) = default;
    ~EventClient() = default;

    // Connects to the broker that listens on a Unix-domain socket; the path is used as given. Returns once the broker
    // has accepted, after at most 5 s: -ENOENT no such socket, -ECONNREFUSED nobody listens there, -EACCES no
    // permission, -ENAMETOOLONG more than 107 bytes, -ETIMEDOUT no answer, -EISCONN connected already, or what else the
    // system says.
    int Connect(const std::string& socket);

    // Has the handler called for every message on exactly this topic, retained ones excepted: with `deferred` in
    // ExecuteDeferredEventHandlers, else on the library's thread. Messages are built by reading into a copy of the
    // prototype; ill-formed ones, and those above 2 MiB, are dropped with a warning. A further subscription to the same
    // topic adds a handler; each gets its own object. Returns once the broker has granted it, after at most 5 s.
    // Subscriptions last until Disconnect. -ENOTCONN not connected, -EINVAL a topic that is empty, no UTF-8, longer
    // than 65,535 bytes or has a wildcard, no handler or no prototype, -EACCES refused by the broker, -ETIMEDOUT no
    // answer, -EDEADLK called on the library's own thread, which would have to bring the answer.
    int Subscribe(const std::string& topic, Handler handler, const VeltrixDataTypeBase* prototype, void* context,
                  bool deferred);

    // Queues the data's JSON form for sending and returns without waiting; messages go out in the order of the calls.
    // While the broker is away 10,000 messages wait, then the oldest is dropped with one warning; a burst towards a
    // present broker is bounded at ten times that and at 64 MiB.
    // -ENOTCONN not connected by Connect, -EINVAL a topic as above, -EMSGSIZE more than 64 MiB with its topic, -ENOMEM
    // no memory for the JSON form.
    int Publish(const std::string& topic, const VeltrixDataTypeBase& data);

    // Runs, on the caller's thread and in the order of arrival, the deferred handlers whose messages were waiting at
    // entry. Waits up to `timeoutMs` milliseconds for a first message, with 0 or less not at all. Returns how many ran;
    // 0 at once when not connected. At most 10,000 messages (or 64 MiB) wait: past that the oldest one of the topic
    // that has the most waiting is dropped with a warning, so that a flood of one topic costs only that topic.
    int ExecuteDeferredEventHandlers(int timeoutMs);

    // Delivers what Publish accepted, for at most 2 s, then leaves the bus; up to 3 s more on a system that lets the
    // library's thread stand still. Deferred messages still waiting are dropped. -ENOTCONN not connected, -EDEADLK
    // called from a handler on the library's own thread: the client stays connected.
    int Disconnect();

private:
    friend class VeltrixDetail::ClientCore;
    explicit EventClient(std::shared_ptr<VeltrixDetail::ClientCore> core);

    std::shared_ptr<VeltrixDetail::ClientCore> mCore;
};
