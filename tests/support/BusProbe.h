// A plain client of the broker, for looking at the bus from outside and putting anything on it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

struct mosquitto;
struct mosquitto_message;

// Speaks to libmosquitto directly, with nothing of the platform library in between. Throws std::runtime_error where
// something that it needs does not work.
class BusProbe {
public:
    struct Message {
        std::string topic;
        std::string payload;
        int qualityOfService = 0;
        bool isRetained = false;
    };

    // Connected on return.
    explicit BusProbe(const std::string& socket);
    ~BusProbe();
    BusProbe(const BusProbe&) = delete;
    BusProbe& operator=(const BusProbe&) = delete;

    // Granted on return. Wildcards as MQTT has them.
    void Subscribe(const std::string& filter);
    // Taken by the broker on return.
    void Publish(const std::string& topic, const std::string& payload, bool isRetained = false);
    // Returns without waiting for the broker; messages still go out in order. For bursts, with a Publish at their end.
    void PublishLater(const std::string& topic, const std::string& payload);

    // What has come so far, in order.
    std::vector<Message> Messages() const;
    std::vector<std::string> Payloads(const std::string& topic) const;
    // Whether so many have come on that topic, waiting for them.
    bool WaitFor(const std::string& topic, std::size_t count,
                 std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

private:
    void Check(int result, const char* what) const;
    template <typename Condition>
    void Await(Condition condition, const char* what);
    int Send(const std::string& topic, const std::string& payload, bool isRetained);

    static void OnConnect(mosquitto* handle, void* self, int code);
    static void OnSubscribe(mosquitto* handle, void* self, int id, int count, const int* granted);
    static void OnPublish(mosquitto* handle, void* self, int id);
    static void OnMessage(mosquitto* handle, void* self, const mosquitto_message* message);

    mosquitto* mHandle;
    mutable std::mutex mMutex;  // guards everything below
    mutable std::condition_variable mChanged;
    int mConnectCode = -1;
    int mSubscribed = 0;
    std::vector<int> mPublished;
    std::vector<Message> mMessages;
};
