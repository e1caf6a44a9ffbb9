// The main thread's sleep between two passes, with a nanosleep that does what the test wants.
#include "VeltrixHAL/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <deque>
#include <utility>
#include <vector>

namespace {

// What a call comes to: the error, or 0 for none, and what is left of the sleep.
struct Outcome {
    int error;
    long restNs;
};

bool sIsTold = false;
std::deque<Outcome> sOutcomes;
std::vector<long> sAskedNs;

}  // namespace

// The linker sends the program's calls here.
extern "C" {
int RealSleep(const timespec* wanted, timespec* rest) asm("__real_nanosleep");
int SleepSeen(const timespec* wanted, timespec* rest) asm("__wrap_nanosleep");
}

int SleepSeen(const timespec* wanted, timespec* rest) {
    if (!sIsTold) {
        return RealSleep(wanted, rest);
    }
    sAskedNs.push_back(wanted->tv_nsec + 1'000'000'000L * wanted->tv_sec);
    if (sOutcomes.empty()) {
        return 0;
    }
    const Outcome outcome = sOutcomes.front();
    sOutcomes.pop_front();
    if (outcome.error == 0) {
        return 0;
    }
    if (rest != nullptr) {
        *rest = {0, outcome.restNs};
    }
    errno = outcome.error;
    return -1;
}

namespace {

using testing::ElementsAre;

class MainLoopSleepTest : public testing::Test {
protected:
    // The lengths that were asked for, one sleep after the other.
    static std::vector<long> Sleep(std::deque<Outcome> outcomes) {
        sIsTold = true;
        sOutcomes = std::move(outcomes);
        sAskedNs.clear();
        MainLoop::Sleep();
        sIsTold = false;
        return sAskedNs;
    }
};

TEST_F(MainLoopSleepTest, TakesFiveMilliseconds) {
    EXPECT_THAT(Sleep({}), ElementsAre(5'000'000));
}

TEST_F(MainLoopSleepTest, GoesOnWithTheRestAfterASignal) {
    EXPECT_THAT(Sleep({{EINTR, 3'000'000}, {EINTR, 1'000'000}}), ElementsAre(5'000'000, 3'000'000, 1'000'000));
}

TEST_F(MainLoopSleepTest, EndsWithAnyOtherError) {
    EXPECT_THAT(Sleep({{EINVAL, 3'000'000}, {EINVAL, 3'000'000}}), ElementsAre(5'000'000));
    EXPECT_THAT(Sleep({{EINTR, 3'000'000}, {EFAULT, 3'000'000}, {EINTR, 1'000'000}}),
                ElementsAre(5'000'000, 3'000'000));
}

}  // namespace
