#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// Cuts a byte stream into frames. After a bad frame it looks for the next start byte inside the bytes that it already
// holds, so that one damaged frame never takes a good one with it. Bytes that belong to no frame come out as one item,
// when the next good frame begins or the line falls silent. One thread.
class FrameDecoder {
public:
    // Silence after which a frame that began is given up, and after which bytes that began none are reported.
    struct Gaps {
        Milliseconds frame{100};
        Milliseconds noise{5};
    };

    FrameDecoder() : FrameDecoder(Gaps{}) {}
    explicit FrameDecoder(Gaps gaps) : mGaps(gaps) {}

    // Takes bytes of which the first is through the line at `start + perByte`; appends what is complete to `items`.
    void Feed(std::span<const uint8_t> bytes, TimePoint start, Clock::duration perByte, std::vector<LineItem>& items);

    // The moment at which Expire has something to do, if no byte comes before.
    std::optional<TimePoint> Deadline() const;

    // Gives up what the silence until `now` ended.
    void Expire(TimePoint now, std::vector<LineItem>& items);

    // Reports everything that is held as broken, whatever the time.
    void Flush(std::vector<LineItem>& items);

    // Forgets everything without a report.
    void Reset();

private:
    enum class Step { NeedMore, Frame, Dropped };

    Step Examine(bool isLast, std::vector<LineItem>& items);
    Step Reject(LineItem::Kind kind);
    void EmitFrame(std::size_t size, std::vector<LineItem>& items);
    void EmitJunk(std::vector<LineItem>& items);
    void HuntFrom(std::size_t search, std::size_t junk);
    bool IsHolding() const { return !mHeld.empty(); }

    Gaps mGaps;
    Bytes mHeld;             // at mBegin stands a start byte; empty when no frame has begun
    std::size_t mBegin = 0;  // a position instead of an erasure: a long false frame may hold many start bytes
    Bytes mJunk;             // belongs to no frame; not yet reported
    LineItem::Kind mJunkKind = LineItem::Kind::Noise;  // the first reason of the junk that is held
    TimePoint mLastByte;
    TimePoint mJunkTime;
};

}  // namespace simulator
