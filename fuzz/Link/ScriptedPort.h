// The carrier's end of the line: bytes that become readable at their time, and answers to the frames that the module
// writes. Demands that each write is one whole and right frame. One thread.
#pragma once

#include "OSSpecific/Linux/Uart/IBufferedSerial.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

class ScriptedPort : public IBufferedSerial {
public:
    using Bytes = FrameBuilder::Bytes;

    // What the carrier does with a command or request: puts these bytes on the line some time later.
    struct Answer {
        Bytes bytes;
        std::uint32_t delayMs = 0;
    };

    struct Written {
        std::uint8_t command;
        Bytes payload;
    };

    // Readable so many milliseconds from now; of two groups the one given first is read first.
    void Feed(const Bytes& bytes, std::uint32_t delayMs);

    // Answers for the next commands, one each; without any left the usual one stands. Acks and Nacks are not answered.
    void AddAnswer(Answer answer) { mAnswers.push_back(std::move(answer)); }
    void SetUsualAnswer(Answer answer) { mUsual = std::move(answer); }

    // The frames written since the last call.
    std::vector<Written> TakeWritten();

    std::uint64_t BytesRead() const { return mBytesRead; }

    bool ReadByte(std::uint8_t& byte) override;
    void WriteBytes(const std::uint8_t* data, std::uint16_t length) override;

    static constexpr std::uint64_t kByteTimeUs = 87;  // ten bits at 115,200 baud

private:
    void FeedAt(const Bytes& bytes, std::uint64_t delayUs);

    struct Group {
        Bytes bytes;
        std::size_t next;
        std::uint64_t dueUs;
    };

    std::deque<Group> mGroups;
    std::deque<Answer> mAnswers;
    Answer mUsual;
    std::vector<Written> mWritten;
    std::uint64_t mBytesRead = 0;
};
