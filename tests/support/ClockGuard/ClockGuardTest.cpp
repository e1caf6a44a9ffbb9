// Runs with the guard preloaded, see CMakeLists.txt.
#include "tests/support/ClockGuard/ClockGuard.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <time.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

class ClockGuardTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(dlsym(RTLD_DEFAULT, "VeltrixClockGuardIsLoaded"), nullptr) << "the guard is not preloaded";
        char folder[] = "/tmp/ClockGuardTest.XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        mFolder = folder;
        ASSERT_EQ(setenv("VELTRIX_CLOCK_GUARD_LOG", (mFolder / "log").c_str(), 1), 0);
        ASSERT_EQ(unsetenv("VELTRIX_CLOCK_GUARD_ERRNO"), 0);
    }

    void TearDown() override {
        if (!mFolder.empty()) {
            std::filesystem::remove_all(mFolder);
        }
    }

    std::string Recorded() const {
        std::ostringstream text;
        text << std::ifstream(mFolder / "log").rdbuf();
        return text.str();
    }

    std::filesystem::path mFolder;
};

TEST_F(ClockGuardTest, RecordsEachSettingAndLeavesTheClockAlone) {
    const timespec farAway{4102444800, 7000000};  // 2100-01-01 and 7 ms
    const timeval alsoFarAway{1, 5};

    EXPECT_EQ(clock_settime(CLOCK_REALTIME, &farAway), 0);
    EXPECT_EQ(settimeofday(&alsoFarAway, nullptr), 0);

    EXPECT_EQ(Recorded(), "4102444800.007000000\n1.000005000\n");
    EXPECT_LT(time(nullptr), 4102444800);
    EXPECT_GT(time(nullptr), 1000000);
}

TEST_F(ClockGuardTest, RecordsAdjustmentsToo) {
    const timeval delta{1, 5};
    EXPECT_EQ(adjtime(&delta, nullptr), 0);
    timex adjustment{};
    adjustment.modes = ADJ_SETOFFSET;
    adjustment.time = {2, 6};
    EXPECT_EQ(adjtimex(&adjustment), 0);
    adjustment.time = {3, 7};
    EXPECT_EQ(ntp_adjtime(&adjustment), 0);
    adjustment.time = {4, 8};
    EXPECT_EQ(clock_adjtime(CLOCK_REALTIME, &adjustment), 0);
    EXPECT_EQ(Recorded(), "1.000005000\n2.000000006\n3.000000007\n4.000000008\n");
}

TEST_F(ClockGuardTest, OnlyTheRealTimeClockCanBeSet) {
    const timespec farAway{4102444800, 0};
    EXPECT_EQ(clock_settime(CLOCK_MONOTONIC, &farAway), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Recorded(), "");
}

TEST_F(ClockGuardTest, FailsWithTheErrorItIsTold) {
    const timespec farAway{4102444800, 0};

    ASSERT_EQ(setenv("VELTRIX_CLOCK_GUARD_ERRNO", "EPERM", 1), 0);
    EXPECT_EQ(clock_settime(CLOCK_REALTIME, &farAway), -1);
    EXPECT_EQ(errno, EPERM);
    ASSERT_EQ(setenv("VELTRIX_CLOCK_GUARD_ERRNO", "22", 1), 0);
    EXPECT_EQ(clock_settime(CLOCK_REALTIME, &farAway), -1);
    EXPECT_EQ(errno, EINVAL);

    EXPECT_EQ(Recorded(), "4102444800.000000000\n4102444800.000000000\n");
}

}  // namespace
