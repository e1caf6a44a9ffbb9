// The main thread's passes: what is published when, and in which order.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/MainLoop.h"
#include "tests/support/WaitUntil.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kReady = R"({"ready":true})";
constexpr const char* kNotReady = R"({"ready":false})";

class MainLoopTest : public CarrierOnBusTest {
protected:
    void Pass(int count) {
        for (int i = 0; i < count; ++i) {
            mLoop.Pass();
        }
    }

    HALStatus mStatus;
    MainLoop mLoop{mClient, *mCarrier, mStatus};
};

TEST_F(MainLoopTest, TheStatusIsPublishedInEvery1001stPass) {
    Pass(1000);
    EXPECT_THAT(Published("hal_status"), IsEmpty());
    Pass(1);
    EXPECT_THAT(Published("hal_status"), ElementsAre(kNotReady));
    Pass(1000);
    EXPECT_THAT(Published("hal_status"), ElementsAre(kNotReady));
    Pass(1);
    EXPECT_THAT(Published("hal_status"), ElementsAre(kNotReady, kNotReady));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MainLoopTest, TheStatusTellsWhetherTheCarrierWasHeardSinceTheLastOne) {
    mCarrier->mIsCarrierAlive = true;
    Pass(1001);
    EXPECT_FALSE(mCarrier->mIsCarrierAlive);
    Pass(1001);
    EXPECT_THAT(Published("hal_status"), ElementsAre(kReady, kNotReady));
}

struct Sight {
    const TestCarrier* carrier = nullptr;
    bool wasAlive = true;
};

TEST_F(MainLoopTest, DeferredHandlersRunBehindThePublication) {
    Sight sight{mCarrier.get()};
    std::atomic<bool> hasArrived{false};
    const RequestType prototype;
    const auto look = [](EventClient*, VeltrixDataTypeBase*, int, void* context) {
        auto& seen = *static_cast<Sight*>(context);
        seen.wasAlive = seen.carrier->mIsCarrierAlive;
    };
    const auto note = [](EventClient*, VeltrixDataTypeBase*, int, void* context) {
        *static_cast<std::atomic<bool>*>(context) = true;
    };
    ASSERT_EQ(mClient.Subscribe("deferred", look, &prototype, &sight, true), 0);
    ASSERT_EQ(mClient.Subscribe("at_once", note, &prototype, &hasArrived, false), 0);
    Pass(1000);
    mCarrier->mIsCarrierAlive = true;
    mProbe.Publish("deferred", "{}");
    mProbe.Publish("at_once", "{}");
    ASSERT_TRUE(WaitUntil([&] { return hasArrived.load(); }));
    Pass(1);
    EXPECT_FALSE(sight.wasAlive);
    EXPECT_THAT(Published("hal_status"), ElementsAre(kReady));
}

class MainLoopWithoutBusTest : public CarrierTest {};

TEST_F(MainLoopWithoutBusTest, AStatusThatCannotBePublishedIsAWarning) {
    HALStatus status;
    MainLoop loop(mClient, *mCarrier, status);
    mCarrier->mIsCarrierAlive = true;
    for (int i = 0; i < 1001; ++i) {
        loop.Pass();
    }
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Could not publish hal_status. Transport endpoint is not connected")));
    EXPECT_FALSE(mCarrier->mIsCarrierAlive);
}

class MainLoopRunTest : public MainLoopWithoutBusTest {
protected:
    // Up to the pass whose publication, here one that fails, is seen in the log.
    MainLoopRunTest() {
        for (int i = 0; i < 1000; ++i) {
            mLoop.Pass();
        }
    }

    HALStatus mStatus;
    MainLoop mLoop{mClient, *mCarrier, mStatus};
};

TEST_F(MainLoopRunTest, MakesNoPassOnceTheProcessStops) {
    gKeepRunning = false;
    mLoop.Run();
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(MainLoopRunTest, SleepsBeforeAPassAndEndsBehindTheOneInWhichTheProcessStops) {
    using SteadyClock = std::chrono::steady_clock;
    const auto start = SteadyClock::now();
    SteadyClock::time_point pass;
    {
        const LogWatch watch([&](const std::string&) {
            pass = SteadyClock::now();
            gKeepRunning = false;
        });
        mLoop.Run();
    }
    EXPECT_GE(pass - start, std::chrono::milliseconds(5));
    EXPECT_FALSE(gKeepRunning);
}

TEST_F(MainLoopWithoutBusTest, ASignalDoesNotShortenTheSleep) {
    struct sigaction before {};
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGUSR1, &ignore, &before), 0);
    const pthread_t sleeper = ::pthread_self();
    std::atomic<bool> isOver{false};
    std::thread signals([&] {
        while (!isOver) {
            ::pthread_kill(sleeper, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 10; ++i) {
        const auto start = std::chrono::steady_clock::now();
        MainLoop::Sleep();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5));
    }
    isOver = true;
    signals.join();
    EXPECT_EQ(::sigaction(SIGUSR1, &before, nullptr), 0);
}

}  // namespace
