// Frames as the carrier and the module put them on the wire, made without the code under test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace FrameBuilder {

using Bytes = std::vector<std::uint8_t>;

// CRC-16/X-25 of some bytes, "123456789" giving 0x906E. A table over the unreflected polynomial 0x1021, bytes mirrored
// on their way in and the register on its way out.
std::uint16_t X25(const std::uint8_t* data, std::size_t length);
inline std::uint16_t X25(const Bytes& data) {
    return X25(data.data(), data.size());
}

// The X-25 value as it travels: high byte first.
Bytes WireCrc(const Bytes& data);

// The six bytes of a header that announces `length`.
Bytes Header(std::uint8_t command, std::uint16_t length);

// A whole frame; without payload it is a header that announces 0.
Bytes Frame(std::uint8_t command, const Bytes& payload = {});

Bytes Ack(const Bytes& payload = {});
Bytes Nack(std::uint8_t reason);

// `count` bytes that count up from `first` and start again at 0 behind 250: no two pieces of a power of two are alike.
Bytes Ramp(std::size_t count, std::uint8_t first = 0);

Bytes Text(std::string_view text);

// One after the other.
Bytes Join(const std::vector<Bytes>& parts);

}  // namespace FrameBuilder
