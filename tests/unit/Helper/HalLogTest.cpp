// What the process says, where, and from which verbosity on.
#include "Common/Logging/HalLog.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/LogCapture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Counts how often it is flushed.
class CountingSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    int Flushes() const { return mFlushes; }

protected:
    void sink_it_(const spdlog::details::log_msg& /*message*/) override {}
    void flush_() override { ++mFlushes; }

private:
    int mFlushes = 0;
};

class HalLogTest : public testing::Test {
protected:
    HalLogTest() : mLoggerBefore(std::exchange(VeltrixErrorLog::gRotatingLogger, nullptr)) {
        VeltrixErrorLog::gVerbosity = 0;
    }
    ~HalLogTest() override {
        VeltrixErrorLog::gRotatingLogger = mLoggerBefore;
        VeltrixErrorLog::gVerbosity = 0;
    }

    static std::string Printed(const std::function<void()>& action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    static std::string Told(const std::function<void()>& action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    const std::shared_ptr<spdlog::logger> mLoggerBefore;
};

TEST_F(HalLogTest, EachLevelReachesTheLogAndNotTheConsole) {
    LogCapture log;
    EXPECT_EQ(Printed([] {
                  HalLog::Info("one {}", 1);
                  HalLog::Warning("two {}", "{}");
                  HalLog::Error("three %s");
                  HalLog::Critical("four");
              }),
              "");
    EXPECT_THAT(log.Take(), ElementsAre(Information("one 1"), Warning("two {}"), Error("three %s"), Critical("four")));
}

TEST_F(HalLogTest, TheVerbosityDoesNotTouchTheLog) {
    LogCapture log;
    VeltrixErrorLog::gVerbosity = -5;
    HalLog::Info("text");
    EXPECT_THAT(log.Take(), ElementsAre(Information("text")));
    HalLog::Print(0, "line");
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(HalLogTest, WithoutALogInformationIsLostSilently) {
    EXPECT_EQ(Told([] { EXPECT_EQ(Printed([] { HalLog::Info("text"); }), ""); }), "");
}

TEST_F(HalLogTest, WithoutALogTheOtherLevelsTellTheirPlace) {
    VeltrixErrorLog::gVerbosity = -5;  // has no say in it
    const int line = __LINE__;
    const std::string told = Printed([] {
        HalLog::Warning("text");
        HalLog::Error("text");
        HalLog::Critical("text");
    });
    const std::string begin = "Rotating logger is nullptr - level: ";
    const std::string place = " - logged at HalLogTest.cpp:";
    const auto expected = [&](int level) {
        return begin + std::to_string(level) + place + std::to_string(line + level) + "\n";
    };
    EXPECT_EQ(told, expected(2) + expected(3) + expected(4));
}

TEST_F(HalLogTest, TheLogIsFlushedWhenAsked) {
    const auto sink = std::make_shared<CountingSink>();
    VeltrixErrorLog::gRotatingLogger = std::make_shared<spdlog::logger>("counting", sink);
    HalLog::Critical("text");
    EXPECT_EQ(sink->Flushes(), 0) << "by itself";
    HalLog::Flush();
    EXPECT_EQ(sink->Flushes(), 1);
}

TEST_F(HalLogTest, WithoutALogThereIsNothingToFlush) {
    EXPECT_EQ(Told([] { EXPECT_EQ(Printed([] { HalLog::Flush(); }), ""); }), "");
}

TEST_F(HalLogTest, ALineIsPrintedFromItsVerbosityOn) {
    const struct {
        int verbosity;
        const char* printed;
    } rows[] = {{-1, "always\n"},
                {0, "zero\nalways\n"},
                {1, "zero\none\nalways\n"},
                {2, "zero\none\ntwo\nalways\n"},
                {3, "zero\none\ntwo\nalways\n"}};
    for (const auto& row : rows) {
        VeltrixErrorLog::gVerbosity = row.verbosity;
        EXPECT_EQ(Printed([] {
                      HalLog::Print(0, "{}", "zero");
                      HalLog::Print(1, "{}", "one");
                      HalLog::Print(2, "{}", "two");
                      HalLog::PrintAlways("{}", "always");
                  }),
                  row.printed)
            << row.verbosity;
        EXPECT_EQ(HalLog::IsVerbose(1), row.verbosity >= 1);
    }
}

TEST_F(HalLogTest, RawTextStaysAsItIs) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_EQ(Printed([] { HalLog::PrintRaw("a{}%s\r\nb"); }), "a{}%s\r\nb");
    EXPECT_EQ(Told([] { HalLog::PrintErrorRaw("c{}%s"); }), "c{}%s");
}

TEST_F(HalLogTest, ErrorsNameCodeAndPlace) {
    VeltrixErrorLog::gVerbosity = -1;
    const int line = __LINE__ + 1;
    const std::string told = Told([] { HalLog::PrintError(-111, "No {}.\n{}", "bus", "refused"); });
    EXPECT_EQ(told, "[ERROR (-111)] in HalLogTest.cpp@ line " + std::to_string(line) + ": No bus.\nrefused\n");
}

TEST_F(HalLogTest, ErrorsOfTheIdentityFileHaveAFormOfTheirOwn) {
    const int line = __LINE__ + 1;
    const std::string told = Told([] { HalLog::PrintFileError(-22, "Could not open ('{}')!", "/a"); });
    EXPECT_EQ(told, "ERROR (-22) @ HalLogTest.cpp." + std::to_string(line) + "-> Could not open ('/a')!\n");
}

}  // namespace
