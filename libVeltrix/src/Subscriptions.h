// Who wants to hear which topic, and what the broker said to that.
#pragma once

#include <Veltrix/EventClient.h>

#include <memory>
#include <string>
#include <vector>

namespace VeltrixDetail {

struct Subscription {
    std::string topic;
    EventClient::Handler handler = nullptr;
    std::unique_ptr<const VeltrixDataTypeBase> prototype;
    void* context = nullptr;
    bool isDeferred = false;
};

// A message read for one subscription.
struct Delivery {
    std::shared_ptr<const Subscription> subscription;
    std::unique_ptr<VeltrixDataTypeBase> message;
    std::size_t bytes = 0;
};

// Not synchronised: its owner's lock guards it.
class Subscriptions {
public:
    enum class State { Waiting, Granted, Refused };

    void Add(std::shared_ptr<const Subscription> subscription);
    void Remove(const Subscription* subscription);
    State StateOf(const Subscription* subscription) const;

    // A new connection knows none of them.
    void StartSession();
    // The topics that this connection has not been asked for yet; each is then marked with the request's message id.
    std::vector<std::string> Unasked() const;
    void MarkAsked(const std::string& topic, int messageId);
    // The broker's answer. Returns the topics that had been granted on an earlier connection and now are not.
    std::vector<std::string> Settle(int messageId, bool isGranted);

    std::vector<std::shared_ptr<const Subscription>> Find(const std::string& topic) const;

private:
    struct Entry {
        std::shared_ptr<const Subscription> subscription;
        State state = State::Waiting;
        int messageId = 0;  // 0: not asked for on this connection
    };

    std::vector<Entry> mEntries;
};

}  // namespace VeltrixDetail
