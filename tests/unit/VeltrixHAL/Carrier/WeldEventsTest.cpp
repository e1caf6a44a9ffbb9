// The weld as the machine's other processes tell it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Veltrix/DataTypes.h>

#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/WeldEvents.h"
#include "tests/support/LogCapture.h"
#include "tests/support/WaitUntil.h"
#include "tests/unit/ScratchFolder.h"
#include "tests/unit/VeltrixHAL/Carrier/LogWatch.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Standard output without room for another byte: whoever prints waits until there is some.
class FullConsole {
public:
    FullConsole() : mBefore(::dup(STDOUT_FILENO)) {
        std::fflush(nullptr);
        if (mBefore < 0 || ::pipe2(mPipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::runtime_error("no pipe");
        }
        while (::write(mPipe[1], mPage.data(), mPage.size()) > 0) {
        }
        if (::fcntl(mPipe[1], F_SETFL, 0) != 0 || ::dup2(mPipe[1], STDOUT_FILENO) < 0) {
            throw std::runtime_error("cannot redirect the console");
        }
    }
    ~FullConsole() {
        ::dup2(mBefore, STDOUT_FILENO);
        for (const int descriptor : {mBefore, mPipe[0], mPipe[1]}) {
            ::close(descriptor);
        }
    }
    FullConsole(const FullConsole&) = delete;
    FullConsole& operator=(const FullConsole&) = delete;

    void MakeRoom() {
        while (::read(mPipe[0], mPage.data(), mPage.size()) > 0) {
        }
    }

private:
    const int mBefore;
    std::array<int, 2> mPipe{};
    std::array<char, 4096> mPage{};
};

class WeldEventsTest : public testing::Test {
protected:
    using Handler = void (*)(EventClient*, VeltrixDataTypeBase*, int, void*);

    WeldEventsTest() { ::tzset(); }

    static std::string Printed(Handler handler, VeltrixDataTypeBase& message) {
        ConsoleCapture console;
        handler(nullptr, &message, 0, nullptr);
        return console.Take();
    }

    // What there is while the handler logs its line.
    struct Moment {
        std::string logged;
        std::string printed;
        bool isWeldInProgress = false;
        DateTime endOfLastWeld;
    };
    static Moment MomentOfTheLog(Handler handler, VeltrixDataTypeBase& message) {
        Moment moment;
        ConsoleCapture console;
        const LogWatch watch([&](const std::string& line) {
            moment = {line, console.Take(), HalGlobals::gIsWeldInProgress, HalGlobals::gEndTimeOfLastWeld};
        });
        handler(nullptr, &message, 0, nullptr);
        return moment;
    }

    // Whether the state is the expected one while the handler is kept from printing.
    static bool IsNotedBeforePrinting(bool isWeldInProgress, Handler handler, VeltrixDataTypeBase& message) {
        FullConsole console;
        std::thread handling([&] { handler(nullptr, &message, 0, nullptr); });
        const bool isNoted = WaitUntil([&] { return HalGlobals::gIsWeldInProgress == isWeldInProgress; });
        console.MakeRoom();
        handling.join();
        return isNoted;
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

TEST_F(WeldEventsTest, AStartIsNotedAndPrintedBeforeItIsLogged) {
    auto start = Start(7, 1741064767);
    VeltrixErrorLog::gVerbosity = 1;
    const Moment moment = MomentOfTheLog(receiveWeldTriggerStart, start);
    EXPECT_EQ(moment.logged, "Weld started at Tue Mar  4 05:06:07 2025\n");
    EXPECT_EQ(moment.printed, "Weld Start 7  Time: Tue Mar  4 05:06:07 2025\n\n");
    EXPECT_TRUE(moment.isWeldInProgress);
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

TEST_F(WeldEventsTest, AnEndIsNotedAndPrintedBeforeItIsLogged) {
    HalGlobals::gIsWeldInProgress = true;
    VeltrixErrorLog::gVerbosity = 1;
    WeldTriggerEnd end;
    end.set_tag(7);
    const DateTime before = DateTime::Now(0);
    const Moment moment = MomentOfTheLog(receiveWeldTriggerEnd, end);
    EXPECT_EQ(moment.logged, "Weld 7 ended. Duration is 0s. Averages are 0 Volts, 0 Amps, 0 IPM ");
    EXPECT_EQ(moment.printed, "Weld 7 End\n");
    EXPECT_FALSE(moment.isWeldInProgress);
    EXPECT_GE(moment.endOfLastWeld, before);
}

TEST_F(WeldEventsTest, WhetherAWeldIsInProgressIsNotedBeforeItIsPrinted) {
    VeltrixErrorLog::gVerbosity = 1;
    auto start = Start(7, 1741064767);
    EXPECT_TRUE(IsNotedBeforePrinting(true, receiveWeldTriggerStart, start));
    WeldTriggerEnd end;
    EXPECT_TRUE(IsNotedBeforePrinting(false, receiveWeldTriggerEnd, end));
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
