#include "fuzz/ReferenceDecoder.h"

#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <algorithm>

namespace {

constexpr std::uint8_t kStart = 0x0A;
constexpr std::size_t kHeader = 6;
constexpr std::size_t kCrcSize = 2;
constexpr std::size_t kLargestPayload = 65528;

}  // namespace

ReferenceDecoder::ReferenceDecoder(std::span<const std::uint8_t> stream, Crc crc)
    : mStream(stream), mCrc(crc), mSays(stream.size(), Nothing) {
    std::size_t at = 0;
    while (at < stream.size()) {
        at = stream[at] == kStart ? ReadFrame(at) : at + 1;
    }
}

bool ReferenceDecoder::IsGood(std::span<const std::uint8_t> checked, std::size_t crcAt) const {
    if (mCrc == Crc::Trusted) {
        return true;
    }
    const std::uint16_t crc = FrameBuilder::X25(checked.data(), checked.size());
    return mStream[crcAt] == crc >> 8U && mStream[crcAt + 1] == (crc & 0xFFU);
}

std::size_t ReferenceDecoder::ReadFrame(std::size_t begin) {
    if (mStream.size() - begin < kHeader) {
        return Finish(begin, mStream.size() - begin, Waiting);
    }
    if (!IsGood(mStream.subspan(begin, 4), begin + 4)) {
        return Finish(begin, kHeader, HeaderFailed);
    }
    const std::size_t length = mStream[begin + 2] + 256U * mStream[begin + 3];
    if (length == 0) {
        return Finish(begin, kHeader, Valid);
    }
    if (length > kLargestPayload) {
        return Finish(begin, kHeader, SizeInvalid);
    }
    const std::size_t size = kHeader + length + kCrcSize;
    if (mStream.size() - begin < size) {
        return Finish(begin, mStream.size() - begin, Waiting);
    }
    const bool isGood = IsGood(mStream.subspan(begin + kHeader, length), begin + kHeader + length);
    return Finish(begin, size, isGood ? Valid : PayloadFailed);
}

std::size_t ReferenceDecoder::Finish(std::size_t begin, std::size_t size, Say say) {
    const std::size_t end = begin + size;
    std::fill(mSays.begin() + static_cast<std::ptrdiff_t>(begin) + 1, mSays.begin() + static_cast<std::ptrdiff_t>(end),
              Waiting);
    if (say != Waiting) {
        mSays[end - 1] = say;
    }
    if (say == Valid) {
        mFrames.push_back({begin, size});
    }
    return end;
}

ReferenceDecoder::Say ReferenceDecoder::LastSaid(std::size_t begin, std::size_t end) const {
    while (end > begin) {
        --end;
        if (mSays[end] != Nothing) {
            return mSays[end];
        }
    }
    return Waiting;
}
