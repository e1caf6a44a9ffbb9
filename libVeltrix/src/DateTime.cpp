#include <Veltrix/DateTime.h>
#include <fmt/core.h>

#include <chrono>
#include <ctime>
#include <limits>
#include <optional>
#include <string_view>

static_assert(sizeof(std::time_t) == 8, "times beyond 2038 on every processor");

namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

// The years that four digits can show.
constexpr std::int64_t kFirstSecond = -62'167'219'200;  // 0000-01-01T00:00:00Z
constexpr std::int64_t kLastSecond = 253'402'300'799;   // 9999-12-31T23:59:59Z
constexpr std::int64_t kSecondsPerDay = 86'400;

std::int64_t AddWithoutWrap(std::int64_t left, std::int64_t right) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(left, right, &sum)) {
        return right < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    }
    return sum;
}

// Reads a time text from its start; after the first mismatch everything fails.
class Scanner {
public:
    explicit Scanner(std::string_view text) : mRest(text) {}

    // Exactly so many decimal digits whose value is at most `highest`.
    int Number(std::size_t digits, int highest) {
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            const char digit = i < mRest.size() ? mRest[i] : '\0';
            if (digit < '0' || digit > '9') {
                mFailed = true;
                return 0;
            }
            value = value * 10 + (digit - '0');
        }
        mRest.remove_prefix(digits);
        mFailed = mFailed || value > highest;
        return value;
    }

    bool TakeIf(char wanted) {
        if (mFailed || mRest.empty() || mRest.front() != wanted) {
            return false;
        }
        mRest.remove_prefix(1);
        return true;
    }

    void Take(char wanted) { mFailed = !TakeIf(wanted) || mFailed; }

    bool IsDone() const { return !mFailed && mRest.empty(); }

private:
    std::string_view mRest;
    bool mFailed = false;
};

// "Z" or "+HH:MM" or "-HH:MM": seconds that local time is ahead of UTC.
int ReadOffset(Scanner& scanner) {
    if (scanner.TakeIf('Z')) {
        return 0;
    }
    const bool isBehind = scanner.TakeIf('-');
    if (!isBehind) {
        scanner.Take('+');
    }
    const int hours = scanner.Number(2, 23);
    scanner.Take(':');
    const int minutes = scanner.Number(2, 59);
    const int seconds = (hours * 60 + minutes) * 60;
    return isBehind ? -seconds : seconds;
}

}  // namespace

DateTime DateTime::Now(std::int64_t offsetSeconds) {
    const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const auto second = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    return DateTime(AddWithoutWrap(second.time_since_epoch().count(), offsetSeconds),
                    static_cast<std::int32_t>((sinceEpoch - second).count()));
}

std::string DateTime::ToISO8601String() const {
    if (mSeconds < kFirstSecond) {
        return "0000-01-01T00:00:00.000Z";
    }
    if (mSeconds > kLastSecond) {
        return "9999-12-31T23:59:59.999Z";
    }
    const std::chrono::sys_seconds moment{std::chrono::seconds(mSeconds)};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time.hours().count(),
                       time.minutes().count(), time.seconds().count(), mMilliseconds);
}

bool DateTime::FromISO8601String(const std::string& text) {
    Scanner scanner(text);
    const int year = scanner.Number(4, 9999);
    scanner.Take('-');
    const int month = scanner.Number(2, 12);
    scanner.Take('-');
    const int dayOfMonth = scanner.Number(2, 31);
    scanner.Take('T');
    const int hour = scanner.Number(2, 23);
    scanner.Take(':');
    const int minute = scanner.Number(2, 59);
    scanner.Take(':');
    const int second = scanner.Number(2, 59);
    // Three digits or none: with any other number of them it is not said what the writer meant.
    const int milliseconds = scanner.TakeIf('.') ? scanner.Number(3, 999) : 0;
    const int offset = ReadOffset(scanner);
    const year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(dayOfMonth))};
    if (!scanner.IsDone() || !date.ok()) {
        return false;
    }
    const std::int64_t days = sys_days(date).time_since_epoch().count();
    const std::int64_t seconds = days * kSecondsPerDay + (hour * 60 + minute) * 60 + second - offset;
    if (seconds < kFirstSecond || seconds > kLastSecond) {
        return false;
    }
    *this = DateTime(seconds, milliseconds);
    return true;
}
