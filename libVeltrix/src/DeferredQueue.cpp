#include "libVeltrix/src/DeferredQueue.h"

#include <algorithm>
#include <utility>

#include "libVeltrix/src/LibraryLog.h"

namespace VeltrixDetail {

void DeferredQueue::Push(Delivery delivery) {
    bool isOver = false;
    {
        const std::lock_guard lock(mMutex);
        if (mIsClosed) {
            return;
        }
        Line& line = mLines[delivery.subscription->topic];
        mBytes += delivery.bytes;
        line.bytes += delivery.bytes;
        line.messages.push_back({++mLastNumber, std::move(delivery)});
        ++mMessages;
        while (mMessages > kMaxDeferred || mBytes > kMaxQueueBytes) {
            DropOne();
            isOver = true;
        }
    }
    mChanged.notify_all();
    if (isOver) {
        ReportDropped();
    }
}

void DeferredQueue::DropOne() {
    const bool areTooMany = mMessages > kMaxDeferred;
    const auto isShorter = [areTooMany](const Lines::value_type& left, const Lines::value_type& right) {
        return areTooMany ? left.second.messages.size() < right.second.messages.size()
                          : left.second.bytes < right.second.bytes;
    };
    const auto longest = std::max_element(mLines.begin(), mLines.end(), isShorter);
    ++mDropped[longest->first];
    TakeFront(longest);
}

Delivery DeferredQueue::TakeFront(Lines::iterator line) {
    Delivery delivery = std::move(line->second.messages.front().delivery);
    line->second.messages.pop_front();
    line->second.bytes -= delivery.bytes;
    mBytes -= delivery.bytes;
    --mMessages;
    if (line->second.messages.empty()) {
        mLines.erase(line);
    }
    return delivery;
}

std::uint64_t DeferredQueue::WaitForFirst(std::chrono::milliseconds limit) {
    std::unique_lock lock(mMutex);
    if (limit.count() > 0) {
        mChanged.wait_until(lock, BusClock::now() + limit, [this] { return mMessages > 0 || mIsClosed; });
    }
    return mMessages > 0 ? mLastNumber : 0;
}

std::optional<Delivery> DeferredQueue::Pop(std::uint64_t youngest) {
    const std::lock_guard lock(mMutex);
    const auto isOlder = [](const Lines::value_type& left, const Lines::value_type& right) {
        return left.second.messages.front().number < right.second.messages.front().number;
    };
    const auto oldest = std::min_element(mLines.begin(), mLines.end(), isOlder);
    if (oldest == mLines.end() || oldest->second.messages.front().number > youngest) {
        return std::nullopt;
    }
    return TakeFront(oldest);
}

void DeferredQueue::Close() {
    Lines dropped;  // destroyed outside the lock
    {
        const std::lock_guard lock(mMutex);
        mIsClosed = true;
        mLines.swap(dropped);
        mMessages = 0;
        mBytes = 0;
    }
    mChanged.notify_all();
}

void DeferredQueue::ReportDropped() {
    std::map<std::string, std::size_t> dropped;
    {
        const std::lock_guard lock(mMutex);
        const auto now = BusClock::now();
        if (mDropped.empty() || now < mNextReport) {
            return;
        }
        mNextReport = now + kTick;
        mDropped.swap(dropped);
    }
    for (const auto& [topic, count] : dropped) {
        LogWarning("{} waiting messages on \"{}\" dropped: they came faster than they were handled", count, topic);
    }
}

}  // namespace VeltrixDetail
