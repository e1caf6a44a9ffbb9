// What a stream of bytes means, worked out in the plainest way: over the whole stream at once, with a CRC of its own.
// It shares no code with the framer or with the frames that tests build.
#pragma once

#include <cstdint>
#include <vector>

namespace ReferenceDecoder {

using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> FramesIn(const Bytes& stream);

}  // namespace ReferenceDecoder
