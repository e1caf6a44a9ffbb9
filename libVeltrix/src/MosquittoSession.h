// One connection of libmosquitto, from its opening to its loss.
#pragma once

#include <string>
#include <string_view>

struct mosquitto;
struct mosquitto_message;

namespace VeltrixDetail {

// All operations on one thread, so that libmosquitto's own locking is never relied on.
class MosquittoSession {
public:
    // What the broker says; called from within Service.
    class Listener {
    public:
        virtual void OnAccepted() = 0;
        // A negative errno.
        virtual void OnRefused(int result) = 0;
        virtual void OnSubscribed(int messageId, bool isGranted) = 0;
        virtual void OnDelivered(int messageId) = 0;
        // Retained messages are not passed on.
        virtual void OnMessage(const std::string& topic, std::string_view payload) = 0;

    protected:
        ~Listener() = default;
    };

    // The listener outlives the session.
    MosquittoSession(const std::string& clientId, Listener& listener);
    ~MosquittoSession();
    MosquittoSession(const MosquittoSession&) = delete;
    MosquittoSession& operator=(const MosquittoSession&) = delete;

    // Connects to the socket and sends the greeting, without waiting; the answer comes as OnAccepted or OnRefused.
    // 0 or a negative errno; -EAGAIN while the broker has too many connections that it has not looked at.
    int Open(const std::string& socket);

    // To be polled for POLLIN always, for POLLOUT while there is something to write.
    int Descriptor() const;
    bool WantsToWrite() const;
    // Does what the result of the poll calls for, and what time calls for. False when the connection is lost.
    bool Service(short events);

    // Send; a message id above 0, or 0 when the connection failed.
    int Subscribe(const std::string& topic);
    int Publish(const std::string& topic, const std::string& payload);

    // Says good-bye.
    void Leave();

private:
    static void HandleConnect(mosquitto* handle, void* self, int code);
    static void HandleSubscribe(mosquitto* handle, void* self, int messageId, int count, const int* granted);
    static void HandlePublish(mosquitto* handle, void* self, int messageId);
    static void HandleMessage(mosquitto* handle, void* self, const mosquitto_message* message);

    mosquitto* mHandle = nullptr;
    Listener& mListener;
};

}  // namespace VeltrixDetail
