#include "fuzz/Link/ScriptedPort.h"

#include "fuzz/Link/FuzzClock.h"
#include "fuzz/Support/Check.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kHeader = 6;
constexpr std::size_t kMostPayload = 1024;
constexpr std::uint8_t kNack = 0;
constexpr std::uint8_t kAck = 1;

}  // namespace

void ScriptedPort::Feed(const Bytes& bytes, std::uint32_t delayMs) {
    FeedAt(bytes, std::uint64_t{delayMs} * 1000);
}

void ScriptedPort::FeedAt(const Bytes& bytes, std::uint64_t delayUs) {
    if (!bytes.empty()) {
        mGroups.push_back({bytes, 0, FuzzClock::ElapsedUs() + delayUs});
    }
}

std::vector<ScriptedPort::Written> ScriptedPort::TakeWritten() {
    return std::exchange(mWritten, {});
}

bool ScriptedPort::ReadByte(std::uint8_t& byte) {
    if (mGroups.empty() || mGroups.front().dueUs > FuzzClock::ElapsedUs()) {
        return false;
    }
    Group& group = mGroups.front();
    byte = group.bytes[group.next++];
    if (group.next == group.bytes.size()) {
        mGroups.pop_front();
    }
    ++mBytesRead;
    FuzzClock::AdvanceUs(kByteTimeUs);
    return true;
}

void ScriptedPort::WriteBytes(const std::uint8_t* data, std::uint16_t length) {
    FUZZ_CHECK(length >= kHeader && data[0] == 0x0A);
    const std::size_t announced = data[2] + 256U * data[3];
    FUZZ_CHECK(announced <= kMostPayload);
    const Bytes payload(data + kHeader, data + std::min<std::size_t>(length, kHeader + announced));
    FUZZ_CHECK(FrameBuilder::Frame(data[1], payload) == Bytes(data, data + length));
    mWritten.push_back({data[1], payload});
    if (data[1] == kNack || data[1] == kAck) {
        return;
    }
    // The carrier answers when it has the last byte.
    const std::uint64_t lineUs = length * kByteTimeUs;
    if (mAnswers.empty()) {
        FeedAt(mUsual.bytes, lineUs + std::uint64_t{mUsual.delayMs} * 1000);
        return;
    }
    const Answer answer = std::move(mAnswers.front());
    mAnswers.pop_front();
    FeedAt(answer.bytes, lineUs + std::uint64_t{answer.delayMs} * 1000);
}
