#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// As seen from the carrier.
enum class Direction { Received, Sent };

// How often, from 0 (never) to 1 (always), a frame suffers each fault. Each is drawn for itself; a dropped frame
// suffers nothing else.
struct FaultRates {
    double drop = 0;
    double corrupt = 0;    // one bit flipped
    double cut = 0;        // ends early
    double duplicate = 0;  // comes twice
    double delay = 0;      // comes `delayTime` late
    double noise = 0;      // 1 to 16 invented bytes before it
    double forge = 0;      // a frame before it that nobody sent, one CRC of which is wrong
    Milliseconds delayTime{50};

    bool IsClean() const { return drop + corrupt + cut + duplicate + delay + noise + forge <= 0; }
};

// One fault, or a series of them, at a place that the script names.
struct ScriptedFault {
    enum class Where {
        Received,  // a frame from the module, before the carrier sees it
        Sent,      // a frame of the carrier, whatever it is
        Answer     // what the carrier answers to a frame from the module
    };
    enum class What {
        Drop,          // lost; as Answer: the command is carried out, the answer is lost
        Corrupt,       // one bit flipped
        Half,          // only its first half
        Cut,           // only its first `code` bytes
        Restart,       // Received only: the carrier restarts behind `code` bytes of it, at the latest before its last
        Duplicate,     // twice
        Late,          // `delay` late
        ByteByByte,    // with a pause of `delay` (1 ms if 0) between its bytes
        Nack,          // Answer only: Nack with `code`, the command is not carried out
        Ignore,        // Answer only: not carried out, not answered
        OtherCommand,  // Answer only: command `code` without payload in place of the answer
    };
    Where where = Where::Answer;
    What what = What::Drop;
    std::optional<uint8_t> command{};  // only frames with this command; for Answer: the command answered
    std::size_t skip = 0;              // matching frames that pass first
    std::size_t count = 1;             // matching frames that suffer; 0 for all from there on
    uint8_t code = 0;
    Milliseconds delay{0};
};

// What is put on the line in place of a frame.
struct LinePart {
    Bytes bytes;
    Milliseconds delay{0};
    Milliseconds pausePerByte{0};
    bool isDamaged = false;
    bool isRestartBehind = false;  // of the carrier, once it has heard this
};

// What faults did, for statistics.
struct FaultCounts {
    std::size_t dropped = 0;
    std::size_t corrupted = 0;
    std::size_t cut = 0;
    std::size_t duplicated = 0;
    std::size_t delayed = 0;
    std::size_t noise = 0;
    std::size_t forged = 0;

    std::size_t Total() const { return dropped + corrupted + cut + duplicated + delayed + noise + forged; }
};

// Damages frames, by rates drawn from a seed or by script. The draws of the two directions are independent of each
// other: the same seed and the same frames in one direction give the same faults there. Thread-safe.
class FaultInjector {
public:
    explicit FaultInjector(uint64_t seed);

    void SetRates(Direction direction, const FaultRates& rates);

    void Script(const ScriptedFault& fault);
    void ClearScripts();

    // Clean line from now on: no rates, no scripts.
    void Clear();

    // The parts that take the frame's place, in their order; none when it is lost.
    std::vector<LinePart> Apply(Direction direction, const Bytes& frame);

    // The fault that waits for the answer to this command, if any. Each call is one frame for the scripts.
    std::optional<ScriptedFault> NextAnswerFault(uint8_t command);

    // The parts that take the place of an answer, as its scripted fault says.
    std::vector<LinePart> ApplyToAnswer(const ScriptedFault& fault, const Bytes& answer);

    FaultCounts Counts(Direction direction) const;

private:
    struct Line {
        FaultRates rates;
        FaultCounts counts;
        std::mt19937_64 engine;
    };

    Line& LineOf(Direction direction) { return mLines[direction == Direction::Received ? 0 : 1]; }
    const Line& LineOf(Direction direction) const { return mLines[direction == Direction::Received ? 0 : 1]; }
    std::optional<ScriptedFault> NextScripted(ScriptedFault::Where where, uint8_t command);
    static std::vector<LinePart> ApplyScripted(Line& line, const ScriptedFault& fault, const Bytes& frame);
    static std::vector<LinePart> ApplyRates(Line& line, const Bytes& frame);

    mutable std::mutex mMutex;
    std::array<Line, 2> mLines;
    std::vector<ScriptedFault> mScripts;
};

}  // namespace simulator
