#include "CarrierSimulator/CarrierClock.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace simulator {
namespace {

// The number that stands in `text` at `offset`, `width` digits wide; -1 if there is none.
int NumberAt(std::string_view text, std::size_t offset, std::size_t width) {
    if (offset + width > text.size()) {
        return -1;
    }
    int value = -1;
    const char* begin = text.data() + offset;
    const auto [stop, error] = std::from_chars(begin, begin + width, value);
    return error == std::errc() && stop == begin + width && value >= 0 ? value : -1;
}

TimeRecord Record(int year, int month, int day, int hour, int minute, int second, int millisecond) {
    return {static_cast<uint8_t>(year - 2000),
            static_cast<uint8_t>(month),
            static_cast<uint8_t>(day),
            static_cast<uint8_t>(hour),
            static_cast<uint8_t>(minute),
            static_cast<uint8_t>(second),
            static_cast<uint8_t>(millisecond & 0xFF),
            static_cast<uint8_t>(millisecond >> 8)};
}

unsigned int DaysIn(unsigned int month, unsigned int yearSince2000) {
    constexpr std::array<unsigned int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const unsigned int year = 2000 + yearSince2000;
    const bool isLeapYear = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return kDays[month - 1] + (month == 2 && isLeapYear ? 1 : 0);
}

}  // namespace

std::optional<TimeRecord> TimeRecordFromText(std::string_view text) {
    if (text.ends_with('Z')) {
        text.remove_suffix(1);
    }
    const bool hasMilliseconds = text.size() == 23 && text[19] == '.';
    if ((text.size() != 19 && !hasMilliseconds) || text[4] != '-' || text[7] != '-' || text[10] != 'T' ||
        text[13] != ':' || text[16] != ':') {
        return std::nullopt;
    }
    const int year = NumberAt(text, 0, 4);
    const std::array<int, 5> rest = {NumberAt(text, 5, 2), NumberAt(text, 8, 2), NumberAt(text, 11, 2),
                                     NumberAt(text, 14, 2), NumberAt(text, 17, 2)};
    const int millisecond = hasMilliseconds ? NumberAt(text, 20, 3) : 0;
    if (year < 2000 || year > 2255 || millisecond < 0) {
        return std::nullopt;
    }
    for (const int number : rest) {
        if (number < 0) {
            return std::nullopt;
        }
    }
    const TimeRecord record = Record(year, rest[0], rest[1], rest[2], rest[3], rest[4], millisecond);
    return IsTime(record) ? std::optional(record) : std::nullopt;
}

std::string TextOf(const TimeRecord& time) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", 2000 + time[0], time[1], time[2],
                  time[3], time[4], time[5], time[6] + 256 * time[7]);
    return text.data();
}

bool IsTime(std::span<const uint8_t> record) {
    if (record.size() != std::tuple_size_v<TimeRecord>) {
        return false;
    }
    const unsigned int month = record[1];
    return month >= 1 && month <= 12 && record[2] >= 1 && record[2] <= DaysIn(month, record[0]) && record[3] <= 23 &&
           record[4] <= 59 && record[5] <= 59 && record[6] + 256 * record[7] <= 999;
}

void CarrierClock::Run() {
    mFixed.reset();
    mAhead = std::chrono::nanoseconds{0};
}

void CarrierClock::Set(const TimeRecord& time) {
    if (mFixed) {
        mFixed = time;
        return;
    }
    std::tm parts{};
    parts.tm_year = 100 + time[0];
    parts.tm_mon = time[1] - 1;
    parts.tm_mday = time[2];
    parts.tm_hour = time[3];
    parts.tm_min = time[4];
    parts.tm_sec = time[5];
    const auto target = std::chrono::seconds(::timegm(&parts)) + Milliseconds(time[6] + 256 * time[7]);
    mAhead = target - std::chrono::system_clock::now().time_since_epoch();
}

TimeRecord CarrierClock::Now() const {
    if (mFixed) {
        return *mFixed;
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch() + mAhead;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    const auto rest = std::chrono::duration_cast<Milliseconds>(now - seconds);
    const auto time = static_cast<time_t>(seconds.count());
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    return Record(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<int>(rest.count()));
}

}  // namespace simulator
