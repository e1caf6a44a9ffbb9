#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// What became of a command that the carrier sent on its own.
struct OwnCommand {
    enum class State {
        Waiting,      // to be sent, or to be sent again
        Sent,         // no answer yet
        Acked,        // answered with Ack
        Nacked,       // answered with Nack, and no attempt left
        Unanswered,   // no answer in time, and no attempt left
        NotAnswered,  // nobody answers such a command
    };
    uint64_t id = 0;
    uint8_t command = 0;
    Bytes payload;
    State state = State::Waiting;
    std::size_t timesSent = 0;
    std::size_t acks = 0;            // that reached the carrier
    std::size_t acksOnLine = 0;      // that the module sent, whatever the line then did to them
    std::size_t refusalsOnLine = 0;  // Nacks likewise, but for those that complain of damage
    std::size_t copies = 0;          // whole ones that the line was given, after its faults
    Bytes nackCodes;
    Bytes answer;        // payload of the last Ack
    TimePoint lastSent;  // last byte through the line
    TimePoint answered;  // first answer

    bool IsOver() const { return state != State::Waiting && state != State::Sent; }
};

// How the carrier sends its own commands.
struct OwnCommandPolicy {
    // Attempts per command; another one follows a Nack or the end of the answer time.
    std::size_t attempts = 1;
    Milliseconds answerTime{500};
    // One command after the other: the next one waits until the one before is over. Answers carry no name, so this is
    // what makes it certain which command an Ack belongs to.
    bool isOneByOne = false;
    // One by one only: how long the line is kept free at most after an answer, for the second answer of a doubled
    // frame; not longer than until the module has answered every whole copy.
    Milliseconds pauseAfterAnswer{0};
    // Commands that are over and still remembered.
    std::size_t remembered = 20000;
};

// The book of the carrier's own commands: what to send when, and which answer belongs to what. An answer belongs to the
// oldest command that waits for one; when they go one by one, to the latest that was sent. Not thread-safe.
class OwnCommands {
public:
    explicit OwnCommands(OwnCommandPolicy policy) : mPolicy(policy) {}

    void SetPolicy(const OwnCommandPolicy& policy) { mPolicy = policy; }

    // A new command; it is due at once, or after those before it.
    uint64_t Add(uint8_t command, Bytes payload, bool isAnswered);

    // The command to put on the line now, if any; it counts as sent.
    const OwnCommand* TakeDue(TimePoint now);

    // When TakeDue has something to do, if nothing else happens.
    std::optional<TimePoint> Deadline() const;

    // The last byte of it is through the line.
    void NoteSent(uint64_t id, TimePoint time);

    // A whole copy of it is given to the line.
    void NoteCopy(uint64_t id);

    // An Ack left the module, or a Nack that says nothing of damage.
    void NoteAckOnLine();
    void NoteRefusalOnLine();

    // An answer reached the carrier: the command that it belongs to, or null.
    const OwnCommand* NoteAck(const Bytes& payload, TimePoint time);
    const OwnCommand* NoteNack(uint8_t code, TimePoint time);

    // The carrier restarts: nothing waits any more.
    void Abandon();

    std::optional<OwnCommand> Find(uint64_t id) const;
    std::vector<OwnCommand> All() const;

private:
    struct Entry {
        OwnCommand own;
        TimePoint due{};  // Waiting: not before; Sent: end of the answer time; over: end of the pause
        bool isAnswered = true;

        bool IsEveryCopyAnswered() const { return own.copies > 0 && own.acksOnLine + own.refusalsOnLine >= own.copies; }
    };

    Entry* Answering();
    void Finish(Entry& entry, OwnCommand::State state, TimePoint due);
    void RetryOrFinish(Entry& entry, OwnCommand::State failed, TimePoint retryAt, TimePoint pauseEnd);
    void Forget();

    OwnCommandPolicy mPolicy;
    uint64_t mNextId = 1;
    uint64_t mLatest = 0;  // last one sent
    std::map<uint64_t, Entry> mEntries;
    std::deque<uint64_t> mOpen;  // not over, oldest first; one by one also the one whose pause still runs
};

}  // namespace simulator
