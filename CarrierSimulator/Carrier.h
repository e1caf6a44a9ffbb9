#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "CarrierSimulator/CarrierAnswers.h"
#include "CarrierSimulator/CarrierCommand.h"
#include "CarrierSimulator/CarrierLine.h"
#include "CarrierSimulator/CarrierOptions.h"
#include "CarrierSimulator/FrameLog.h"
#include "CarrierSimulator/Transmitter.h"

namespace simulator {

// Told what happens, one call at a time, from the carrier's threads. It may ask the carrier anything, but neither
// Start nor Stop it.
class CarrierListener {
public:
    virtual ~CarrierListener() = default;
    virtual void OnFrame(const FrameRecord& record) = 0;
    virtual void OnNote(const std::string& text) = 0;
    // A file packet was taken; bytes so far and bytes announced.
    virtual void OnProgress(std::size_t received, std::size_t announced) = 0;
};

// The micro-controller at the far end of the UART: answers every command that a carrier answers, remembers what it was
// told, and sends what it is asked to. It can be made to misbehave at any time.
//
// Bytes go this way, each box damaged by the fault injector where faults are set:
//
//   line --> decoder of what the module sent --> [faults] --> the carrier's own decoder --> answers, state
//   line <-- transmitter (times, pace) <-- [faults] <-- answers, own commands, heartbeats
//
// All operations are thread-safe; Start and Stop belong to one thread.
class Carrier {
public:
    explicit Carrier(CarrierOptions options = {});
    ~Carrier();
    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;

    // Opens the line and begins. False when it cannot be opened; Error() says why. A carrier that was stopped starts
    // anew on a new pseudo terminal (the link stays the same) and still knows everything.
    bool Start();

    // The two halves of Start, for who has something to say in between: opens the line, begins to talk.
    bool Open();
    void Begin();

    // Closes the line: whoever has it open sees a hang-up.
    void Stop();

    std::string Error() const { return mLine.Error(); }

    // What the module is to open.
    std::string DevicePath() const { return mLine.DevicePath(); }

    // Set before Start; must outlive the carrier or its Stop.
    void SetListener(CarrierListener* listener) { mListener = listener; }

    // --- What the carrier sends on its own. Each returns at once, with a number to ask for the outcome with.
    uint64_t Send(uint8_t command, Bytes payload = {});
    uint64_t SendText(uint8_t command, std::string_view text) { return Send(command, Bytes(text.begin(), text.end())); }
    uint64_t SendHeartbeat();  // with the identity's versions
    uint64_t SendHeartbeat(uint16_t halVersion, uint16_t commType, uint16_t other = 0);
    uint64_t SendError(std::string_view text) { return SendText(command::kErrorMessage, text); }
    uint64_t SendPowerFail() { return Send(command::kPowerFail); }
    uint64_t SendReset() { return Send(command::kSbcReset); }
    uint64_t SendSdCardQuery() { return Send(command::kSdCardStatus); }
    uint64_t SendVersionsRequest() { return Send(command::kGetFirmwareVersions); }
    // Bytes 0, 1, 2, ...
    uint64_t SendCommsTest(std::size_t size);
    uint64_t SendNack(uint8_t code) { return Send(command::kNack, Bytes{code}); }
    // Any bytes, as they are: no CRC is added and no fault applied.
    void SendRaw(Bytes bytes, Milliseconds pausePerByte = Milliseconds{0});

    std::optional<OwnCommand> Outcome(uint64_t id) const;
    std::vector<OwnCommand> OwnCommandList() const;
    // Waits until the command is over (answered, or given up); nothing when it is not within the time.
    std::optional<OwnCommand> WaitForOutcome(uint64_t id, Milliseconds timeout) const;

    // --- What came from the module, as the carrier heard it (after the faults), broken bytes included.
    std::vector<FrameRecord> Received(std::size_t from = 0) const;
    std::vector<FrameRecord> Sent(std::size_t from = 0) const;
    // The number of the next record: to wait only for what comes from now on, take it first and pass it as `from`.
    std::size_t ReceivedCount() const;
    std::size_t SentCount() const;

    using Predicate = std::function<bool(const FrameRecord&)>;
    // Wait for the first record from `from` on that matches; nothing when none does within the time. The forms with a
    // command take good frames only.
    std::optional<FrameRecord> WaitForFrame(const Predicate& matches, Milliseconds timeout, std::size_t from = 0) const;
    std::optional<FrameRecord> WaitForFrame(uint8_t command, Milliseconds timeout, std::size_t from = 0) const;
    std::optional<FrameRecord> WaitForFrame(uint8_t command, const Bytes& payload, Milliseconds timeout,
                                            std::size_t from = 0) const;
    std::optional<FrameRecord> WaitForSent(const Predicate& matches, Milliseconds timeout, std::size_t from = 0) const;
    // Waits until that many frames with the command have come.
    bool WaitForCount(uint8_t command, std::size_t count, Milliseconds timeout, std::size_t from = 0) const;
    bool WaitForState(const std::function<bool(const CarrierState&)>& holds, Milliseconds timeout) const;

