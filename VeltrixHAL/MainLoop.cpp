#include "VeltrixHAL/MainLoop.h"

#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/HalGlobals.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr long kPeriodNs = 5'000'000;
constexpr unsigned int kPassesBetweenStatus = 1000;

}  // namespace

void MainLoop::Run() {
    while (gKeepRunning) {
        Sleep();
        Pass();
    }
}

void MainLoop::Pass() {
    if (mPasses == kPassesBetweenStatus) {
        PublishStatus();
        mPasses = 0;
    } else {
        ++mPasses;
    }
    mClient.ExecuteDeferredEventHandlers(0);
}

void MainLoop::Sleep() {
    timespec remaining{0, kPeriodNs};
    while (::nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}

void MainLoop::PublishStatus() {
    // In one step: a frame that comes meanwhile belongs to the next period.
    mHalStatus.set_ready(mCarrier.mIsCarrierAlive.exchange(false));
    BusClient::Publish(mClient, "hal_status", mHalStatus);
}
