// Publications on their way to the broker: those that wait, and those sent but not acknowledged.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

namespace VeltrixDetail {

struct Publication {
    std::string topic;
    std::string payload;

    std::size_t Bytes() const { return topic.size() + payload.size(); }
};

// Not synchronised: its owner's lock guards it.
class Outbox {
public:
    // Appends; then, while more than `maxWaiting` (or kMaxQueueBytes) wait, drops the oldest. Returns how many went.
    std::size_t Push(Publication publication, std::size_t maxWaiting);

    // The next one to send, if one waits and fewer than kInFlight are under way. It must come back through MarkSent.
    std::optional<Publication> TakeNext();
    void MarkSent(int messageId, Publication publication);
    void MarkDelivered(int messageId);

    // After the loss of a connection: what was not acknowledged waits again, in its old order before everything else.
    // Drops as Push does. A publication that the broker had taken already is delivered twice then.
    std::size_t TakeBackUnacknowledged(std::size_t maxWaiting);

    // Everything was delivered.
    bool IsEmpty() const { return mWaiting.empty() && mUnacknowledged.empty(); }
    std::size_t Size() const { return mWaiting.size() + mUnacknowledged.size(); }

private:
    struct Sent {
        int messageId;
        Publication publication;
    };

    std::size_t Trim(std::size_t maxWaiting);

    std::deque<Publication> mWaiting;
    std::size_t mWaitingBytes = 0;
    std::deque<Sent> mUnacknowledged;
};

}  // namespace VeltrixDetail
