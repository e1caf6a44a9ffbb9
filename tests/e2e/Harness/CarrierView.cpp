#include "tests/e2e/Harness/CarrierView.h"

#include <algorithm>
#include <stdexcept>

#include "tests/support/WaitUntil.h"

namespace {

constexpr std::size_t kLongestShown = 40;
constexpr std::size_t kMostShown = 300;

std::string TraceLine(const simulator::FrameRecord& record, simulator::TimePoint start) {
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(record.time - start);
    const bool isSent = record.direction == simulator::Direction::Sent;
    return std::to_string(time.count()) + " ms " + (isSent ? "carrier -> module " : "module -> carrier ") +
           (record.IsFrame() ? simulator::CommandName(record.command) : simulator::KindName(record.kind)) + " [" +
           simulator::HexText(record.raw, kLongestShown) + "]" + (record.isLost ? " lost" : "") + "\n";
}

}  // namespace

std::vector<std::string> CarrierView::Frames(std::size_t from) const {
    std::vector<std::string> frames;
    for (const simulator::FrameRecord& record : mCarrier.Received(from)) {
        frames.push_back(simulator::HexText(record.raw));
    }
    return frames;
}

std::size_t CarrierView::Count(const std::string& frame, std::size_t from) const {
    const std::vector<std::string> frames = Frames(from);
    return static_cast<std::size_t>(std::count(frames.begin(), frames.end(), frame));
}

std::vector<std::string> CarrierView::AwaitFrames(std::size_t count, std::size_t from,
                                                  std::chrono::milliseconds limit) const {
    if (!WaitUntil([&] { return mCarrier.ReceivedCount() >= from + count; }, limit)) {
        throw std::runtime_error("not on the line: " + std::to_string(count) + " frames from number " +
                                 std::to_string(from) + " on");
    }
    return Frames(from);
}

void CarrierView::AwaitFrame(const std::string& frame, std::size_t from, std::size_t count) const {
    if (!WaitUntil([&] { return Count(frame, from) >= count; }, kPatience)) {
        throw std::runtime_error("not on the line: " + frame);
    }
}

std::string CarrierView::Trace() const {
    std::vector<simulator::FrameRecord> records = mCarrier.Received();
    const std::vector<simulator::FrameRecord> sent = mCarrier.Sent();
    records.insert(records.end(), sent.begin(), sent.end());
    std::stable_sort(records.begin(), records.end(),
                     [](const auto& left, const auto& right) { return left.time < right.time; });
    std::string text;
    const std::size_t first = records.size() > kMostShown ? records.size() - kMostShown : 0;
    for (std::size_t i = first; i < records.size(); ++i) {
        text += TraceLine(records[i], records.front().time);
    }
    return text;
}
