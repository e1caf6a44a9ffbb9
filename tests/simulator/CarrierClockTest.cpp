#include "CarrierSimulator/CarrierClock.h"

#include <gtest/gtest.h>

#include <chrono>

namespace simulator {
namespace {

TEST(TimeRecord, IsReadFromText) {
    EXPECT_EQ(TimeRecordFromText("2025-03-07T08:05:09.250Z"), (TimeRecord{25, 3, 7, 8, 5, 9, 0xFA, 0}));
    EXPECT_EQ(TimeRecordFromText("2024-02-29T23:59:59"), (TimeRecord{24, 2, 29, 23, 59, 59, 0, 0}));
    EXPECT_EQ(TimeRecordFromText("2255-12-31T00:00:00.999Z"), (TimeRecord{255, 12, 31, 0, 0, 0, 0xE7, 3}));
}

TEST(TimeRecord, IsNotReadFromWhatIsNoTime) {
    for (const char* text :
         {"", "now", "2025-03-07", "2025-13-07T08:05:09Z", "2025-02-29T08:05:09Z", "2025-03-07T24:05:09Z",
          "2025-03-07T08:60:09Z", "1999-03-07T08:05:09Z", "2256-03-07T08:05:09Z", "2025-03-07 08:05:09Z",
          "2025-03-07T08:05:0xZ", "2025-03-07T08:05:09.25Z", "2025-03-07T-8:05:09Z"}) {
        EXPECT_EQ(TimeRecordFromText(text), std::nullopt) << text;
    }
}

TEST(TimeRecord, IsShownWhateverItHolds) {
    EXPECT_EQ(TextOf(TimeRecord{25, 3, 7, 8, 5, 9, 0xFA, 0}), "2025-03-07T08:05:09.250Z");
    EXPECT_EQ(TextOf(TimeRecord{0, 0, 0, 0, 0, 0, 0, 0}), "2000-00-00T00:00:00.000Z");
}

TEST(CarrierClock, StandsWhereItIsPut) {
    CarrierClock clock;
    const TimeRecord first = {25, 3, 7, 8, 5, 9, 0, 0};
    const TimeRecord second = {30, 1, 1, 0, 0, 0, 0, 0};
    clock.Stand(first);
    EXPECT_EQ(clock.Now(), first);
    clock.Set(second);
    EXPECT_EQ(clock.Now(), second);
}

TEST(CarrierClock, RunsOnFromWhereItIsSet) {
    CarrierClock clock;
    clock.Set(TimeRecord{41, 6, 15, 12, 0, 0, 0, 0});
    const TimeRecord now = clock.Now();
    EXPECT_EQ(TextOf(now).substr(0, 13), "2041-06-15T12");
}

TEST(CarrierClock, RunsWithTheComputer) {
    const CarrierClock clock;
    const auto before = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    const TimeRecord now = clock.Now();
    const auto after = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    parts.tm_year = 100 + now[0];
    parts.tm_mon = now[1] - 1;
    parts.tm_mday = now[2];
    parts.tm_hour = now[3];
    parts.tm_min = now[4];
    parts.tm_sec = now[5];
    EXPECT_GE(::timegm(&parts), before);
    EXPECT_LE(::timegm(&parts), after);
}

}  // namespace
}  // namespace simulator
