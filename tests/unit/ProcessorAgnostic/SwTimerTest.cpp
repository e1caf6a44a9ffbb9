#include "ProcessorAgnostic/SwTimer/SwTimer.h"

#include <gtest/gtest.h>

#include "tests/unit/VirtualSlots.h"

namespace {

class Recorder : public SwTimer::ExpiredObserver {
public:
    explicit Recorder(bool result) : mResult(result) {}
    bool SwTimerExpired(SwTimer& timer) override {
        mTimer = &timer;
        return mResult;
    }
    bool mResult;
    SwTimer* mTimer = nullptr;
};

TEST(SwTimerTest, UpdateHandsTheTimerOnAndReturnsItsResult) {
    SwTimer timer(250);
    for (const bool result : {true, false}) {
        Recorder recorder(result);
        Observer& observer = recorder;
        EXPECT_EQ(observer.Update(&timer), result);
        EXPECT_EQ(recorder.mTimer, &timer);
    }
    EXPECT_EQ(timer.Period(), 250U);
}

TEST(SwTimerTest, OperationsStandInTheirSlotsBeforeTheDestructor) {
    struct Last : SwTimer::ExpiredObserver {
        virtual void Next() = 0;
    };
    EXPECT_EQ(SlotOf(&Observer::Update), 0);
    EXPECT_EQ(SlotOf(&SwTimer::ExpiredObserver::Update), 0);
    EXPECT_EQ(SlotOf(&SwTimer::ExpiredObserver::SwTimerExpired), 1);
    EXPECT_EQ(SlotOf(&Last::Next), 4);
}

}  // namespace
