#include "CarrierSimulator/ConsoleOutput.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "CarrierSimulator/PayloadText.h"

namespace simulator {
namespace {

constexpr const char* kReceivedColour = "\033[36m";
constexpr const char* kSentColour = "\033[32m";
constexpr const char* kBrokenColour = "\033[31m";
constexpr const char* kNoteColour = "\033[33m";
constexpr const char* kNoColour = "\033[0m";

// Time of day, local, of something that lies a moment back on the steady clock.
std::string TimeOfDay(TimePoint when) {
    const auto age = std::chrono::duration_cast<std::chrono::system_clock::duration>(Clock::now() - when);
    const auto since = (std::chrono::system_clock::now() - age).time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    const auto milliseconds = std::chrono::duration_cast<Milliseconds>(since - seconds);
    const auto time = static_cast<time_t>(seconds.count());
    std::tm parts{};
    ::localtime_r(&time, &parts);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d ", parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<int>(milliseconds.count()));
    return text.data();
}

const char* ColourOf(const FrameRecord& record) {
    if (!record.IsFrame()) {
        return kBrokenColour;
    }
    return record.direction == Direction::Received ? kReceivedColour : kSentColour;
}

}  // namespace

void ConsoleOutput::OnFrame(const FrameRecord& record) {
    if (mIsQuiet) {
        return;
    }
    const std::string text = FrameText(record);
    Print(TimeOfDay(record.time) + (mIsColoured ? ColourOf(record) + text + kNoColour : text) + "\n");
}

void ConsoleOutput::OnNote(const std::string& text) {
    const std::string line = "** " + text;
    Print(TimeOfDay(Clock::now()) + (mIsColoured ? kNoteColour + line + kNoColour : line) + "\n");
}

void ConsoleOutput::OnProgress(std::size_t received, std::size_t announced) {
    Print("file " + std::to_string(received) + "/" + std::to_string(announced) + "\n");
}

void ConsoleOutput::Print(const std::string& lines) {
    const std::lock_guard lock(mMutex);
    // A reader that went away is no reason to stop being a carrier.
    [[maybe_unused]] const std::size_t written = std::fwrite(lines.data(), 1, lines.size(), stdout);
    std::fflush(stdout);
}

}  // namespace simulator
