#include "tests/support/BusProbe.h"

#include <mosquitto.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>

namespace {

constexpr std::chrono::seconds kLimit{60};  // a computer that is busy with something else may let a broker wait long

void InitialiseLibrary() {
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}

}  // namespace

BusProbe::BusProbe(const std::string& socket) : mHandle(nullptr) {
    InitialiseLibrary();
    mHandle = mosquitto_new(nullptr, true, this);
    if (mHandle == nullptr) {
        throw std::runtime_error("mosquitto_new");
    }
    mosquitto_connect_callback_set(mHandle, OnConnect);
    mosquitto_subscribe_callback_set(mHandle, OnSubscribe);
    mosquitto_publish_callback_set(mHandle, OnPublish);
    mosquitto_message_callback_set(mHandle, OnMessage);
    Check(mosquitto_connect(mHandle, socket.c_str(), 0, 60), "connect");
    Check(mosquitto_loop_start(mHandle), "loop_start");
    Await([this] { return mConnectCode >= 0; }, "connect");
    Check(mConnectCode, "connect");
}

BusProbe::~BusProbe() {
    mosquitto_disconnect(mHandle);
    mosquitto_loop_stop(mHandle, false);
    mosquitto_destroy(mHandle);
}

void BusProbe::Check(int result, const char* what) const {
    if (result != 0) {
        throw std::runtime_error(std::string("probe: ") + what + ": " + mosquitto_strerror(result));
    }
}

template <typename Condition>
void BusProbe::Await(Condition condition, const char* what) {
    std::unique_lock lock(mMutex);
    if (!mChanged.wait_for(lock, kLimit, condition)) {
        throw std::runtime_error(std::string("probe: no answer to ") + what);
    }
}

void BusProbe::Subscribe(const std::string& filter) {
    int id = 0;
    Check(mosquitto_subscribe(mHandle, &id, filter.c_str(), 1), "subscribe");
    Await([this, id] { return mSubscribed == id; }, "subscribe");
}

int BusProbe::Send(const std::string& topic, const std::string& payload, bool isRetained) {
    int id = 0;
    Check(
        mosquitto_publish(mHandle, &id, topic.c_str(), static_cast<int>(payload.size()), payload.data(), 1, isRetained),
        "publish");
    return id;
}

void BusProbe::Publish(const std::string& topic, const std::string& payload, bool isRetained) {
    const int id = Send(topic, payload, isRetained);
    Await([this, id] { return std::find(mPublished.begin(), mPublished.end(), id) != mPublished.end(); }, "publish");
    const std::lock_guard lock(mMutex);
    mPublished.clear();
}

void BusProbe::PublishLater(const std::string& topic, const std::string& payload) {
    Send(topic, payload, false);
}

std::vector<BusProbe::Message> BusProbe::Messages() const {
    const std::lock_guard lock(mMutex);
    return mMessages;
}

std::vector<std::string> BusProbe::Payloads(const std::string& topic) const {
    std::vector<std::string> payloads;
    for (const Message& message : Messages()) {
        if (message.topic == topic) {
            payloads.push_back(message.payload);
        }
    }
    return payloads;
}

bool BusProbe::WaitFor(const std::string& topic, std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mMutex);
    return mChanged.wait_for(lock, limit, [&] {
        const auto isOnTopic = [&topic](const Message& message) { return message.topic == topic; };
        return std::count_if(mMessages.begin(), mMessages.end(), isOnTopic) >= static_cast<std::ptrdiff_t>(count);
    });
}

void BusProbe::OnConnect(mosquitto* /*handle*/, void* self, int code) {
    auto* const probe = static_cast<BusProbe*>(self);
    const std::lock_guard lock(probe->mMutex);
    probe->mConnectCode = code;
    probe->mChanged.notify_all();
}

void BusProbe::OnSubscribe(mosquitto* /*handle*/, void* self, int id, int /*count*/, const int* /*granted*/) {
    auto* const probe = static_cast<BusProbe*>(self);
    const std::lock_guard lock(probe->mMutex);
    probe->mSubscribed = id;
    probe->mChanged.notify_all();
}

void BusProbe::OnPublish(mosquitto* /*handle*/, void* self, int id) {
    auto* const probe = static_cast<BusProbe*>(self);
    const std::lock_guard lock(probe->mMutex);
    probe->mPublished.push_back(id);
    probe->mChanged.notify_all();
}

void BusProbe::OnMessage(mosquitto* /*handle*/, void* self, const mosquitto_message* message) {
    auto* const probe = static_cast<BusProbe*>(self);
    const auto* const bytes = static_cast<const char*>(message->payload);
    const auto size = static_cast<std::size_t>(message->payloadlen);
    const std::lock_guard lock(probe->mMutex);
    probe->mMessages.push_back(
        {message->topic, size == 0 ? std::string() : std::string(bytes, size), message->qos, message->retain});
    probe->mChanged.notify_all();
}
