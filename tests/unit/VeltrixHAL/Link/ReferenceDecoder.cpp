#include "tests/unit/VeltrixHAL/Link/ReferenceDecoder.h"

#include <cstddef>

namespace ReferenceDecoder {
namespace {

// X-25 one bit after the other: the register shifts right, and a bit that differs from the one that falls out folds the
// mirrored polynomial in.
unsigned int Crc(const Bytes& bytes, std::size_t from, std::size_t count) {
    unsigned int crc = 0xFFFF;
    for (std::size_t bit = 0; bit < 8 * count; ++bit) {
        const unsigned int in = bytes[from + bit / 8] >> (bit % 8) & 1;
        const bool differs = (crc & 1) != in;
        crc /= 2;
        if (differs) {
            crc ^= 0x8408;
        }
    }
    return crc ^ 0xFFFF;
}

// Whether the two bytes behind the run are its CRC, high byte first.
bool CrcFollows(const Bytes& bytes, std::size_t from, std::size_t count) {
    return Crc(bytes, from, count) == bytes[from + count] * 256U + bytes[from + count + 1];
}

}  // namespace

std::vector<Bytes> FramesIn(const Bytes& stream) {
    std::vector<Bytes> frames;
    std::size_t at = 0;
    while (true) {
        while (at < stream.size() && stream[at] != 0x0A) {
            ++at;
        }
        if (stream.size() - at < 6) {
            return frames;
        }
        const std::size_t payload = stream[at + 2] + 256U * stream[at + 3];
        const bool headerIsGood = CrcFollows(stream, at, 4) && payload < 65529;
        const std::size_t whole = headerIsGood && payload > 0 ? 6 + payload + 2 : 6;
        if (stream.size() - at < whole) {
            return frames;
        }
        if (headerIsGood && (payload == 0 || CrcFollows(stream, at + 6, payload))) {
            const auto first = stream.begin() + static_cast<std::ptrdiff_t>(at);
            frames.emplace_back(first, first + static_cast<std::ptrdiff_t>(whole));
        }
        at += whole;
    }
}

}  // namespace ReferenceDecoder
