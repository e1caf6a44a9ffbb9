// Options that today's option string never lets through. This program stands in for getopt, which gives what the test
// wants.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include "VeltrixHAL/CommandLine.h"
#include "tests/unit/VeltrixHAL/Carrier/Texts.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Option {
    int letter;
    std::string argument;
};

std::deque<Option> sOptions;
std::string sArgument;
std::string sOptionString;

}  // namespace

extern "C" int getopt(int, char* const*, const char* options) noexcept {
    sOptionString = options;
    if (sOptions.empty()) {
        return -1;
    }
    sArgument = sOptions.front().argument;
    optarg = sArgument.data();
    const int letter = sOptions.front().letter;
    sOptions.pop_front();
    return letter;
}

namespace {

using testing::ElementsAre;
using testing::SizeIs;

class CommandLineDispatchTest : public testing::Test {
protected:
    std::optional<int> Parse(std::deque<Option> options) {
        sOptions = std::move(options);
        ConsoleCapture console;
        char* none[] = {nullptr};
        const auto status = ParseCommandLine(0, none, mSettings);
        mPrinted = Lines(console.Take());
        return status;
    }

    const GlobalsGuard mGlobals;
    CommandLineSettings mSettings;
    std::vector<std::string> mPrinted;
};

TEST_F(CommandLineDispatchTest, TheOptionStringIsThis) {
    Parse({});
    EXPECT_EQ(sOptionString, "tfVv:s:p:u:i:");
}

TEST_F(CommandLineDispatchTest, TheCapitalsAreSynonyms) {
    EXPECT_EQ(Parse({{'F', ""}, {'P', "/a/pid"}, {'S', "/a/socket"}}), std::nullopt);
    EXPECT_TRUE(mSettings.isForeground);
    EXPECT_EQ(mSettings.pidFile, "/a/pid");
    EXPECT_EQ(mSettings.busSocket, "/a/socket");
    EXPECT_THAT(mPrinted, ElementsAre("Running in the foreground", "Generating PID file /a/pid."));
}

TEST_F(CommandLineDispatchTest, AnyOtherLetterGetsTheHelpAndAFailure) {
    for (const int letter : {'x', 'U', 'T', 'I', ':', '\x01'}) {
        SCOPED_TRACE(letter);
        EXPECT_EQ(Parse({{letter, ""}, {'f', ""}}), -1);
        ASSERT_THAT(mPrinted, SizeIs(12));
        EXPECT_EQ(mPrinted[0], "VeltrixHAL");
        EXPECT_EQ(mPrinted[11], "-V                = Show version information.");
        EXPECT_FALSE(mSettings.isForeground);
    }
}

TEST_F(CommandLineDispatchTest, AnUnknownOptionGetsTheHelpAndNoFailure) {
    EXPECT_EQ(Parse({{'?', ""}, {'f', ""}}), 0);
    EXPECT_THAT(mPrinted, SizeIs(12));
}

}  // namespace
