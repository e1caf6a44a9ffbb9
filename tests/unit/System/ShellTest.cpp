// The shell itself, which every other test stands in for.
#include "OSSpecific/Linux/System/Shell.h"

#include <gtest/gtest.h>

namespace {

TEST(ShellTest, TellsWhetherTheCommandSucceeded) {
    EXPECT_TRUE(RunShell("true"));
    EXPECT_FALSE(RunShell("false"));
    EXPECT_FALSE(RunShell("exit 3"));
    EXPECT_FALSE(RunShell("kill -9 $$"));
    EXPECT_FALSE(RunShell("/no/such/command 2>/dev/null"));
}

TEST(ShellTest, ACommandInTheBackgroundIsASuccessAsSoonAsItRuns) {
    EXPECT_TRUE(RunShell("false &"));
}

}  // namespace
