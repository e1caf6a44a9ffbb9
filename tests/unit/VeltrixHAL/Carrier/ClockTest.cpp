// The carrier's clock, which sets the module's once.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"
#include "tests/unit/VeltrixHAL/Carrier/ShiftedWallClock.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t kSeconds = 1741064767;                      // 2025-03-04T05:06:07Z
const CarrierStub::Bytes kTime = {25, 3, 4, 5, 6, 7, 0x0D, 0x02};  // with 525 ms

template <typename Fixture>
class ClockTestOf : public Fixture {
protected:
    ClockTestOf() { gCoreEnabled = true; }

    void Answer(const CarrierStub::Bytes& payload) {
        this->mCarrier->Reply(FrameBuilder::Ack(payload), CommCommands_GetRTC);
    }

    // Whether the clock was set to just this time, and nothing else was set.
    void ExpectOnlySetting(std::int64_t seconds, long nanoseconds) {
        const auto settings = this->mSystem.ClockSettings();
        ASSERT_EQ(settings.size(), 1U);
        EXPECT_EQ(settings[0].tv_sec, seconds);
        EXPECT_EQ(settings[0].tv_nsec, nanoseconds);
    }
};

class ClockTest : public ClockTestOf<CarrierTest> {
protected:
    // From the carrier's time to now. Not by time(), which may still be in the second before.
    static std::int64_t SecondsSinceThen() {
        return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) - kSeconds;
    }

    // The difference in the only line about the setting, which must be this one.
    void ExpectLoggedDifference(std::int64_t least, std::int64_t most) {
        const auto lines = LogWith("INITIAL");
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines[0].level, LogLevel::Information);
        const std::string start = "INITIAL TIME SYNCHING SOM to 2025-03-04T05:06:07.525Z from carrier. TimeDiff is ";
        ASSERT_EQ(lines[0].text.substr(0, start.size()), start);
        std::size_t digits = 0;
        const std::string rest = lines[0].text.substr(start.size());
        const std::int64_t difference = std::stoll(rest, &digits);
        EXPECT_EQ(rest.substr(digits), "s");
        EXPECT_GE(difference, least);
        EXPECT_LE(difference, most);
    }
};
class ClockOnBusTest : public ClockTestOf<CarrierOnBusTest> {};

TEST_F(ClockTest, IsSetToTheMillisecond) {
    Answer(kTime);
    ExpectOnlySetting(kSeconds, 525'000'000);
}

TEST_F(ClockTest, TheSettingIsPrintedAndLoggedWithTheDifference) {
    const std::int64_t before = SecondsSinceThen();
    EXPECT_THAT(Printed([&] { Answer(kTime); }),
                ElementsAre("Startup sync of SBC clock to STM RTCtime: 2025-03-04T05:06:07.525Z"));
    ExpectLoggedDifference(before, SecondsSinceThen());
}

TEST_F(ClockTest, TheDifferenceIsTheOneBeforeTheSetting) {
    ShiftedWallClock clock;
    const std::int64_t before = SecondsSinceThen();
    std::int64_t after = 0;
    mSystem.WhenClockIsSet([&] {
        after = SecondsSinceThen();
        clock.MoveTo(kSeconds);
    });
    Answer(kTime);
    ExpectLoggedDifference(before, after);
}

TEST_F(ClockTest, TheDifferenceHasNoSign) {
    Answer({99, 12, 31, 23, 59, 59, 0, 0});
    const auto lines = LogWith("INITIAL");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text.find('-', lines[0].text.find("TimeDiff")), std::string::npos) << lines[0];
    EXPECT_EQ(lines[0].text.find("TimeDiff is 0s"), std::string::npos) << lines[0];
}

TEST_F(ClockTest, BelowVerbosityZeroNothingIsPrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { Answer(kTime); }), IsEmpty());
    EXPECT_THAT(LogWith("INITIAL TIME"), SizeIs(1));
}

struct ShortAnswer {
    std::size_t length;
    std::int64_t seconds;  // 0 where the answer is no time
    long nanoseconds;

    friend void PrintTo(const ShortAnswer& answer, std::ostream* out) { *out << answer.length << "Bytes"; }
};

class ClockLengthTest : public ClockTest, public testing::WithParamInterface<ShortAnswer> {};

TEST_P(ClockLengthTest, MissingFieldsAreZero) {
    Bytes payload = kTime;
    payload.resize(GetParam().length, 0);
    Answer(payload);
    if (GetParam().seconds != 0) {
        ExpectOnlySetting(GetParam().seconds, GetParam().nanoseconds);
        return;
    }
    EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_TRUE(TestCarrier::setOnce);
}

INSTANTIATE_TEST_SUITE_P(All, ClockLengthTest,
                         testing::Values(ShortAnswer{0, 0, 0}, ShortAnswer{1, 0, 0}, ShortAnswer{2, 0, 0},
                                         ShortAnswer{3, 1741046400, 0}, ShortAnswer{4, 1741064400, 0},
                                         ShortAnswer{5, 1741064760, 0}, ShortAnswer{6, kSeconds, 0},
                                         ShortAnswer{7, kSeconds, 13'000'000}, ShortAnswer{8, kSeconds, 525'000'000},
                                         ShortAnswer{9, 0, 0}, ShortAnswer{100, 0, 0}));

