// The carrier's thread: takes bytes from the line as fast as the wire would bring them, and keeps the timers.
#include <algorithm>
#include <array>
#include <utility>

#include "CarrierSimulator/Carrier.h"

namespace simulator {
namespace {

// Taken at once from a line without a pace, and from a paced one: there little, so that what the wire would not have
// brought yet stays in the line.
constexpr std::size_t kUnpacedChunk = 4096;
constexpr std::size_t kPacedChunk = 64;

bool IsAboutDamage(const Bytes& nackPayload) {
    return !nackPayload.empty() &&
           (nackPayload.front() == nack::kHeaderCrc || nackPayload.front() == nack::kPayloadCrc ||
            nackPayload.front() == nack::kInvalidPayload);
}

}  // namespace

void Carrier::Run() {
    std::vector<LineItem> items;
    while (!mIsStopping) {
        const CarrierLine::Readiness readiness = mLine.WaitReadable(NextDeadline());
        if (readiness == CarrierLine::Readiness::Closed) {
            break;
        }
        if (readiness == CarrierLine::Readiness::Data) {
            TakeBytes(items);
        }
        ExpireSilence(items);
        for (const LineItem& item : items) {
            TakeItem(item);
        }
        items.clear();
        if (mReceivePacer.IsPaced()) {
            SleepUntil(mReceivePacer.FreeAt());
            // Only behind bytes of this round: what comes while nothing was on the wire begins when it comes.
            mIsFollowing = readiness == CarrierLine::Readiness::Data && mLine.HasData();
        }
        RunTimers(Clock::now());
        DeliverEvents();
    }
    DeliverEvents();
}

TimePoint Carrier::NextDeadline() const {
    const Lock lock(mMutex);
    TimePoint deadline = std::min(mNextHeartbeat, Clock::now() + std::chrono::minutes(1));
    for (const std::optional<TimePoint>& each :
         {mLineDecoder.Deadline(), mOwnDecoder.Deadline(), mOwnCommands.Deadline()}) {
        deadline = each ? std::min(deadline, *each) : deadline;
    }
    return mTimers.empty() ? deadline : std::min(deadline, mTimers.begin()->first);
}

// The line was silent only if nothing waits in it: this thread may have been the one that slept.
void Carrier::ExpireSilence(std::vector<LineItem>& items) {
    const TimePoint now = Clock::now();
    const std::optional<TimePoint> deadline = mLineDecoder.Deadline();
    if (deadline && now >= *deadline && !mLine.HasData()) {
        mLineDecoder.Expire(now, items);
    }
}

void Carrier::TakeBytes(std::vector<LineItem>& items) {
    std::array<uint8_t, kUnpacedChunk> buffer;
    const std::size_t limit = mReceivePacer.IsPaced() ? kPacedChunk : kUnpacedChunk;
    // Bytes that wait already when the wire becomes free came right behind those before: a late wake-up must not slow
    // the line down.
    const TimePoint earliest = mIsFollowing ? mReceivePacer.FreeAt() : Clock::now();
    const std::size_t count = mLine.Read(std::span(buffer).first(limit));
    const TimePoint start = mReceivePacer.Occupy(earliest, count);
    mLineDecoder.Feed(std::span(buffer).first(count), start, mReceivePacer.PerByte(), items);
    const Lock lock(mMutex);
    mStatistics.bytesReceived += count;
}

// What the module sent goes through the faults of the line to the carrier's own decoder.
void Carrier::TakeItem(const LineItem& item) {
    SleepUntil(item.time);
    std::vector<LinePart> parts = {LinePart{item.raw}};
    if (item.IsFrame()) {
        parts = mFaults.Apply(Direction::Received, item.raw);
        const Lock lock(mMutex);
        if (item.command == command::kAck) {
            mOwnCommands.NoteAckOnLine();
        } else if (item.command == command::kNack && !IsAboutDamage(item.payload)) {
            mOwnCommands.NoteRefusalOnLine();
        }
    }
    TimePoint time = item.time;
    for (const LinePart& part : parts) {
        time += part.delay;
        SleepUntil(time);
        std::vector<LineItem> heard;
        const Lock lock(mMutex);
        mOwnDecoder.Feed(part.bytes, time, Clock::duration{0}, heard);
        if (!item.IsFrame()) {
            mOwnDecoder.Flush(heard);  // the line was silent behind it already
        }
        for (const LineItem& each : heard) {
            Hear(each);
        }
        if (part.isRestartBehind) {
            BeginRestart(Clock::now(), mOptions.restartTime);
        }
    }
    mChanged.notify_all();
    DeliverEvents();
}

void Carrier::RunTimers(TimePoint now) {
    {
        const Lock lock(mMutex);
        std::vector<LineItem> heard;
        mOwnDecoder.Expire(now, heard);
        for (const LineItem& item : heard) {
            Hear(item);
        }
        while (!mTimers.empty() && mTimers.begin()->first <= now) {
            const std::function<void()> action = std::move(mTimers.begin()->second);
            mTimers.erase(mTimers.begin());
            action();
        }
        if (now >= mNextHeartbeat) {
            if (now >= mAwayUntil) {
                AddOwn(command::kCarrierAlive, HeartbeatPayload());
            }
            mNextHeartbeat = std::max(mNextHeartbeat + mOptions.heartbeatPeriod, now);
        }
        SendOwnCommands(now);
    }
    mChanged.notify_all();
}

void Carrier::At(TimePoint time, std::function<void()> action) {
    mTimers.emplace(time, std::move(action));
}

// Only as long as a few bytes take on the wire, or as a fault delays a frame.
void Carrier::SleepUntil(TimePoint time) {
    if (time <= Clock::now()) {
        return;
    }
    Lock lock(mMutex);
    mChanged.wait_until(lock, time, [this] { return mIsStopping.load(); });
}

void Carrier::DeliverEvents() {
    const std::lock_guard telling(mListenerMutex);
    std::vector<Event> events;
    {
        const Lock lock(mMutex);
        events.swap(mEvents);
    }
    if (mListener != nullptr) {
        for (const Event& event : events) {
            event(*mListener);
        }
    }
}

}  // namespace simulator
