// A moment in UTC, to the millisecond.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

// A plain value: trivially copied and destroyed, so that objects of static storage may be used until the very end of
// the process. The default is the epoch, 1970-01-01T00:00:00.000Z. Not synchronised.
class DateTime {
public:
    constexpr DateTime() = default;
    // Seconds since the epoch (negative before it) and milliseconds, which are clamped to 0..999.
    constexpr explicit DateTime(std::int64_t seconds, std::int32_t milliseconds = 0) : mSeconds(seconds) {
        SetMilliseconds(milliseconds);
    }

    // The system's real-time clock plus an offset in seconds; stops at the ends of the 64-bit range.
    static DateTime Now(std::int64_t offsetSeconds = 0);

    // Whole seconds since the epoch, rounded towards the past.
    constexpr std::int64_t GetSeconds() const { return mSeconds; }
    constexpr void SetSeconds(std::int64_t seconds) { mSeconds = seconds; }

    // The milliseconds within the second: 0..999; values outside are clamped.
    constexpr std::int32_t GetMilliseconds() const { return mMilliseconds; }
    constexpr void SetMilliseconds(std::int32_t milliseconds) {
        mMilliseconds = milliseconds < 0 ? 0 : milliseconds > 999 ? 999 : milliseconds;
    }

    // "YYYY-MM-DDTHH:MM:SS.mmmZ". Moments outside the years 0000 to 9999 give the nearest one inside.
    std::string ToISO8601String() const;

    // Takes "YYYY-MM-DDTHH:MM:SS", then optionally a point and three digits, then "Z" or an offset from UTC such as
    // "+02:00". Anything else, a date or time that does not exist included, gives false and changes nothing.
    bool FromISO8601String(const std::string& text);

    constexpr auto operator<=>(const DateTime&) const = default;

private:
    std::int64_t mSeconds = 0;
    std::int32_t mMilliseconds = 0;
};
