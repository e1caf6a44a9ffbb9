#include <Veltrix/DateTime.h>
#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <string>
#include <type_traits>

namespace {

static_assert(std::is_trivially_destructible_v<DateTime>);
static_assert(std::is_trivially_copyable_v<DateTime>);

struct Moment {
    std::int64_t seconds;
    std::int32_t milliseconds;
    const char* text;
};

// Seconds worked out with the calendar, `date -u -d TEXT +%s`.
constexpr Moment kMoments[] = {
    {0, 0, "1970-01-01T00:00:00.000Z"},
    {0, 1, "1970-01-01T00:00:00.001Z"},
    {-1, 999, "1969-12-31T23:59:59.999Z"},
    {951782399, 0, "2000-02-28T23:59:59.000Z"},
    {951782400, 0, "2000-02-29T00:00:00.000Z"},
    {1741064767, 89, "2025-03-04T05:06:07.089Z"},
    {2147483647, 500, "2038-01-19T03:14:07.500Z"},
    {2147483648, 0, "2038-01-19T03:14:08.000Z"},
    {4102444800, 0, "2100-01-01T00:00:00.000Z"},
    {-2208988800, 0, "1900-01-01T00:00:00.000Z"},
    {253402300799, 999, "9999-12-31T23:59:59.999Z"},
    {-62167219200, 0, "0000-01-01T00:00:00.000Z"},
};

TEST(DateTime, DefaultIsTheEpoch) {
    EXPECT_EQ(DateTime().GetSeconds(), 0);
    EXPECT_EQ(DateTime().GetMilliseconds(), 0);
}

TEST(DateTime, WritesIso8601) {
    for (const Moment& moment : kMoments) {
        EXPECT_EQ(DateTime(moment.seconds, moment.milliseconds).ToISO8601String(), moment.text);
    }
}

TEST(DateTime, ReadsIso8601) {
    for (const Moment& moment : kMoments) {
        DateTime read(42);
        EXPECT_TRUE(read.FromISO8601String(moment.text)) << moment.text;
        EXPECT_EQ(read.GetSeconds(), moment.seconds) << moment.text;
        EXPECT_EQ(read.GetMilliseconds(), moment.milliseconds) << moment.text;
    }
}

TEST(DateTime, ReadsShorterFormsAndOffsets) {
    const Moment cases[] = {
        {1741064767, 0, "2025-03-04T05:06:07Z"},           {1741064767, 0, "2025-03-04T07:06:07+02:00"},
        {1741064767, 89, "2025-03-04T07:06:07.089+02:00"}, {1741064767, 0, "2025-03-03T23:36:07-05:30"},
        {1741064767, 0, "2025-03-04T05:06:07+00:00"},      {1741064767, 0, "2025-03-04T05:06:07-00:00"},
        {951868800, 0, "2000-03-01T23:59:00+23:59"},       {951868799, 0, "2000-02-29T00:00:59-23:59"},
    };
    for (const Moment& moment : cases) {
        DateTime read;
        EXPECT_TRUE(read.FromISO8601String(moment.text)) << moment.text;
        EXPECT_EQ(read, DateTime(moment.seconds, moment.milliseconds)) << moment.text;
    }
}

TEST(DateTime, RefusesWhatIsNoTimeAndKeepsItsValue) {
    const char* const cases[] = {
        "",
        "now",
        "2025",
        "2025-03-04",
        "2025-03-04T05:06:07",
        "2025-03-04T05:06Z",
        "2025-03-04 05:06:07Z",
        "2025-03-04t05:06:07Z",
        "2025-03-04T05:06:07z",
        "2025-03-04T05:06:07ZZ",
        "2025-03-04T05:06:07Z ",
        " 2025-03-04T05:06:07Z",
        "2025-03-04T05:06:07.Z",
        "2025-03-04T05:06:07.1Z",
        "2025-03-04T05:06:07.12Z",
        "2025-03-04T05:06:07.1234Z",
        "2025-03-04T05:06:07,123Z",
        "2025-03-04T05:06:07.-12Z",
        "2025-00-04T05:06:07Z",
        "2025-13-04T05:06:07Z",
        "2025-03-00T05:06:07Z",
        "2025-03-32T05:06:07Z",
        "2025-02-30T05:06:07Z",
        "2025-02-29T05:06:07Z",
        "1900-02-29T05:06:07Z",
        "2025-04-31T05:06:07Z",
        "2025-03-04T24:00:00Z",
        "2025-03-04T05:60:07Z",
        "2025-03-04T05:06:60Z",
        "2025-3-4T05:06:07Z",
        "20250304T050607Z",
        "+2025-03-04T05:06:07Z",
        "20100-03-04T05:06:07Z",
        "-025-03-04T05:06:07Z",
        "2025-03-04T05:06:07+02",
        "2025-03-04T05:06:07+0200",
        "2025-03-04T05:06:07+24:00",
        "2025-03-04T05:06:07+02:60",
        "2025-03-04T05:06:07+02:00Z",
        "2025-03-04T05:06:07+",
        "0000-01-01T00:00:00+00:01",
        "9999-12-31T23:59:59-00:01",
    };
    for (const char* const text : cases) {
        DateTime read(123, 456);
        EXPECT_FALSE(read.FromISO8601String(text)) << text;
        EXPECT_EQ(read, DateTime(123, 456)) << text;
    }
    DateTime read(123, 456);
    EXPECT_FALSE(read.FromISO8601String(std::string("2025-03-04T05:06:07Z\0", 21)));
}

TEST(DateTime, EveryPrefixIsRefused) {
    const std::string whole = "2025-03-04T05:06:07.089+02:00";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        DateTime read;
        EXPECT_FALSE(read.FromISO8601String(whole.substr(0, length))) << length;
    }
}

