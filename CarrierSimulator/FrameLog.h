#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "CarrierSimulator/CarrierFrame.h"
#include "CarrierSimulator/FaultInjector.h"

namespace simulator {

// Something that passed the carrier's end of the line: a frame, or bytes that are none.
struct FrameRecord {
    std::size_t index = 0;  // counts up within its direction
    Direction direction = Direction::Received;
    TimePoint time;  // last byte through the line
    LineItem::Kind kind = LineItem::Kind::Noise;
    Bytes raw;
    uint8_t command = 0;                // good frames only
    Bytes payload;                      // good frames only
    std::optional<uint8_t> answerTo{};  // Sent: the command that this answers
    // Received: the carrier was away (restarting) and did not hear it. Sent: nobody had the line open.
    bool isLost = false;

    bool IsFrame() const { return kind == LineItem::Kind::Frame; }
    bool IsCommand(uint8_t code) const { return IsFrame() && command == code; }
    bool IsCrcOk() const { return IsFrame(); }
};

// The records of one direction, numbered for ever, of which the latest `limit` are kept. Not thread-safe.
class FrameLog {
public:
    explicit FrameLog(std::size_t limit) : mLimit(limit) {}

    void SetLimit(std::size_t limit);

    // Numbers the record and keeps it; the reference lasts until the next Add.
    const FrameRecord& Add(FrameRecord record);

    // The number that the next record gets.
    std::size_t Next() const { return mNext; }

    // The number of the oldest record that is kept.
    std::size_t First() const { return mNext - mRecords.size(); }

    const FrameRecord& At(std::size_t index) const { return mRecords[index - First()]; }

    std::vector<FrameRecord> From(std::size_t index) const;

private:
    std::size_t mLimit;
    std::size_t mNext = 0;
    std::deque<FrameRecord> mRecords;
    FrameRecord mLast;  // when nothing is kept
};

// The record of bytes that are sent: what they are is found by decoding them.
FrameRecord RecordOfSent(const Bytes& bytes, TimePoint time);

}  // namespace simulator
