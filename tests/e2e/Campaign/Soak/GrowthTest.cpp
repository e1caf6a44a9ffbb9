// What a long run may cost more at its end than after its warm-up.
#include "tests/e2e/Campaign/Soak/Growth.h"

#include <gtest/gtest.h>

namespace {

constexpr ProcessFigures kWarm{1.0, 7700, 15, 4};

SoakSample At(int seconds, const ProcessFigures& process) {
    SoakSample sample;
    sample.elapsed = std::chrono::seconds(seconds);
    sample.process = process;
    return sample;
}

std::string GrowthTo(const ProcessFigures& end) {
    return ForbiddenGrowth(kWarm, end, true);
}

TEST(GrowthTest, IsNoneWhereAllIsAsBefore) {
    EXPECT_EQ(GrowthTo({90.0, 7700, 15, 4}), "");
}

TEST(GrowthTest, IsNoneWhereThereIsLess) {
    EXPECT_EQ(GrowthTo({90.0, 7600, 14, 3}), "");
}

TEST(GrowthTest, OfOneDescriptorIsTooMuch) {
    EXPECT_EQ(GrowthTo({90.0, 7700, 16, 4}), "descriptors 15 -> 16");
}

TEST(GrowthTest, OfOneThreadIsTooMuch) {
    EXPECT_EQ(GrowthTo({90.0, 7700, 15, 5}), "threads 4 -> 5");
}

TEST(GrowthTest, OfMemoryIsTooMuchBeyondItsBound) {
    EXPECT_EQ(GrowthTo({90.0, 7700 + kMostGrowthKiB, 15, 4}), "");
    EXPECT_EQ(GrowthTo({90.0, 7700 + kMostGrowthKiB + 1, 15, 4}),
              "resident KiB 7700 -> " + std::to_string(7700 + kMostGrowthKiB + 1));
}

TEST(GrowthTest, OfMemoryThatIsNotItsOwnIsNotJudged) {
    EXPECT_EQ(ForbiddenGrowth(kWarm, {90.0, 100'000, 16, 4}, false), "descriptors 15 -> 16");
}

TEST(GrowthTest, OfSeveralThingsNamesThemAll) {
    EXPECT_EQ(GrowthTo({90.0, 7700, 17, 6}), "descriptors 15 -> 17, threads 4 -> 6");
}

TEST(WarmUpTest, EndsWithTheFirstMinute) {
    const auto warm = AfterWarmUp({At(10, {0.2, 7000, 12, 3}), At(60, kWarm), At(70, {1.2, 9000, 30, 9})});
    ASSERT_TRUE(warm);
    EXPECT_EQ(warm->residentKiB, kWarm.residentKiB);
    EXPECT_EQ(warm->descriptors, kWarm.descriptors);
    EXPECT_EQ(warm->threads, kWarm.threads);
}

TEST(WarmUpTest, EndsWithTheFirstSampleWhereThereIsNoMinute) {
    const auto warm = AfterWarmUp({At(10, kWarm), At(20, {1.0, 7800, 16, 5})});
    ASSERT_TRUE(warm);
    EXPECT_EQ(warm->descriptors, kWarm.descriptors);
}

TEST(WarmUpTest, NeverEndsWithoutSamples) {
    EXPECT_FALSE(AfterWarmUp({}));
}

}  // namespace
