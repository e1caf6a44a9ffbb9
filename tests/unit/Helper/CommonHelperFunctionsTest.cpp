// Conversions and times.
#include "Common/Helper/CommonHelperFunctions.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <regex>
#include <string>

namespace {

TEST(ConvertStringToUint16Test, TakesTheLeadingNumber) {
    EXPECT_EQ(ConvertStringToUint16("0"), 0);
    EXPECT_EQ(ConvertStringToUint16("65535"), 65535);
    EXPECT_EQ(ConvertStringToUint16("  42 apples"), 42);
    EXPECT_EQ(ConvertStringToUint16("+7"), 7);
}

TEST(ConvertStringToUint16Test, CutsToSixteenBits) {
    EXPECT_EQ(ConvertStringToUint16("65536"), 0);
    EXPECT_EQ(ConvertStringToUint16("65537"), 1);
    EXPECT_EQ(ConvertStringToUint16("-1"), 65535);
    EXPECT_EQ(ConvertStringToUint16("2147483647"), 65535);
    EXPECT_EQ(ConvertStringToUint16("-2147483648"), 0);
}

TEST(ConvertStringToUint16Test, WhatIsNoIntIsZero) {
    for (const std::string text : {"", "x1", "-", "2147483649", "-2147483649", "99999999999999999999999"}) {
        EXPECT_EQ(ConvertStringToUint16(text), 0) << text;
    }
}

TEST(ConversionsTest, InchesAndMillimetres) {
    EXPECT_DOUBLE_EQ(ConvertInchesTomm(2), 50.8);
    EXPECT_DOUBLE_EQ(ConvertmmToInches(12.7), 0.5);
    EXPECT_DOUBLE_EQ(ConvertInchesTomm(-1), -25.4);
}

TEST(ConversionsTest, Numbers) {
    EXPECT_EQ(ConvertValueToHexString(0), "0");
    EXPECT_EQ(ConvertValueToHexString(0xDEADBEEFU), "deadbeef");
    EXPECT_EQ(ConvertBYTEToHexString(0x0A), "a");
    EXPECT_EQ(ConvertBYTEToHexString(0xFF), "ff");
    EXPECT_EQ(ConvertWORDToString(0), "0");
    EXPECT_EQ(ConvertWORDToString(65535), "65535");
    EXPECT_EQ(ConvertBYTEToASCII('Z'), "Z");
    EXPECT_EQ(ConvertBYTEToASCII(0), std::string(1, '\0'));
    EXPECT_EQ(ConvertBYTEToASCII(0xE4), "\xE4");
}

TEST(ConversionsTest, Floats) {
    EXPECT_EQ(ConvertFloatToString(3.14159F, 2), "3.14");
    EXPECT_EQ(ConvertFloatToString(2.5F, 0), "2");
    EXPECT_EQ(ConvertFloatToString(-0.125F, 3), "-0.125");
    EXPECT_EQ(ConvertFloatToString(1.0F, 50), "1." + std::string(50, '0'));
    EXPECT_EQ(ConvertFloatToString(3.4028235e38F, 1), "340282346638528859811704183484516925440.0");
    EXPECT_EQ(ConvertFloatToString(1.5F, -1), "1.500000");
}

TEST(ConversionsTest, Bools) {
    EXPECT_EQ(ConvertBoolToTrueFalse(true), "True");
    EXPECT_EQ(ConvertBoolToTrueFalse(false), "False");
    EXPECT_EQ(ConvertBoolToYesNo(true), "Yes");
    EXPECT_EQ(ConvertBoolToYesNo(false), "No");
    EXPECT_EQ(ConvertBoolToYN(true), "Y");
    EXPECT_EQ(ConvertBoolToYN(false), "N");
    EXPECT_EQ(ConvertBoolToTF(true), "T");
    EXPECT_EQ(ConvertBoolToTF(false), "F");
}

TEST(TimesTest, TheSteadyMillisecondsAdvanceWithTheSteadyClock) {
    timespec before{};
    timespec after{};
    ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &before), 0);
    const std::uint32_t now = GetCurrentTimeSinceEpochInMilliseconds();
    ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &after), 0);
    const auto milliseconds = [](const timespec& time) {
        return static_cast<std::uint32_t>(time.tv_sec * 1000LL + time.tv_nsec / 1000000);
    };
    EXPECT_LE(now - milliseconds(before), milliseconds(after) - milliseconds(before));
}

TEST(TimesTest, SteadyDifference) {
    const std::chrono::steady_clock::time_point start{std::chrono::nanoseconds(1000)};
    EXPECT_EQ(AccurateDiffTime(start, start + std::chrono::nanoseconds(7)).count(), 7);
    EXPECT_EQ(AccurateDiffTime(start + std::chrono::seconds(1), start).count(), -1000000000);
}

void ExpectTime(const timespec& time, long long seconds, long nanoseconds) {
    EXPECT_EQ(time.tv_sec, seconds);
    EXPECT_EQ(time.tv_nsec, nanoseconds);
}

TEST(TimesTest, TimespecDifference) {
    ExpectTime(GetTimespecDifference({1, 250}, {3, 750}), 2, 500);
    ExpectTime(GetTimespecDifference({1, 999999999}, {3, 0}), 1, 1);
    ExpectTime(GetTimespecDifference({5, 5}, {5, 5}), 0, 0);
    ExpectTime(GetTimespecDifference({1, 250000000}, {1, 0}), -1, 750000000);
    ExpectTime(GetTimespecDifference({3, 0}, {1, 0}), -2, 0);
}

TEST(TimesTest, TimespecOrder) {
    EXPECT_EQ(TimespecCompareTo({1, 9}, {2, 0}), -1);
    EXPECT_EQ(TimespecCompareTo({2, 0}, {1, 9}), 1);
    EXPECT_EQ(TimespecCompareTo({1, 1}, {1, 2}), -1);
    EXPECT_EQ(TimespecCompareTo({1, 2}, {1, 1}), 1);
    EXPECT_EQ(TimespecCompareTo({1, 1}, {1, 1}), 0);
}

TEST(TimesTest, ATimeAsText) {
    EXPECT_EQ(GetATimeString(0), "1970-01-01 00:00:00.000");
    EXPECT_EQ(GetATimeString(1709208000007ULL), "2024-02-29 12:00:00.007");
    EXPECT_EQ(GetATimeString(253402300799999ULL), "9999-12-31 23:59:59.999");
    EXPECT_FALSE(GetATimeString(~0ULL).empty());
}

TEST(TimesTest, NowAsText) {
    const std::time_t before = std::time(nullptr);
    const std::string text = GetNowUTCDateTimeWithMicroseconds();
    const std::time_t after = std::time(nullptr);
    std::smatch parts;
    ASSERT_TRUE(
        std::regex_match(text, parts, std::regex(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d) \+ (\d{6}) \(microseconds\))")))
        << text;
    std::tm time{};
    ASSERT_NE(::strptime(parts[1].str().c_str(), "%Y-%m-%d %H:%M:%S", &time), nullptr);
    EXPECT_GE(::timegm(&time), before);
    EXPECT_LE(::timegm(&time), after);
}

}  // namespace
