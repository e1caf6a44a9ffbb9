#pragma once

#include "ProcessorAgnostic/Observer/Observer.h"
#include "ProcessorAgnostic/Types/Milliseconds.h"

// A software timer, known to its observers by reference only.
class SwTimer {
public:
    class ExpiredObserver : public Observer {
    public:
        // `argument` must point to the SwTimer that expired; passes it on to SwTimerExpired.
        bool Update(void* argument) override { return SwTimerExpired(*static_cast<SwTimer*>(argument)); }

        // Called on the thread that runs the timers. True when the expiry was taken care of.
        virtual bool SwTimerExpired(SwTimer& timer) = 0;

        virtual ~ExpiredObserver() = default;

    protected:
        ExpiredObserver() = default;
        ExpiredObserver(const ExpiredObserver&) = default;
        ExpiredObserver& operator=(const ExpiredObserver&) = default;
    };

    SwTimer() = default;
    explicit SwTimer(ms_t period) : m_period(period) {}

    ms_t Period() const { return m_period; }

protected:
    ms_t m_period = 0;
};
