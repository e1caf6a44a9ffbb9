#include "libVeltrix/src/MosquittoSession.h"

#include <fcntl.h>
#include <mosquitto.h>
#include <poll.h>

#include <cerrno>
#include <exception>
#include <mutex>

#include "libVeltrix/src/BusLimits.h"
#include "libVeltrix/src/LibraryLog.h"

namespace VeltrixDetail {
namespace {

constexpr int kQualityOfService = 1;
constexpr int kGrantedFailure = 0x80;

// Once per process and never undone: threads may hold sessions until the process is gone.
void InitialiseLibrary() {
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}

// The answers to a greeting in MQTT 3.1.1.
int ResultOfAnswer(int code) {
    switch (code) {
        case 1:
            return -EPROTONOSUPPORT;
        case 2:
            return -EINVAL;
        case 3:
            return -ECONNREFUSED;
        case 4:
        case 5:
            return -EACCES;
        default:
            return -EPROTO;
    }
}

int ResultOfConnect(int code, int systemError) {
    switch (code) {
        case MOSQ_ERR_SUCCESS:
            return 0;
        case MOSQ_ERR_ERRNO:
            return systemError == 0 ? -EIO : -systemError;
        case MOSQ_ERR_NOMEM:
            return -ENOMEM;
        case MOSQ_ERR_INVAL:
            return -EINVAL;
        default:
            return -ECONNRESET;
    }
}

}  // namespace

MosquittoSession::MosquittoSession(const std::string& clientId, Listener& listener) : mListener(listener) {
    InitialiseLibrary();
    mHandle = mosquitto_new(clientId.c_str(), true, this);
    if (mHandle != nullptr) {
        mosquitto_connect_callback_set(mHandle, HandleConnect);
        mosquitto_subscribe_callback_set(mHandle, HandleSubscribe);
        mosquitto_publish_callback_set(mHandle, HandlePublish);
        mosquitto_message_callback_set(mHandle, HandleMessage);
    }
}

MosquittoSession::~MosquittoSession() {
    if (mHandle != nullptr) {
        mosquitto_destroy(mHandle);
    }
}

int MosquittoSession::Open(const std::string& socket) {
    if (mHandle == nullptr) {
        return -ENOMEM;
    }
    errno = 0;
    const int code = mosquitto_connect(mHandle, socket.c_str(), 0, kKeepAliveSeconds);
    const int result = ResultOfConnect(code, errno);
    // A child process that outlives this one must not keep the broker thinking that we are there. Failure: no harm.
    const int descriptor = Descriptor();
    if (result == 0 && descriptor >= 0) {
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    return result;
}

int MosquittoSession::Descriptor() const {
    return mosquitto_socket(mHandle);
}

bool MosquittoSession::WantsToWrite() const {
    return mosquitto_want_write(mHandle);
}

bool MosquittoSession::Service(short events) {
    int code = MOSQ_ERR_SUCCESS;
    if ((events & ~POLLOUT) != 0) {
        code = mosquitto_loop_read(mHandle, 1);
    }
    if (code == MOSQ_ERR_SUCCESS && (events & POLLOUT) != 0) {
        code = mosquitto_loop_write(mHandle, 1);
    }
    if (code == MOSQ_ERR_SUCCESS) {
        code = mosquitto_loop_misc(mHandle);
    }
    return code == MOSQ_ERR_SUCCESS && Descriptor() >= 0;
}

int MosquittoSession::Subscribe(const std::string& topic) {
    int messageId = 0;
    const int code = mosquitto_subscribe(mHandle, &messageId, topic.c_str(), kQualityOfService);
    return code == MOSQ_ERR_SUCCESS ? messageId : 0;
}

int MosquittoSession::Publish(const std::string& topic, const std::string& payload) {
    int messageId = 0;
    const int code = mosquitto_publish(mHandle, &messageId, topic.c_str(), static_cast<int>(payload.size()),
                                       payload.data(), kQualityOfService, false);
    return code == MOSQ_ERR_SUCCESS ? messageId : 0;
}

void MosquittoSession::Leave() {
    mosquitto_disconnect(mHandle);
}

void MosquittoSession::HandleConnect(mosquitto* /*handle*/, void* self, int code) {
    Listener& listener = static_cast<MosquittoSession*>(self)->mListener;
    if (code == 0) {
        listener.OnAccepted();
    } else {
        listener.OnRefused(ResultOfAnswer(code));
    }
}

void MosquittoSession::HandleSubscribe(mosquitto* /*handle*/, void* self, int messageId, int count,
                                       const int* granted) {
    const bool isGranted = count == 1 && granted[0] != kGrantedFailure;
    static_cast<MosquittoSession*>(self)->mListener.OnSubscribed(messageId, isGranted);
}

void MosquittoSession::HandlePublish(mosquitto* /*handle*/, void* self, int messageId) {
    static_cast<MosquittoSession*>(self)->mListener.OnDelivered(messageId);
}

void MosquittoSession::HandleMessage(mosquitto* /*handle*/, void* self, const mosquitto_message* message) {
    if (message->retain) {
        return;  // left behind by somebody at some time: an old power-down must not stop a process started later
    }
    // No exception may reach libmosquitto's C code.
    try {
        const auto* const bytes = static_cast<const char*>(message->payload);
        const auto size = static_cast<std::size_t>(message->payloadlen);
        static_cast<MosquittoSession*>(self)->mListener.OnMessage(
            message->topic, size == 0 ? std::string_view() : std::string_view(bytes, size));
    } catch (const std::exception& problem) {
        LogWarning("Message on \"{}\" dropped: {}", message->topic, problem.what());
    }
}

}  // namespace VeltrixDetail
