// Messages that wait until the process runs their handlers.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "libVeltrix/src/BusLimits.h"
#include "libVeltrix/src/Subscriptions.h"

namespace VeltrixDetail {

// Bounded by kMaxDeferred messages and kMaxQueueBytes. Past that the oldest message of the topic that has the most
// waiting goes: a flood of samples never throws out the one message that ends the weld. Thread-safe.
class DeferredQueue {
public:
    void Push(Delivery delivery);

    // Waits for a message, at most so long, and names the youngest that waits now; 0 for none.
    std::uint64_t WaitForFirst(std::chrono::milliseconds limit);
    // The oldest message, if it is not younger than that.
    std::optional<Delivery> Pop(std::uint64_t youngest);

    // Empties the queue for ever and ends every wait.
    void Close();

    // Logs how many messages of which topic were dropped since it was last said; at most once in kTick.
    void ReportDropped();

private:
    struct Waiting {
        std::uint64_t number;
        Delivery delivery;
    };
    struct Line {
        std::deque<Waiting> messages;
        std::size_t bytes = 0;
    };
    using Lines = std::map<std::string, Line>;

    void DropOne();
    Delivery TakeFront(Lines::iterator line);

    std::mutex mMutex;  // guards everything below
    std::condition_variable mChanged;
    Lines mLines;  // by topic; none of them empty
    std::size_t mMessages = 0;
    std::size_t mBytes = 0;
    std::uint64_t mLastNumber = 0;
    bool mIsClosed = false;
    std::map<std::string, std::size_t> mDropped;
    BusClock::time_point mNextReport{};
};

}  // namespace VeltrixDetail