    // How many records each direction keeps; older ones are forgotten.
    void SetLogLimit(std::size_t limit);

    CarrierState State() const;
    CarrierStatistics Statistics() const;
    Bytes ReceivedFile() const;  // of the present or last transfer
    std::vector<AppliedImage> AppliedImages() const;

    // --- What it is.
    void SetIdentity(const CarrierIdentity& identity);
    void SetAppVersion(const std::string& version);
    void SetBattery(float volts);
    void SetClock(const std::optional<TimeRecord>& time);  // none: runs with the computer's
    void SetHeartbeatPeriod(Milliseconds period);
    void SetNextAppVersion(const std::string& version);
    void SetFirmwareOptions(const FirmwareOptions& options);
    void SetOwnCommandPolicy(const OwnCommandPolicy& policy);

    // --- How it misbehaves.
    FaultInjector& Faults() { return mFaults; }
    void SetFirmwareFaults(const FirmwareFaults& faults);
    FirmwareFaults GetFirmwareFaults() const;
    // Hears and obeys, but sends nothing for that time; 0 ends it.
    void SetSilent(Milliseconds duration);
    // Deaf and mute for the restart time (or the given one), then as after power-on: LEDs dark, reporting off, no file.
    void Restart();
    void Restart(Milliseconds duration);

private:
    using Lock = std::unique_lock<std::mutex>;
    using Event = std::function<void(CarrierListener&)>;

    // Carrier.cpp: life and what others ask for
    uint64_t AddOwn(uint8_t command, Bytes payload);
    Bytes HeartbeatPayload() const;
    void Tell(Event event) { mEvents.push_back(std::move(event)); }
    void DeliverEvents();

    // Carrier_Loop.cpp: the carrier's thread
    void Run();
    TimePoint NextDeadline() const;
    void TakeBytes(std::vector<LineItem>& items);
    void ExpireSilence(std::vector<LineItem>& items);
    void TakeItem(const LineItem& item);
    void RunTimers(TimePoint now);
    void At(TimePoint time, std::function<void()> action);
    void SleepUntil(TimePoint time);

    // Carrier_Conversation.cpp: what is heard and said
    void Hear(const LineItem& item);
    void HearAnswer(const LineItem& item);
    void Serve(const LineItem& item);
    TimePoint SendAnswer(const LineItem& item, const Bytes& frame, const std::optional<ScriptedFault>& fault,
                         std::optional<Milliseconds> restart = std::nullopt);
    TimePoint QueueFrame(const Bytes& frame, const Transmission& how);
    TimePoint QueueParts(const std::vector<LinePart>& parts, Transmission how);
    void SendOwnCommands(TimePoint now);
    void NoteSent(const Transmission& transmission, TimePoint lastByte, std::size_t written, bool isMuted);
    void LogSent(const Transmission& transmission, TimePoint lastByte, std::size_t written);
    void BeginRestart(TimePoint now, Milliseconds duration);
    void EndRestart();

    // Carrier_Firmware.cpp: the file transfer
    bool ServeFirmware(const LineItem& item, const std::optional<ScriptedFault>& fault);
    FirmwareReceiver::Refusal StartFile(const LineItem& item);
    bool ServePacket(const LineItem& item, const std::optional<ScriptedFault>& fault);
    void StorePacket(const LineItem& item, const std::optional<ScriptedFault>& fault);
    FirmwareReceiver::Refusal EndFile();
    FirmwareReceiver::Refusal ApplyFile(const LineItem& item);
    void BecomeNextVersion(uint8_t destination);

    CarrierOptions mOptions;  // the parts that change are guarded by mMutex
    CarrierLine mLine;
    FaultInjector mFaults;
    CarrierListener* mListener = nullptr;
    std::mutex mListenerMutex;  // one call at a time
    std::atomic<bool> mIsStopping = false;
    std::thread mThread;

    // The carrier's thread only.
    LinePacer mReceivePacer;
    bool mIsFollowing = false;  // the next bytes were there when the wire became free
    FrameDecoder mLineDecoder;

    mutable std::mutex mMutex;  // everything below
    mutable std::condition_variable mChanged;
    FrameDecoder mOwnDecoder;
    CarrierClock mClock;
    CarrierState mState;
    CarrierStatistics mStatistics;
    FirmwareReceiver mFirmware;
    OwnCommands mOwnCommands;
    FrameLog mReceived;
    FrameLog mSent;
    std::vector<Event> mEvents;  // to be told once the mutex is free
    std::multimap<TimePoint, std::function<void()>> mTimers;
    TimePoint mNextHeartbeat = TimePoint::max();
    TimePoint mAwayUntil{};    // restarting
    uint64_t mPacketTurn = 0;  // a later packet takes over from one that the carrier is busy with
    Transmitter mTransmitter;  // last: it calls back into everything above
};

}  // namespace simulator
