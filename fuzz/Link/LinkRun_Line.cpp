// What the carrier puts on the line.
#include "fuzz/Link/LinkRun.h"

namespace {

using Bytes = FrameBuilder::Bytes;

constexpr std::uint32_t kDelayStepMs = 4;
constexpr std::uint8_t kLongPayload = 0xFF;

Bytes ToBytes(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

std::uint32_t ReadDelay(Fuzz::ByteSource& source) {
    return source.Byte() * kDelayStepMs;
}

// A length byte and so many bytes; 255 stands for two bytes of length and a ramp of so many bytes.
Bytes ReadPayload(Fuzz::ByteSource& source) {
    const std::uint8_t length = source.Byte();
    return length == kLongPayload ? FrameBuilder::Ramp(source.Word() % 65529U) : ToBytes(source.Bytes(length));
}

Bytes ReadFrame(Fuzz::ByteSource& source) {
    const std::uint8_t command = source.Byte();
    return FrameBuilder::Frame(command, ReadPayload(source));
}

Bytes Damage(Bytes bytes, std::uint8_t where) {
    bytes[where % bytes.size()] ^= static_cast<std::uint8_t>(1U << (where % 8U));
    return bytes;
}

constexpr std::uint8_t kReady = 3;
constexpr std::uint8_t kHeartbeat = 9;

Bytes Heartbeat() {
    return FrameBuilder::Frame(kHeartbeat, {8, 0, 0, 0, 0, 0});
}

// The kinds of answer to a command.
Bytes ReadAnswer(Fuzz::ByteSource& source) {
    switch (source.Byte() % 11U) {
        case 0:
            return {};
        case 1:
            return FrameBuilder::Ack();
        case 2:
            return FrameBuilder::Ack(ReadPayload(source));
        case 3:
            return FrameBuilder::Nack(source.Byte());
        case 4:
            return FrameBuilder::Join({FrameBuilder::Ack(), FrameBuilder::Ack()});
        case 5:
            return Damage(FrameBuilder::Ack({1, 2, 3, 4}), source.Byte());
        case 6:
            return FrameBuilder::Join({Heartbeat(), FrameBuilder::Ack()});
        case 7:
            return ReadFrame(source);
        case 8:
            return FrameBuilder::Join({FrameBuilder::Ack(), FrameBuilder::Frame(kReady), Heartbeat()});
        case 9:
            return FrameBuilder::Join({FrameBuilder::Nack(source.Byte()), FrameBuilder::Ack()});
        default:
            return ToBytes(source.Bytes(source.Byte()));
    }
}

}  // namespace

void LinkRun::FeedRaw(Fuzz::ByteSource& source) {
    const std::uint32_t delayMs = ReadDelay(source);
    mPort.Feed(ToBytes(source.Bytes(source.Byte())), delayMs);
}

void LinkRun::FeedFrame(Fuzz::ByteSource& source) {
    const std::uint32_t delayMs = ReadDelay(source);
    mPort.Feed(ReadFrame(source), delayMs);
}

void LinkRun::FeedDamagedFrame(Fuzz::ByteSource& source) {
    const std::uint32_t delayMs = ReadDelay(source);
    const std::uint8_t where = source.Byte();
    mPort.Feed(Damage(ReadFrame(source), where), delayMs);
}

void LinkRun::AddAnswer(Fuzz::ByteSource& source) {
    const std::uint32_t delayMs = ReadDelay(source);
    mPort.AddAnswer({ReadAnswer(source), delayMs});
}

void LinkRun::SetUsualAnswer(Fuzz::ByteSource& source) {
    const std::uint32_t delayMs = ReadDelay(source);
    mPort.SetUsualAnswer({ReadAnswer(source), delayMs});
}
