// The weld as the machine's other processes tell it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Veltrix/DataTypes.h>

#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/WeldEvents.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/ScratchFolder.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <ctime>
#include <limits>
#include <string>
#include <utility>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WeldEventsTest : public testing::Test {
protected:
    WeldEventsTest() { ::tzset(); }

    static std::string Printed(void (*handler)(EventClient*, VeltrixDataTypeBase*, int, void*),
                               VeltrixDataTypeBase& message) {
        ConsoleCapture console;
        handler(nullptr, &message, 0, nullptr);
        return console.Take();
    }

    static WeldTriggerStart Start(std::int32_t tag, std::int64_t timestamp) {
        WeldTriggerStart start;
        start.set_tag(tag);
        start.set_timestamp(timestamp);
        return start;
    }

    static WeldTraceData Sample(std::int32_t sequence, double volts, double amps, double wfs) {
        WeldTraceDataPoint point;
        point.set_volts(volts);
        point.set_amps(amps);
        point.set_wfs(wfs);
        WeldTraceData sample;
        sample.set_sequence(sequence);
        sample.set_data(point);
        return sample;
    }

    static UnitValueDoublePair Value(const std::string& unit, double value) {
        UnitValueDoublePair pair;
        pair.set_unit(unit);
        pair.set_value(value);
        return pair;
    }

    const ScopedVariable mTimeZone{"TZ", "UTC0"};
    const GlobalsGuard mGlobals;
    LogCapture mLog;
};

TEST_F(WeldEventsTest, AStartIsNotedAndLogged) {
    auto start = Start(7, 1741064767);
    EXPECT_EQ(Printed(receiveWeldTriggerStart, start), "");
    EXPECT_TRUE(HalGlobals::gIsWeldInProgress);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Weld started at Tue Mar  4 05:06:07 2025\n")));
}

TEST_F(WeldEventsTest, AStartIsPrintedAboveVerbosityZero) {
    auto start = Start(7, 1741064767);
    for (const int verbosity : {1, 2}) {
        VeltrixErrorLog::gVerbosity = verbosity;
        EXPECT_EQ(Printed(receiveWeldTriggerStart, start), "Weld Start 7  Time: Tue Mar  4 05:06:07 2025\n\n");
    }
}

TEST_F(WeldEventsTest, TimesBeforeTheEpochAreTimes) {
    auto start = Start(-7, -1);
    VeltrixErrorLog::gVerbosity = 1;
    EXPECT_EQ(Printed(receiveWeldTriggerStart, start), "Weld Start -7  Time: Wed Dec 31 23:59:59 1969\n\n");
}

TEST_F(WeldEventsTest, TimesAreThoseOfTheMachinesTimeZone) {
    const ScopedVariable fiveHoursEast("TZ", "XYZ-5");
    auto start = Start(7, 1741064767);
    Printed(receiveWeldTriggerStart, start);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Weld started at Tue Mar  4 10:06:07 2025\n")));
}

TEST_F(WeldEventsTest, YearsMayHaveAnyNumberOfDigits) {
    const std::pair<std::int64_t, const char*> times[] = {
        {253402300799, "Fri Dec 31 23:59:59 9999"},
        {253402300800, "Sat Jan  1 00:00:00 10000"},
        {9007199254740992, "Mon Nov 12 07:36:32 285428751"},
        {-377705116801, "Sun Dec 31 23:59:59 -10000"},
        {67767976233532799, "Tue Dec 31 23:59:59 2147483647"},
    };
    for (const auto& [timestamp, text] : times) {
        auto start = Start(7, timestamp);
        Printed(receiveWeldTriggerStart, start);
        EXPECT_THAT(mLog.Take(), ElementsAre(Information("Weld started at " + std::string(text) + "\n")));
    }
}

TEST_F(WeldEventsTest, ATimeThatCannotBeShownIsSaidToBeInvalid) {
    VeltrixErrorLog::gVerbosity = 1;
    for (const std::int64_t timestamp : {std::int64_t{67767976233532800}, std::numeric_limits<std::int64_t>::max(),
                                         std::numeric_limits<std::int64_t>::min()}) {
        auto start = Start(7, timestamp);
        EXPECT_EQ(Printed(receiveWeldTriggerStart, start), "Weld Start 7  Time: (invalid time)\n\n");
        EXPECT_THAT(mLog.Take(), ElementsAre(Information("Weld started at (invalid time)\n")));
        EXPECT_TRUE(HalGlobals::gIsWeldInProgress);
    }
}

