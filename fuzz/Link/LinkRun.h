// A machine's link on one thread: the carrier interface on a scripted port, the bus handlers, the clock. Each operation
// is followed by the same demands: all packets in their places, no mutex held (but updates barred once a file could not
// be read), and no more fake time used than the operation's attempts and time-outs add up to.
#pragma once

#include "fuzz/Link/FuzzCarrier.h"
#include "fuzz/Link/ScriptedPort.h"
#include "fuzz/Support/ByteSource.h"
#include "tests/unit/VeltrixHAL/Support/FakeSystem.h"

#include <cstdint>
#include <functional>
#include <optional>

class LinkRun {
public:
    // Takes what the run begins with: verbosity, clock, usual answer.
    explicit LinkRun(Fuzz::ByteSource& source);
    ~LinkRun();
    LinkRun(const LinkRun&) = delete;
    LinkRun& operator=(const LinkRun&) = delete;

    // The next event of the input: one byte, then what the event takes. FuzzLink.cpp lists them.
    void Step(Fuzz::ByteSource& source);

private:
    using Bytes = ScriptedPort::Bytes;

    // Line events.
    void FeedRaw(Fuzz::ByteSource& source);
    void FeedFrame(Fuzz::ByteSource& source);
    void FeedDamagedFrame(Fuzz::ByteSource& source);
    void AddAnswer(Fuzz::ByteSource& source);
    void SetUsualAnswer(Fuzz::ByteSource& source);

    // Operations of the module.
    void Poll(Fuzz::ByteSource& source);
    void SendCommand(Fuzz::ByteSource& source);
    void SendRequest(Fuzz::ByteSource& source);
    void HandleBusMessage(Fuzz::ByteSource& source);
    void UpdateFirmware(Fuzz::ByteSource& source);
    void UpdateLed(Fuzz::ByteSource& source);
    void UpdateThreshold(Fuzz::ByteSource& source);
    void CheckIn();
    void WaitForStrayAnswer(Fuzz::ByteSource& source);

    // The rest of the world.
    void LetTimePass(Fuzz::ByteSource& source);
    void StopProcess();
    void ChangeCard(Fuzz::ByteSource& source);

    // Runs an operation and checks what stands above. `limitMs` is without the time that the bytes on the line take; 0
    // is for what must not wait at all.
    void Operate(std::uint64_t limitMs, const std::function<void()>& operation);
    void CheckTime() const;

    // The longest time of one frame's three attempts.
    static std::uint64_t ExchangeMs(std::uint64_t timeoutMs);
    void AfterSleep(std::uint32_t microseconds);

    FakeSystem mSystem;
    ScriptedPort mPort;
    EventClient mClient{"fuzz"};
    SystemHealth mHealth;
    FuzzCarrier* mCarrier = nullptr;
    std::uint64_t mStartUs = 0;
    std::uint64_t mStartBytes = 0;
    std::optional<std::uint64_t> mLimitUs;  // nothing between operations
    bool mIsUpdating = false;
    bool mIsUpdateBarred = false;
    bool mIsPolling = false;
};
