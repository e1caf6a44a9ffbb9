#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The frame as the carrier builds it:
//   0A  command  length(low, high)  CRC of these four  [payload  CRC of the payload]
// A CRC travels high byte first; a frame without payload ends after its header.
namespace simulator {

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Milliseconds = std::chrono::milliseconds;

inline constexpr uint8_t kStartByte = 0x0A;
inline constexpr std::size_t kHeaderSize = 6;
inline constexpr std::size_t kCrcSize = 2;
// The longest payload that either side takes; a header that announces more is refused.
inline constexpr std::size_t kMaxPayload = 65528;

// CRC-16/X-25 of the data: "123456789" gives 0x906E.
uint16_t CarrierCrc(std::span<const uint8_t> data);

// The whole frame. A payload beyond 65,535 bytes is cut there: a header cannot say more.
Bytes EncodeFrame(uint8_t command, std::span<const uint8_t> payload = {});
Bytes EncodeFrame(uint8_t command, std::string_view text);

// A header alone, with a good CRC, that announces any length.
Bytes EncodeHeader(uint8_t command, uint16_t announcedLength);

// "0A 01 00 00 7A AC"; beyond `limit` bytes the rest is counted ("... 1020 more").
std::string HexText(std::span<const uint8_t> data, std::size_t limit = SIZE_MAX);

// The bytes of hexadecimal text, blanks ignored; false when it is not whole bytes of hexadecimal digits.
bool BytesFromHex(std::string_view text, Bytes& bytes);

// What was cut out of the byte stream: a frame, or bytes that are none.
struct LineItem {
    enum class Kind {
        Frame,       // good header and payload
        BadHeader,   // started like a frame, header CRC wrong
        BadPayload,  // good header, payload CRC wrong
        BadLength,   // good header that announces more than kMaxPayload
        Incomplete,  // good header, the line fell silent before the payload's end
        Noise        // no start byte at all
    };
    Kind kind = Kind::Noise;
    TimePoint time;  // when its last byte was through the line
    Bytes raw;
    uint8_t command = 0;  // Frame only
    Bytes payload;        // Frame only

    bool IsFrame() const { return kind == Kind::Frame; }
};

const char* KindName(LineItem::Kind kind);

}  // namespace simulator
