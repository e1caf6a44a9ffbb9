#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <array>

namespace FrameBuilder {
namespace {

constexpr std::uint32_t Mirror(std::uint32_t value, unsigned int bits) {
    std::uint32_t mirrored = 0;
    for (unsigned int bit = 0; bit < bits; ++bit) {
        if ((value >> bit & 1U) != 0) {
            mirrored |= 1U << (bits - 1 - bit);
        }
    }
    return mirrored;
}

// The remainder that each leading byte leaves when divided by x^16 + x^12 + x^5 + 1.
constexpr std::array<std::uint16_t, 256> MakeTable() {
    std::array<std::uint16_t, 256> table{};
    for (std::uint32_t lead = 0; lead < 256; ++lead) {
        std::uint32_t rest = lead << 16U;
        for (unsigned int bit = 23; bit >= 16; --bit) {
            if ((rest >> bit & 1U) != 0) {
                rest ^= 0x11021U << (bit - 16);
            }
        }
        table[lead] = static_cast<std::uint16_t>(rest);
    }
    return table;
}

constexpr std::array<std::uint16_t, 256> kTable = MakeTable();

}  // namespace

std::uint16_t X25(const std::uint8_t* data, std::size_t length) {
    std::uint32_t crc = 0xFFFF;
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint32_t lead = (crc >> 8U) ^ Mirror(data[i], 8);
        crc = (crc << 8U & 0xFFFFU) ^ kTable[lead];
    }
    return static_cast<std::uint16_t>(Mirror(crc, 16) ^ 0xFFFFU);
}

Bytes WireCrc(const Bytes& data) {
    const std::uint16_t crc = X25(data);
    return {static_cast<std::uint8_t>(crc >> 8U), static_cast<std::uint8_t>(crc & 0xFFU)};
}

Bytes Header(std::uint8_t command, std::uint16_t length) {
    const Bytes start = {0x0A, command, static_cast<std::uint8_t>(length & 0xFFU),
                         static_cast<std::uint8_t>(length >> 8U)};
    return Join({start, WireCrc(start)});
}

Bytes Frame(std::uint8_t command, const Bytes& payload) {
    const Bytes header = Header(command, static_cast<std::uint16_t>(payload.size()));
    return payload.empty() ? header : Join({header, payload, WireCrc(payload)});
}

Bytes Ack(const Bytes& payload) {
    return Frame(1, payload);
}

Bytes Nack(std::uint8_t reason) {
    return Frame(0, {reason});
}

Bytes Ramp(std::size_t count, std::uint8_t first) {
    Bytes ramp(count);
    for (std::uint8_t& byte : ramp) {
        byte = first;
        first = static_cast<std::uint8_t>((first + 1) % 251);
    }
    return ramp;
}

Bytes Text(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes Join(const std::vector<Bytes>& parts) {
    Bytes joined;
    for (const Bytes& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

}  // namespace FrameBuilder