TEST(DateTime, MomentsBeyondFourDigitYearsAreWrittenAsTheNearest) {
    EXPECT_EQ(DateTime(253402300800).ToISO8601String(), "9999-12-31T23:59:59.999Z");
    EXPECT_EQ(DateTime(std::numeric_limits<std::int64_t>::max()).ToISO8601String(), "9999-12-31T23:59:59.999Z");
    EXPECT_EQ(DateTime(-62167219201).ToISO8601String(), "0000-01-01T00:00:00.000Z");
    EXPECT_EQ(DateTime(std::numeric_limits<std::int64_t>::min()).ToISO8601String(), "0000-01-01T00:00:00.000Z");
}

TEST(DateTime, MillisecondsAreClamped) {
    EXPECT_EQ(DateTime(1, 1000).GetMilliseconds(), 999);
    EXPECT_EQ(DateTime(1, -1).GetMilliseconds(), 0);
    DateTime time;
    time.SetSeconds(5);
    time.SetMilliseconds(250);
    EXPECT_EQ(time, DateTime(5, 250));
}

TEST(DateTime, IsOrdered) {
    EXPECT_LT(DateTime(1, 999), DateTime(2, 0));
    EXPECT_LT(DateTime(2, 0), DateTime(2, 1));
    EXPECT_LT(DateTime(-1, 0), DateTime(0, 0));
    EXPECT_NE(DateTime(2, 0), DateTime(2, 1));
}

TEST(DateTime, NowIsTheSystemsTimePlusAnOffset) {
    const std::int64_t before = std::time(nullptr);
    const DateTime now = DateTime::Now();
    const DateTime later = DateTime::Now(3600);
    const DateTime earlier = DateTime::Now(-3600);
    const std::int64_t after = std::time(nullptr) + 1;
    // time() may lag a tick behind the clock that Now reads.
    EXPECT_GE(now.GetSeconds(), before);
    EXPECT_LE(now.GetSeconds(), after);
    EXPECT_GE(later.GetSeconds(), before + 3600);
    EXPECT_LE(later.GetSeconds(), after + 3600);
    EXPECT_GE(earlier.GetSeconds(), before - 3600);
    EXPECT_LE(earlier.GetSeconds(), after - 3600);
}

TEST(DateTime, NowStopsAtTheEndsOfItsRange) {
    EXPECT_EQ(DateTime::Now(std::numeric_limits<std::int64_t>::max()).GetSeconds(),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_LT(DateTime::Now(std::numeric_limits<std::int64_t>::min()).GetSeconds(), -62167219200);
}

}  // namespace