TEST_F(ClockTest, AnAnswerThatIsNoTimeIsIgnoredAndDoesNotUseUpTheSetting) {
    const std::vector<Bytes> kNoTimes = {
        {25, 0, 4, 5, 6, 7, 0, 0},        // month 0
        {25, 13, 4, 5, 6, 7, 0, 0},       // month 13
        {25, 2, 30, 5, 6, 7, 0, 0},       // 30 February
        {25, 3, 0, 5, 6, 7, 0, 0},        // day 0
        {25, 3, 4, 24, 6, 7, 0, 0},       // hour 24
        {25, 3, 4, 5, 60, 7, 0, 0},       // minute 60
        {25, 3, 4, 5, 6, 61, 0, 0},       // second 61
        {25, 3, 4, 5, 6, 7, 0xE8, 0x03},  // 1000 ms
        {100, 3, 4, 5, 6, 7, 0, 0},       // 2100: three digits
        {255, 255, 255, 255, 255, 255, 255, 255},
    };
    for (const Bytes& payload : kNoTimes) {
        SCOPED_TRACE(Hex(payload));
        EXPECT_THAT(Printed([&] { Answer(payload); }), IsEmpty());
        EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
        EXPECT_THAT(mLog.Take(), IsEmpty());
    }
    Answer(kTime);
    ExpectOnlySetting(kSeconds, 525'000'000);
}

TEST_F(ClockTest, YearsFrom2025To2099AreTrusted) {
    for (const std::uint8_t year : {std::uint8_t{25}, std::uint8_t{99}}) {
        TestCarrier::setOnce = true;
        Answer({year, 1, 1, 0, 0, 0, 0, 0});
    }
    const auto settings = mSystem.ClockSettings();
    ASSERT_EQ(settings.size(), 2U);
    EXPECT_EQ(settings[0].tv_sec, 1735689600);
    EXPECT_EQ(settings[1].tv_sec, 4070908800);
}

TEST_F(ClockOnBusTest, ACarrierThatNeverHadTheTimeSetsNothing) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(Printed([&] { Answer({24, 12, 31, 23, 59, 59, 0xE7, 0x03}); }), IsEmpty());
        EXPECT_THAT(Printed([&] { Answer({0, 1, 1, 0, 0, 0, 0, 0}); }), IsEmpty());
    }
    EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(Published("time_sync"), IsEmpty());
    EXPECT_TRUE(TestCarrier::setOnce);
}

TEST_F(ClockOnBusTest, WithoutCoreNothingIsSetAndNothingUsedUp) {
    gCoreEnabled = false;
    Answer(kTime);
    EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(Published("time_sync"), IsEmpty());
    gCoreEnabled = true;
    Answer(kTime);
    ExpectOnlySetting(kSeconds, 525'000'000);
}

TEST_F(ClockOnBusTest, TheCarriersTimeIsPublishedAsNotFromTheCloud) {
    Answer(kTime);
    const auto payloads = Published("time_sync");
    ASSERT_THAT(payloads, SizeIs(1));
    EXPECT_EQ(payloads[0], R"({"serverTimestamp":"2025-03-04T05:06:07.525Z","receivedTimeFromCloud":false})");
}

TEST_F(ClockOnBusTest, ASecondAnswerDoesNothing) {
    Answer(kTime);
    mLog.Take();
    EXPECT_THAT(Printed([&] { Answer({26, 3, 4, 5, 6, 7, 0, 0}); }), IsEmpty());
    ExpectOnlySetting(kSeconds, 525'000'000);
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(Published("time_sync"), SizeIs(1));
}

TEST_F(ClockOnBusTest, ARefusedSettingIsReportedPublishedAndNotRepeated) {
    mSystem.SetClockResult(EPERM);
    EXPECT_THAT(Printed([&] { Answer(kTime); }), ElementsAre("Error setting SBC time. Operation not permitted"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to set SBC time. \"Operation not permitted\"")));
    EXPECT_THAT(Published("time_sync"), SizeIs(1));

    mSystem.SetClockResult(0);
    EXPECT_THAT(Printed([&] { Answer(kTime); }), IsEmpty());
    EXPECT_THAT(mSystem.ClockSettings(), SizeIs(1));
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(Published("time_sync"), SizeIs(1));
}

TEST_F(ClockTest, BelowVerbosityZeroARefusalIsOnlyLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    mSystem.SetClockResult(EINVAL);
    EXPECT_THAT(Printed([&] { Answer(kTime); }), IsEmpty());
    EXPECT_THAT(LogWith("SBC time"), ElementsAre(Error("Unable to set SBC time. \"Invalid argument\"")));
}

TEST_F(ClockTest, WithoutABrokerTheClockIsSetAllTheSame) {
    Answer(kTime);
    ExpectOnlySetting(kSeconds, 525'000'000);
    EXPECT_THAT(LogWith("publish"),
                ElementsAre(Warning("Could not publish time_sync on /bus. No such file or directory")));
}

TEST_F(ClockTest, TheTimeIsPublishedAfterTheSetting) {
    mSystem.SetClockResult(EPERM);
    Answer(kTime);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to set SBC time. \"Operation not permitted\""),
                                         Warning("Could not publish time_sync on /bus. No such file or directory")));
}

TEST_F(ClockTest, OnlyTheAnswerToTheClockRequestCounts) {
    mCarrier->Reply(FrameBuilder::Ack(kTime), CommCommands_SetRTC);
    EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
}

}  // namespace
