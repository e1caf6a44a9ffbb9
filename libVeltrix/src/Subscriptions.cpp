#include "libVeltrix/src/Subscriptions.h"

#include <algorithm>
#include <utility>

namespace VeltrixDetail {

void Subscriptions::Add(std::shared_ptr<const Subscription> subscription) {
    mEntries.push_back({std::move(subscription), State::Waiting, 0});
}

void Subscriptions::Remove(const Subscription* subscription) {
    std::erase_if(mEntries, [subscription](const Entry& entry) { return entry.subscription.get() == subscription; });
}

Subscriptions::State Subscriptions::StateOf(const Subscription* subscription) const {
    for (const Entry& entry : mEntries) {
        if (entry.subscription.get() == subscription) {
            return entry.state;
        }
    }
    return State::Refused;
}

void Subscriptions::StartSession() {
    for (Entry& entry : mEntries) {
        entry.messageId = 0;
    }
}

std::vector<std::string> Subscriptions::Unasked() const {
    std::vector<std::string> topics;
    for (const Entry& entry : mEntries) {
        const std::string& topic = entry.subscription->topic;
        if (entry.messageId == 0 && std::find(topics.begin(), topics.end(), topic) == topics.end()) {
            topics.push_back(topic);
        }
    }
    return topics;
}

void Subscriptions::MarkAsked(const std::string& topic, int messageId) {
    for (Entry& entry : mEntries) {
        if (entry.messageId == 0 && entry.subscription->topic == topic) {
            entry.messageId = messageId;
        }
    }
}

std::vector<std::string> Subscriptions::Settle(int messageId, bool isGranted) {
    std::vector<std::string> lost;
    for (Entry& entry : mEntries) {
        if (entry.messageId == messageId) {
            if (!isGranted && entry.state == State::Granted) {
                lost.push_back(entry.subscription->topic);
            } else {
                entry.state = isGranted ? State::Granted : State::Refused;
            }
        }
    }
    return lost;
}

std::vector<std::shared_ptr<const Subscription>> Subscriptions::Find(const std::string& topic) const {
    std::vector<std::shared_ptr<const Subscription>> found;
    for (const Entry& entry : mEntries) {
        if (entry.subscription->topic == topic) {
            found.push_back(entry.subscription);
        }
    }
    return found;
}

}  // namespace VeltrixDetail
