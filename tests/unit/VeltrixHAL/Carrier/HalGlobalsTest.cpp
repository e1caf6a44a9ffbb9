// What the threads of the process share, as it is at the start.
#include "VeltrixHAL/HalGlobals.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

TEST(HalGlobalsTest, TheProcessRunsAndKnowsNothingOfCarrierAndWeldYet) {
    EXPECT_TRUE(gKeepRunning);
    EXPECT_FALSE(gCoreEnabled);
    EXPECT_EQ(HalGlobals::gEndTimeOfLastWeld, DateTime());
    EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U);
    EXPECT_FALSE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 0.0F);
}

TEST(HalGlobalsTest, TheTessimorProcessCountsAsHeardOfAtTheStart) {
    const std::time_t now = std::time(nullptr);
    EXPECT_LE(HalGlobals::g_TessimorUpdateTimer, now);
    EXPECT_GE(HalGlobals::g_TessimorUpdateTimer, now - 60);
}

}  // namespace
