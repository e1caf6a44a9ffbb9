// A port in memory whose far end acknowledges: what the link itself costs, without a kernel in between.
#pragma once

#include "OSSpecific/Linux/Uart/IBufferedSerial.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

class MemoryPort : public IBufferedSerial {
public:
    bool ReadByte(std::uint8_t& byte) override {
        if (mRead == mIncoming.size()) {
            return false;
        }
        byte = mIncoming[mRead++];
        return true;
    }

    // Every frame is answered by `answer` at once.
    void WriteBytes(const std::uint8_t* data, std::uint16_t length) override {
        mWritten += length;
        mLastByte = data[length - 1];
        Feed(mAnswer);
    }

    // The bytes stay the caller's.
    void Feed(std::span<const std::uint8_t> bytes) {
        mIncoming = bytes;
        mRead = 0;
    }
    void AnswerWith(std::span<const std::uint8_t> answer) { mAnswer = answer; }
    std::size_t Written() const { return mWritten; }

private:
    std::span<const std::uint8_t> mIncoming;
    std::span<const std::uint8_t> mAnswer;
    std::size_t mRead = 0;
    std::size_t mWritten = 0;
    volatile std::uint8_t mLastByte = 0;
};

inline constexpr std::uint8_t kAckFrame[] = {0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAC};
