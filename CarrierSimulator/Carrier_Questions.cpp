// The part of the carrier that others ask: what came, what was told, and the waits for it.
#include <algorithm>

#include "CarrierSimulator/Carrier.h"

namespace simulator {
namespace {

// The first record from `next` on that matches; `next` moves behind what was looked at.
std::optional<FrameRecord> Search(const FrameLog& log, const Carrier::Predicate& matches, std::size_t& next) {
    for (next = std::max(next, log.First()); next < log.Next(); ++next) {
        if (matches(log.At(next))) {
            return log.At(next);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<OwnCommand> Carrier::Outcome(uint64_t id) const {
    const Lock lock(mMutex);
    return mOwnCommands.Find(id);
}

std::vector<OwnCommand> Carrier::OwnCommandList() const {
    const Lock lock(mMutex);
    return mOwnCommands.All();
}

std::optional<OwnCommand> Carrier::WaitForOutcome(uint64_t id, Milliseconds timeout) const {
    Lock lock(mMutex);
    std::optional<OwnCommand> outcome;
    const bool isOver = mChanged.wait_for(lock, timeout, [&] {
        outcome = mOwnCommands.Find(id);
        return outcome && outcome->IsOver();
    });
    return isOver ? outcome : std::nullopt;
}

std::vector<FrameRecord> Carrier::Received(std::size_t from) const {
    const Lock lock(mMutex);
    return mReceived.From(from);
}

std::vector<FrameRecord> Carrier::Sent(std::size_t from) const {
    const Lock lock(mMutex);
    return mSent.From(from);
}

std::size_t Carrier::ReceivedCount() const {
    const Lock lock(mMutex);
    return mReceived.Next();
}

std::size_t Carrier::SentCount() const {
    const Lock lock(mMutex);
    return mSent.Next();
}

std::optional<FrameRecord> Carrier::WaitForFrame(const Predicate& matches, Milliseconds timeout,
                                                 std::size_t from) const {
    Lock lock(mMutex);
    std::optional<FrameRecord> found;
    mChanged.wait_for(lock, timeout, [&] { return (found = Search(mReceived, matches, from)).has_value(); });
    return found;
}

std::optional<FrameRecord> Carrier::WaitForFrame(uint8_t command, Milliseconds timeout, std::size_t from) const {
    return WaitForFrame([command](const FrameRecord& record) { return record.IsCommand(command); }, timeout, from);
}

std::optional<FrameRecord> Carrier::WaitForFrame(uint8_t command, const Bytes& payload, Milliseconds timeout,
                                                 std::size_t from) const {
    const auto matches = [&](const FrameRecord& record) {
        return record.IsCommand(command) && record.payload == payload;
    };
    return WaitForFrame(matches, timeout, from);
}

std::optional<FrameRecord> Carrier::WaitForSent(const Predicate& matches, Milliseconds timeout,
                                                std::size_t from) const {
    Lock lock(mMutex);
    std::optional<FrameRecord> found;
    mChanged.wait_for(lock, timeout, [&] { return (found = Search(mSent, matches, from)).has_value(); });
    return found;
}

bool Carrier::WaitForCount(uint8_t command, std::size_t count, Milliseconds timeout, std::size_t from) const {
    std::size_t seen = 0;
    if (count == 0) {
        return true;
    }
    const auto matches = [&](const FrameRecord& record) { return record.IsCommand(command) && ++seen == count; };
    return WaitForFrame(matches, timeout, from).has_value();
}

bool Carrier::WaitForState(const std::function<bool(const CarrierState&)>& holds, Milliseconds timeout) const {
    Lock lock(mMutex);
    return mChanged.wait_for(lock, timeout, [&] {
        CarrierState state = mState;
        state.clock = mClock.Now();
        state.firmware = mFirmware.Status();
        return holds(state);
    });
}

CarrierState Carrier::State() const {
    const Lock lock(mMutex);
    CarrierState state = mState;
    state.clock = mClock.Now();
    state.firmware = mFirmware.Status();
    return state;
}

CarrierStatistics Carrier::Statistics() const {
    const Lock lock(mMutex);
    CarrierStatistics statistics = mStatistics;
    statistics.receiveFaults = mFaults.Counts(Direction::Received);
    statistics.sendFaults = mFaults.Counts(Direction::Sent);
    return statistics;
}

Bytes Carrier::ReceivedFile() const {
    const Lock lock(mMutex);
    return mFirmware.Received();
}

std::vector<AppliedImage> Carrier::AppliedImages() const {
    const Lock lock(mMutex);
    return mFirmware.Applied();
}

}  // namespace simulator
