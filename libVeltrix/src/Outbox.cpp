#include "libVeltrix/src/Outbox.h"

#include <algorithm>
#include <utility>

#include "libVeltrix/src/BusLimits.h"

namespace VeltrixDetail {

std::size_t Outbox::Push(Publication publication, std::size_t maxWaiting) {
    mWaitingBytes += publication.Bytes();
    mWaiting.push_back(std::move(publication));
    return Trim(maxWaiting);
}

std::size_t Outbox::Trim(std::size_t maxWaiting) {
    std::size_t dropped = 0;
    while (mWaiting.size() > maxWaiting || mWaitingBytes > kMaxQueueBytes) {
        mWaitingBytes -= mWaiting.front().Bytes();
        mWaiting.pop_front();
        ++dropped;
    }
    return dropped;
}

std::optional<Publication> Outbox::TakeNext() {
    if (mWaiting.empty() || mUnacknowledged.size() >= kInFlight) {
        return std::nullopt;
    }
    Publication next = std::move(mWaiting.front());
    mWaiting.pop_front();
    mWaitingBytes -= next.Bytes();
    return next;
}

void Outbox::MarkSent(int messageId, Publication publication) {
    mUnacknowledged.push_back({messageId, std::move(publication)});
}

void Outbox::MarkDelivered(int messageId) {
    const auto isIt = [messageId](const Sent& sent) { return sent.messageId == messageId; };
    const auto found = std::find_if(mUnacknowledged.begin(), mUnacknowledged.end(), isIt);
    if (found != mUnacknowledged.end()) {
        mUnacknowledged.erase(found);
    }
}

std::size_t Outbox::TakeBackUnacknowledged(std::size_t maxWaiting) {
    while (!mUnacknowledged.empty()) {
        mWaitingBytes += mUnacknowledged.back().publication.Bytes();
        mWaiting.push_front(std::move(mUnacknowledged.back().publication));
        mUnacknowledged.pop_back();
    }
    return Trim(maxWaiting);
}

}  // namespace VeltrixDetail
