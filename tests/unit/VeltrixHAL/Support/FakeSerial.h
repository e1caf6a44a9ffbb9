// A port whose other end is the test: hands out the bytes it was given and keeps what is written.
#pragma once

#include "OSSpecific/Linux/Uart/IBufferedSerial.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class FakeSerial : public IBufferedSerial {
public:
    using Bytes = std::vector<std::uint8_t>;

    // Bytes that can be read `delayMs` after the answer was given, on the clock of Common/Helper/SteadyTime.h.
    struct Answer {
        Bytes bytes;
        std::uint32_t delayMs = 0;
    };
    using Answers = std::vector<Answer>;

    // What the other end does with the bytes of one WriteBytes call. Runs on the writing thread, before WriteBytes
    // returns and without a lock: it may call any operation of this class, and keeps its own state from call to call.
    using Responder = std::function<Answers(const Bytes& written)>;

    // All of these: any thread.
    void SetResponder(Responder responder);

    // Bytes that can be read `delayMs` from now. Of two groups the one that is due earlier is read first, of two that
    // are due together the one that was given first.
    void Feed(Bytes bytes, std::uint32_t delayMs = 0);

    // At most so many bytes are read before the port is once dry; 0 takes the limit away.
    void SetBytesPerPoll(std::size_t count);

    // Each WriteBytes call since the beginning, or since the last TakeWrites, oldest first.
    std::vector<Bytes> Writes() const;
    std::vector<Bytes> TakeWrites();

    // The same as one run of bytes.
    Bytes WrittenBytes() const;

    // Whether so many WriteBytes calls were seen (and answered) before `limit` ran out in real time.
    bool WaitForWrites(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

    // Bytes given and not read, due or not.
    std::size_t UnreadBytes() const;

    // ReadByte calls so far; whether a WriteBytes call ever began while another was going on.
    std::size_t ReadCalls() const;
    bool WritesOverlapped() const;

    bool ReadByte(std::uint8_t& byte) override;
    void WriteBytes(const std::uint8_t* data, std::uint16_t length) override;

private:
    struct Group {
        Bytes bytes;
        std::size_t next;
        std::uint32_t due;
    };

    mutable std::mutex mMutex;
    mutable std::condition_variable mWritten;
    std::deque<Group> mGroups;
    std::vector<Bytes> mWrites;
    std::shared_ptr<Responder> mResponder;
    std::size_t mBytesPerPoll = 0;
    std::size_t mReadSinceDry = 0;
    std::size_t mReadCalls = 0;
    unsigned int mWritesGoingOn = 0;
    bool mOverlapped = false;
};
