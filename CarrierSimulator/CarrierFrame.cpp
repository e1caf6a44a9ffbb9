#include "CarrierSimulator/CarrierFrame.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace simulator {
namespace {

// The CRC of every single byte, worked out at compile time: the module computes bit by bit, so that the two ends of the
// line share neither code nor method.
constexpr std::array<uint16_t, 256> MakeCrcTable() {
    std::array<uint16_t, 256> table{};
    for (unsigned int index = 0; index < table.size(); ++index) {
        unsigned int value = index;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1U) != 0 ? (value >> 1U) ^ 0x8408U : value >> 1U;
        }
        table[index] = static_cast<uint16_t>(value);
    }
    return table;
}

constexpr std::array<uint16_t, 256> kCrcTable = MakeCrcTable();

void AppendCrc(Bytes& bytes, std::span<const uint8_t> guarded) {
    const uint16_t crc = CarrierCrc(guarded);
    bytes.push_back(static_cast<uint8_t>(crc >> 8U));
    bytes.push_back(static_cast<uint8_t>(crc & 0xFFU));
}

}  // namespace

uint16_t CarrierCrc(std::span<const uint8_t> data) {
    unsigned int crc = 0xFFFF;
    for (const uint8_t byte : data) {
        crc = (crc >> 8U) ^ kCrcTable[(crc ^ byte) & 0xFFU];
    }
    return static_cast<uint16_t>(crc ^ 0xFFFFU);
}

Bytes EncodeHeader(uint8_t command, uint16_t announcedLength) {
    Bytes header = {kStartByte, command, static_cast<uint8_t>(announcedLength & 0xFFU),
                    static_cast<uint8_t>(announcedLength >> 8U)};
    const Bytes guarded = header;
    AppendCrc(header, guarded);
    return header;
}

Bytes EncodeFrame(uint8_t command, std::span<const uint8_t> payload) {
    const std::span<const uint8_t> body = payload.first(std::min<std::size_t>(payload.size(), UINT16_MAX));
    Bytes frame = EncodeHeader(command, static_cast<uint16_t>(body.size()));
    if (!body.empty()) {
        frame.reserve(frame.size() + body.size() + kCrcSize);
        frame.insert(frame.end(), body.begin(), body.end());
        AppendCrc(frame, body);
    }
    return frame;
}

Bytes EncodeFrame(uint8_t command, std::string_view text) {
    const Bytes payload(text.begin(), text.end());
    return EncodeFrame(command, std::span<const uint8_t>(payload));
}

std::string HexText(std::span<const uint8_t> data, std::size_t limit) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    const std::size_t shown = std::min(limit, data.size());
    for (const uint8_t byte : data.first(shown)) {
        if (!text.empty()) {
            text += ' ';
        }
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
    }
    if (shown < data.size()) {
        text += " ... " + std::to_string(data.size() - shown) + " more";
    }
    return text;
}

bool BytesFromHex(std::string_view text, Bytes& bytes) {
    bytes.clear();
    int high = -1;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (std::isspace(code) != 0) {
            continue;
        }
        if (std::isxdigit(code) == 0) {
            return false;
        }
        const int digit = std::isdigit(code) != 0 ? character - '0' : std::toupper(code) - 'A' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high * 16 + digit));
            high = -1;
        }
    }
    return high < 0;
}

const char* KindName(LineItem::Kind kind) {
    switch (kind) {
        case LineItem::Kind::Frame:
            return "frame";
        case LineItem::Kind::BadHeader:
            return "bad header";
        case LineItem::Kind::BadPayload:
            return "bad payload";
        case LineItem::Kind::BadLength:
            return "bad length";
        case LineItem::Kind::Incomplete:
            return "incomplete";
        case LineItem::Kind::Noise:
            break;
    }
    return "noise";
}

}  // namespace simulator