TEST_F(WeldEventsTest, TheDescriptionOfTheWeldChangesNothing) {
    auto start = Start(7, 1741064767);
    start.set_settings("S");
    start.set_gas("G");
    start.set_alloy("N/A");
    start.set_wireType("{}");
    EXPECT_EQ(Printed(receiveWeldTriggerStart, start), "");
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Weld started at Tue Mar  4 05:06:07 2025\n")));
}

TEST_F(WeldEventsTest, ASampleIsPrintedAboveVerbosityOne) {
    auto sample = Sample(12, 24.5, 200, 350.25);
    for (const int verbosity : {-1, 0, 1}) {
        VeltrixErrorLog::gVerbosity = verbosity;
        EXPECT_EQ(Printed(receiveWeldData, sample), "") << verbosity;
    }
    for (const int verbosity : {2, 3}) {
        VeltrixErrorLog::gVerbosity = verbosity;
        EXPECT_EQ(Printed(receiveWeldData, sample), "Sample: 12, Voltage: 24.5, Current: 200, WFS: 350.25\n");
    }
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
}

TEST_F(WeldEventsTest, ValuesOfASampleAreShownWithSixDigits) {
    VeltrixErrorLog::gVerbosity = 2;
    auto sample = Sample(-1, 0.1 + 0.2, 1234567, 0.000012345678);
    EXPECT_EQ(Printed(receiveWeldData, sample), "Sample: -1, Voltage: 0.3, Current: 1.23457e+06, WFS: 1.23457e-05\n");
}

TEST_F(WeldEventsTest, AnEndIsNotedWithItsArrival) {
    HalGlobals::gIsWeldInProgress = true;
    HalGlobals::gEndTimeOfLastWeld = DateTime();
    WeldTriggerEnd end;
    end.set_tag(7);
    const DateTime before = DateTime::Now(0);
    EXPECT_EQ(Printed(receiveWeldTriggerEnd, end), "");
    EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
    EXPECT_GE(HalGlobals::gEndTimeOfLastWeld, before);
    EXPECT_LE(HalGlobals::gEndTimeOfLastWeld, DateTime::Now(0));
}

TEST_F(WeldEventsTest, AnEndIsPrintedAboveVerbosityZero) {
    WeldTriggerEnd end;
    end.set_tag(-3);
    VeltrixErrorLog::gVerbosity = 1;
    EXPECT_EQ(Printed(receiveWeldTriggerEnd, end), "Weld -3 End\n");
}

TEST_F(WeldEventsTest, AnEndLogsItsFigures) {
    WeldMetrics metrics;
    metrics.set_ArcDuration(Value("s", 12.5));
    metrics.set_AverageVoltage(Value("V", 24.25));
    metrics.set_AverageAmperage(Value("A", 199.75));
    metrics.set_AverageWFS(Value("ipm", 350.125));
    WeldTriggerEnd end;
    end.set_tag(7);
    end.set_metrics(metrics);
    Printed(receiveWeldTriggerEnd, end);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Weld 7 ended. Duration is 12.5s. Averages are 24.25 Volts, "
                                                     "199.75 Amps, 350.125 IPM ")));
}

TEST_F(WeldEventsTest, AnEndWithoutFiguresLogsZeros) {
    WeldTriggerEnd end;
    Printed(receiveWeldTriggerEnd, end);
    const auto lines = mLog.Take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], Information("Weld 0 ended. Duration is 0s. Averages are 0 Volts, 0 Amps, 0 IPM "));
}

TEST_F(WeldEventsTest, StartsAndEndsNeedNotMatch) {
    auto start = Start(1, 0);
    WeldTriggerEnd end;
    end.set_tag(99);
    Printed(receiveWeldTriggerEnd, end);
    EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
    Printed(receiveWeldTriggerStart, start);
    Printed(receiveWeldTriggerStart, start);
    EXPECT_TRUE(HalGlobals::gIsWeldInProgress);
    Printed(receiveWeldTriggerEnd, end);
    EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
}

}  // namespace
