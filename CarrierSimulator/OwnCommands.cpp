#include "CarrierSimulator/OwnCommands.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

// Between a Nack and the next attempt.
constexpr Milliseconds kPauseAfterNack{13};

}  // namespace

uint64_t OwnCommands::Add(uint8_t command, Bytes payload, bool isAnswered) {
    Entry entry;
    entry.own.id = mNextId++;
    entry.own.command = command;
    entry.own.payload = std::move(payload);
    entry.isAnswered = isAnswered;
    const uint64_t id = entry.own.id;
    mEntries.emplace(id, std::move(entry));
    mOpen.push_back(id);
    Forget();
    return id;
}

void OwnCommands::Forget() {
    while (mEntries.size() > mPolicy.remembered + mOpen.size() && mEntries.begin()->second.own.IsOver()) {
        mEntries.erase(mEntries.begin());
    }
}

const OwnCommand* OwnCommands::TakeDue(TimePoint now) {
    for (std::size_t index = 0; index < mOpen.size();) {
        Entry& entry = mEntries.at(mOpen[index]);
        if (entry.own.state == OwnCommand::State::Sent && now >= entry.due) {
            RetryOrFinish(entry, OwnCommand::State::Unanswered, now, now);
        }
        if (entry.own.state == OwnCommand::State::Waiting && now >= entry.due) {
            ++entry.own.timesSent;
            mLatest = entry.own.id;
            entry.due = now + mPolicy.answerTime;
            if (entry.isAnswered) {
                entry.own.state = OwnCommand::State::Sent;
            } else {
                Finish(entry, OwnCommand::State::NotAnswered, now);
            }
            return &entry.own;
        }
        if (mPolicy.isOneByOne) {
            if (!entry.own.IsOver() || (now < entry.due && !entry.IsEveryCopyAnswered())) {
                break;
            }
            mOpen.pop_front();
        } else if (!entry.own.IsOver()) {
            ++index;
        }  // else it has just left mOpen, and the next one stands in its place
    }
    return nullptr;
}

std::optional<TimePoint> OwnCommands::Deadline() const {
    std::optional<TimePoint> deadline;
    for (const uint64_t id : mOpen) {
        const TimePoint due = mEntries.at(id).due;
        deadline = deadline ? std::min(*deadline, due) : due;
        if (mPolicy.isOneByOne) {
            break;
        }
    }
    return deadline;
}

void OwnCommands::NoteSent(uint64_t id, TimePoint time) {
    const auto found = mEntries.find(id);
    if (found == mEntries.end()) {
        return;
    }
    Entry& entry = found->second;
    entry.own.lastSent = time;
    if (entry.own.state == OwnCommand::State::Sent) {
        entry.due = time + mPolicy.answerTime;
    }
}

OwnCommands::Entry* OwnCommands::Answering() {
    if (mPolicy.isOneByOne) {
        const auto latest = mEntries.find(mLatest);
        return latest != mEntries.end() && latest->second.isAnswered ? &latest->second : nullptr;
    }
    for (const uint64_t id : mOpen) {
        Entry& entry = mEntries.at(id);
        if (entry.own.state == OwnCommand::State::Sent) {
            return &entry;
        }
    }
    return nullptr;
}

void OwnCommands::NoteCopy(uint64_t id) {
    if (const auto found = mEntries.find(id); found != mEntries.end()) {
        ++found->second.own.copies;
    }
}

void OwnCommands::NoteRefusalOnLine() {
    if (Entry* entry = Answering()) {
        ++entry->own.refusalsOnLine;
    }
}

void OwnCommands::NoteAckOnLine() {
    if (Entry* entry = Answering()) {
        ++entry->own.acksOnLine;
    }
}

const OwnCommand* OwnCommands::NoteAck(const Bytes& payload, TimePoint time) {
    Entry* entry = Answering();
    if (entry == nullptr) {
        return nullptr;
    }
    if (entry->own.acks == 0) {
        entry->own.answered = time;
    }
    ++entry->own.acks;
    entry->own.answer = payload;
    Finish(*entry, OwnCommand::State::Acked, time + mPolicy.pauseAfterAnswer);
    return &entry->own;
}

const OwnCommand* OwnCommands::NoteNack(uint8_t code, TimePoint time) {
    Entry* entry = Answering();
    if (entry == nullptr) {
        return nullptr;
    }
    entry->own.nackCodes.push_back(code);
    if (entry->own.state == OwnCommand::State::Sent) {
        RetryOrFinish(*entry, OwnCommand::State::Nacked, time + kPauseAfterNack, time + mPolicy.pauseAfterAnswer);
    }
    return &entry->own;
}

void OwnCommands::RetryOrFinish(Entry& entry, OwnCommand::State failed, TimePoint retryAt, TimePoint pauseEnd) {
    if (entry.own.timesSent < mPolicy.attempts) {
        entry.own.state = OwnCommand::State::Waiting;
        entry.due = retryAt;
    } else {
        Finish(entry, failed, pauseEnd);
    }
}

void OwnCommands::Finish(Entry& entry, OwnCommand::State state, TimePoint due) {
    entry.own.state = state;
    entry.due = due;
    if (!mPolicy.isOneByOne) {
        std::erase(mOpen, entry.own.id);
    }
}

void OwnCommands::Abandon() {
    for (const uint64_t id : mOpen) {
        Entry& entry = mEntries.at(id);
        if (!entry.own.IsOver()) {
            entry.own.state = OwnCommand::State::Unanswered;
        }
    }
    mOpen.clear();
}

std::optional<OwnCommand> OwnCommands::Find(uint64_t id) const {
    const auto found = mEntries.find(id);
    return found == mEntries.end() ? std::nullopt : std::optional(found->second.own);
}

std::vector<OwnCommand> OwnCommands::All() const {
    std::vector<OwnCommand> all;
    all.reserve(mEntries.size());
    for (const auto& [id, entry] : mEntries) {
        all.push_back(entry.own);
    }
    return all;
}

}  // namespace simulator
