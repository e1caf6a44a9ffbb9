#include "fuzz/Link/LinkRun.h"

#include "Common/Helper/SteadyTime.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/SystemMonitor.h"
#include "fuzz/Link/FuzzClock.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <Veltrix/VeltrixErrorLog.h>

#include <array>
#include <ctime>
#include <optional>

namespace {

constexpr std::uint32_t kProcessingPeriodUs = 5000;
constexpr std::uint32_t kReadyPollUs = 100'000;
constexpr std::uint32_t kAlivePollUs = 1'000;

// A heartbeat with all that follows the first one: three requests and three commands, and the data reporting.
constexpr std::uint64_t kExchangesOfAStep = 7;

constexpr unsigned int kMostPolls = 32;

// Kept between inputs: it is 600 KB.
std::optional<FuzzCarrier>& Carrier() {
    static auto& carrier = *new std::optional<FuzzCarrier>;
    return carrier;
}

}  // namespace

// Each attempt may end one poll late, and a refusal is followed by a pause.
std::uint64_t LinkRun::ExchangeMs(std::uint64_t timeoutMs) {
    constexpr std::uint64_t kPollMs = 10;
    constexpr std::uint64_t kPauseMs = 13;
    return 3 * (timeoutMs + kPollMs) + 2 * kPauseMs;
}

LinkRun::LinkRun(Fuzz::ByteSource& source) {
    const std::uint8_t flags = source.Byte();
    VeltrixErrorLog::gVerbosity = (flags & 1U) != 0 ? 3 : -1;
    // Half of the runs begin just before the clock wraps.
    FuzzClock::Reset((flags & 2U) != 0 ? 0xFFFFFF00U : 1'000'000U);
    FuzzCarrier::ResetProcessState();
    gCoreEnabled = (flags & 4U) != 0;
    if ((flags & 8U) != 0) {
        HalGlobals::g_TessimorUpdateTimer = std::time(nullptr) + 1000;
    }
    mSystem.SetClockResult((flags & 16U) != 0 ? 1 : 0);
    mSystem.SetShellResult((flags & 32U) == 0);
    mHealth.set_processName("HAL");
    mPort.SetUsualAnswer({FrameBuilder::Ack(), 0});
    for (const char* const folder : {"/Veltrix/log", "/run/media", "/var/tmp"}) {
        Fuzz::RemoveRooted(folder);
    }
    Fuzz::RemoveRooted("/Veltrix/system.config");
    Fuzz::WriteRootedFile("/Veltrix/log/Carrier.log", "");
    Carrier().emplace(mPort, mClient);
    mCarrier = &*Carrier();
    FuzzClock::OnSleep([this](std::uint32_t microseconds) { AfterSleep(microseconds); });
}

LinkRun::~LinkRun() {
    FuzzClock::OnSleep(nullptr);
    FuzzClock::CancelAlarm();
    Carrier().reset();
    gKeepRunning = true;
}

void LinkRun::Step(Fuzz::ByteSource& source) {
    using Event = void (LinkRun::*)(Fuzz::ByteSource&);
    constexpr std::array<Event, 13> kEvents = {
        &LinkRun::FeedRaw,           &LinkRun::FeedFrame,      &LinkRun::FeedDamagedFrame, &LinkRun::AddAnswer,
        &LinkRun::SetUsualAnswer,    &LinkRun::Poll,           &LinkRun::SendCommand,      &LinkRun::SendRequest,
        &LinkRun::HandleBusMessage,  &LinkRun::UpdateFirmware, &LinkRun::UpdateLed,        &LinkRun::UpdateThreshold,
        &LinkRun::WaitForStrayAnswer};
    constexpr std::array<Event, 2> kOthers = {&LinkRun::LetTimePass, &LinkRun::ChangeCard};
    const std::size_t event = source.Byte() % 17U;
    if (event < kEvents.size()) {
        (this->*kEvents[event])(source);
    } else if (event < kEvents.size() + kOthers.size()) {
        (this->*kOthers[event - kEvents.size()])(source);
    } else if (event == 15) {
        CheckIn();
    } else {
        StopProcess();
    }
}

void LinkRun::Operate(std::uint64_t limitMs, const std::function<void()>& operation) {
    mStartUs = FuzzClock::ElapsedUs();
    mStartBytes = mPort.BytesRead();
    mLimitUs = limitMs * 1000;
    operation();
    CheckTime();
    mLimitUs.reset();
    mCarrier->CheckAtRest();
    FUZZ_CHECK(mCarrier->IsUpdateBarred() == mIsUpdateBarred);
    gKeepRunning = true;
}

void LinkRun::CheckTime() const {
    const std::uint64_t lineUs = (mPort.BytesRead() - mStartBytes) * ScriptedPort::kByteTimeUs;
    FUZZ_CHECK(!mLimitUs || FuzzClock::ElapsedUs() - mStartUs <= *mLimitUs + lineUs);
}

// Every wait sleeps, so an operation without an end is caught here too. During an update this is also the processing
// thread: it runs while the update sleeps outside of a wait, which its two periods tell.
void LinkRun::AfterSleep(std::uint32_t microseconds) {
    CheckTime();
    const bool isOutsideOfWaits = microseconds == kReadyPollUs || microseconds == kAlivePollUs;
    if (mIsUpdating && isOutsideOfWaits && !mIsPolling) {
        mIsPolling = true;
        mCarrier->Process();
        mIsPolling = false;
    }
}

void LinkRun::Poll(Fuzz::ByteSource& source) {
    const unsigned int polls = source.Byte() % kMostPolls + 1U;
    for (unsigned int i = 0; i < polls; ++i) {
        Operate(kExchangesOfAStep * ExchangeMs(200), [this] { mCarrier->Process(); });
        SleepMicroseconds(kProcessingPeriodUs);
    }
    mPort.TakeWritten();
}

void LinkRun::LetTimePass(Fuzz::ByteSource& source) {
    FuzzClock::AdvanceUs(std::uint64_t{source.Word()} * 1000);
}

void LinkRun::StopProcess() {
    gKeepRunning = false;
}

void LinkRun::ChangeCard(Fuzz::ByteSource& source) {
    const std::uint8_t kind = source.Byte() % 3U;
    if (kind == 0) {
        Fuzz::RemoveRooted("/run/media");
    } else {
        Fuzz::WriteRootedFile(kind == 1 ? "/run/media/mmcblk0p1" : "/run/media/sda1", "");
    }
}

void LinkRun::CheckIn() {
    Operate(0, [this] { ::CheckIn(mClient, mHealth); });
}
