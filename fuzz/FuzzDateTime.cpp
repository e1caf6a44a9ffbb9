// Times as text: what is accepted is what a plain calendar accepts, and says the same again when printed and read back.
#include "fuzz/Support/ByteSource.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"

#include <Veltrix/DateTime.h>

#include <optional>
#include <string>
#include <string_view>

namespace {

struct Moment {
    std::int64_t seconds;
    int milliseconds;
};

bool HasShape(std::string_view text, std::string_view shape) {
    if (text.size() != shape.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == '9' ? !isDigit : shape[i] == '+' ? text[i] != '+' && text[i] != '-' : text[i] != shape[i]) {
            return false;
        }
    }
    return true;
}

int NumberAt(std::string_view text, std::size_t at, std::size_t digits) {
    int number = 0;
    for (const char digit : text.substr(at, digits)) {
        number = number * 10 + (digit - '0');
    }
    return number;
}

bool IsLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int DaysOf(int year, int month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

// Counted year by year and month by month.
std::int64_t DaysSinceEpoch(int year, int month, int day) {
    std::int64_t days = day - 1;
    for (int each = 1; each < month; ++each) {
        days += DaysOf(year, each);
    }
    for (int each = 1970; each < year; ++each) {
        days += IsLeapYear(each) ? 366 : 365;
    }
    for (int each = year; each < 1970; ++each) {
        days -= IsLeapYear(each) ? 366 : 365;
    }
    return days;
}

std::optional<Moment> Parse(std::string_view text) {
    constexpr std::string_view kPlain = "9999-99-99T99:99:99";
    std::string_view zone = text.substr(std::min(text.size(), kPlain.size()));
    int milliseconds = 0;
    if (HasShape(zone.substr(0, 4), ".999")) {
        milliseconds = NumberAt(zone, 1, 3);
        zone.remove_prefix(4);
    }
    const bool isUtc = zone == "Z";
    if (!HasShape(text.substr(0, kPlain.size()), kPlain) || (!isUtc && !HasShape(zone, "+99:99"))) {
        return std::nullopt;
    }
    const int year = NumberAt(text, 0, 4);
    const int month = NumberAt(text, 5, 2);
    const int day = NumberAt(text, 8, 2);
    const int hour = NumberAt(text, 11, 2);
    const int minute = NumberAt(text, 14, 2);
    const int second = NumberAt(text, 17, 2);
    const int zoneHours = isUtc ? 0 : NumberAt(zone, 1, 2);
    const int zoneMinutes = isUtc ? 0 : NumberAt(zone, 4, 2);
    if (month < 1 || month > 12 || day < 1 || day > DaysOf(year, month) || hour > 23 || minute > 59 || second > 59 ||
        zoneHours > 23 || zoneMinutes > 59) {
        return std::nullopt;
    }
    const int ahead = (zoneHours * 60 + zoneMinutes) * 60 * (zone.front() == '-' ? -1 : 1);
    const std::int64_t seconds = DaysSinceEpoch(year, month, day) * 86400 + (hour * 60 + minute) * 60 + second - ahead;
    // What an offset moves out of the years 0 to 9999 could not be printed again.
    if (seconds < DaysSinceEpoch(0, 1, 1) * 86400 || seconds >= DaysSinceEpoch(10000, 1, 1) * 86400) {
        return std::nullopt;
    }
    return Moment{seconds, milliseconds};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = Fuzz::ByteSource(data, size).RestText();
    const DateTime before(123, 456);
    DateTime time = before;
    const bool isRead = time.FromISO8601String(text);
    const std::optional<Moment> expected = Parse(text);
    FUZZ_CHECK(isRead == expected.has_value());
    if (!isRead) {
        FUZZ_CHECK(time == before);
        return 0;
    }
    FUZZ_CHECK(time.GetSeconds() == expected->seconds && time.GetMilliseconds() == expected->milliseconds);
    const std::string printed = time.ToISO8601String();
    FUZZ_CHECK(HasShape(printed, "9999-99-99T99:99:99.999Z"));
    DateTime again;
    FUZZ_CHECK(again.FromISO8601String(printed) && again == time);
    return 0;
}
