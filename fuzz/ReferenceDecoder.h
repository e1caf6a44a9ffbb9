// The frames of a byte stream, read off the frame's layout over the whole stream at once; shares no code with the
// framer. What each byte tells the framer's caller is kept beside them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class ReferenceDecoder {
public:
    // Whether the two bytes behind the checked ones count as their CRC.
    enum class Crc { Checked, Trusted };

    struct Frame {
        std::size_t begin;
        std::size_t size;
    };

    // What a byte says: nothing (outside of frames, and the start byte), or one of the framer's results.
    enum Say : std::uint8_t {
        Waiting = 0,
        HeaderFailed = 1,
        PayloadFailed = 2,
        SizeInvalid = 3,
        Valid = 4,
        Nothing = 5
    };

    ReferenceDecoder(std::span<const std::uint8_t> stream, Crc crc);

    const std::vector<Frame>& Frames() const { return mFrames; }

    // What a reader is told who takes the bytes from `begin` to before `end`.
    Say LastSaid(std::size_t begin, std::size_t end) const;

private:
    bool IsGood(std::span<const std::uint8_t> checked, std::size_t crcAt) const;
    std::size_t ReadFrame(std::size_t begin);
    std::size_t Finish(std::size_t begin, std::size_t size, Say say);

    std::span<const std::uint8_t> mStream;
    Crc mCrc;
    std::vector<Frame> mFrames;
    std::vector<Say> mSays;
};
