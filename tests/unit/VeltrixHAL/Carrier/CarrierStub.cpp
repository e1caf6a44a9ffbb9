#include "tests/unit/VeltrixHAL/Carrier/CarrierStub.h"

#include "tests/unit/VeltrixHAL/Carrier/Texts.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::uint8_t kNack = 0;
constexpr std::uint8_t kAck = 1;

}  // namespace

CarrierStub::CarrierStub() {
    mPort.SetResponder([this](const Bytes& frame) { return Respond(frame); });
}

void CarrierStub::AnswerNext(std::uint8_t command, const Bytes& answer, std::size_t count) {
    mNext[command].insert(mNext[command].end(), count, answer);
}

void CarrierStub::Answer(std::uint8_t command, const Bytes& answer) {
    mUsual[command] = answer;
}

std::vector<std::string> CarrierStub::TakeFrames() {
    const std::vector<Bytes> writes = mPort.TakeWrites();
    std::vector<std::string> frames;
    std::transform(writes.begin(), writes.end(), std::back_inserter(frames), Hex);
    return frames;
}

std::size_t CarrierStub::Count(std::uint8_t command) const {
    const auto found = mCounts.find(command);
    return found == mCounts.end() ? 0 : found->second;
}

FakeSerial::Answers CarrierStub::Respond(const Bytes& frame) {
    const std::uint8_t command = frame.at(1);
    ++mCounts[command];
    if (mWatcher) {
        mWatcher(frame);
    }
    if (command == kNack || command == kAck) {
        return {};
    }
    if (auto& next = mNext[command]; !next.empty()) {
        const Bytes answer = next.front();
        next.pop_front();
        return {{answer, 0}};
    }
    const auto usual = mUsual.find(command);
    return {{usual == mUsual.end() ? FrameBuilder::Ack() : usual->second, 0}};
}
