#include "CarrierSimulator/Carrier.h"

#include <utility>

namespace simulator {

Carrier::Carrier(CarrierOptions options)
    : mOptions(std::move(options)),
      mFaults(mOptions.seed),
      mReceivePacer(mOptions.baud),
      mLineDecoder(mOptions.gaps),
      mOwnDecoder(mOptions.gaps),
      mFirmware(mOptions.firmware),
      mOwnCommands(mOptions.ownCommands),
      mReceived(mOptions.logLimit),
      mSent(mOptions.logLimit),
      mTransmitter(mLine, mOptions.baud, mOptions.writePatience,
                   [this](const Transmission& transmission, TimePoint time, std::size_t written, bool isMuted) {
                       NoteSent(transmission, time, written, isMuted);
                   }) {
    mState.identity = mOptions.identity;
    mFaults.SetRates(Direction::Received, mOptions.receiveFaults);
    mFaults.SetRates(Direction::Sent, mOptions.sendFaults);
    if (mOptions.clock) {
        mClock.Stand(*mOptions.clock);
    }
}

Carrier::~Carrier() {
    Stop();
}

bool Carrier::Start() {
    if (!Open()) {
        return false;
    }
    Begin();
    return true;
}

bool Carrier::Open() {
    Stop();
    return mOptions.device.empty() ? mLine.OpenPty(mOptions.link) : mLine.OpenDevice(mOptions.device);
}

void Carrier::Begin() {
    mIsStopping = false;
    mLineDecoder.Reset();
    {
        const Lock lock(mMutex);
        mOwnDecoder.Reset();
        mNextHeartbeat = mOptions.heartbeatPeriod.count() > 0 ? Clock::now() : TimePoint::max();
    }
    mTransmitter.Start();
    mThread = std::thread([this] { Run(); });
}

void Carrier::Stop() {
    {
        const Lock lock(mMutex);  // not between the test and the wait of SleepUntil
        mIsStopping = true;
    }
    mLine.Wake();
    mChanged.notify_all();
    if (mThread.joinable()) {
        mThread.join();
    }
    mTransmitter.Stop();
    mLine.Close();
}

uint64_t Carrier::AddOwn(uint8_t command, Bytes payload) {
    return mOwnCommands.Add(command, std::move(payload), ModuleAnswers(command));
}

uint64_t Carrier::Send(uint8_t command, Bytes payload) {
    uint64_t id = 0;
    {
        const Lock lock(mMutex);
        id = AddOwn(command, std::move(payload));
    }
    mLine.Wake();
    return id;
}

Bytes Carrier::HeartbeatPayload() const {
    const CarrierIdentity& identity = mState.identity;
    return {static_cast<uint8_t>(identity.halVersion & 0xFFU),
            static_cast<uint8_t>(identity.halVersion >> 8U),
            static_cast<uint8_t>(identity.commType & 0xFFU),
            static_cast<uint8_t>(identity.commType >> 8U),
            0,
            0};
}

uint64_t Carrier::SendHeartbeat() {
    uint64_t id = 0;
    {
        const Lock lock(mMutex);
        id = AddOwn(command::kCarrierAlive, HeartbeatPayload());
    }
    mLine.Wake();
    return id;
}

uint64_t Carrier::SendHeartbeat(uint16_t halVersion, uint16_t commType, uint16_t other) {
    Bytes payload;
    for (const uint16_t field : {halVersion, commType, other}) {
        payload.push_back(static_cast<uint8_t>(field & 0xFFU));
        payload.push_back(static_cast<uint8_t>(field >> 8U));
    }
    return Send(command::kCarrierAlive, std::move(payload));
}

uint64_t Carrier::SendCommsTest(std::size_t size) {
    Bytes payload(size);
    for (std::size_t index = 0; index < size; ++index) {
        payload[index] = static_cast<uint8_t>(index & 0xFFU);
    }
    return Send(command::kCommsTest, std::move(payload));
}

void Carrier::SendRaw(Bytes bytes, Milliseconds pausePerByte) {
    Transmission transmission;
    transmission.bytes = std::move(bytes);
    transmission.due = Clock::now();
    transmission.pausePerByte = pausePerByte;
    mTransmitter.Queue(std::move(transmission));
}

void Carrier::SetLogLimit(std::size_t limit) {
    const Lock lock(mMutex);
    mReceived.SetLimit(limit);
    mSent.SetLimit(limit);
}

void Carrier::SetIdentity(const CarrierIdentity& identity) {
    const Lock lock(mMutex);
    mState.identity = identity;
}

void Carrier::SetAppVersion(const std::string& version) {
    const Lock lock(mMutex);
    mState.identity.appVersion = version;
}

void Carrier::SetBattery(float volts) {
    const Lock lock(mMutex);
    mState.identity.battery = volts;
}

void Carrier::SetClock(const std::optional<TimeRecord>& time) {
    const Lock lock(mMutex);
    if (time) {
        mClock.Stand(*time);
    } else {
        mClock.Run();
    }
}

void Carrier::SetHeartbeatPeriod(Milliseconds period) {
    {
        const Lock lock(mMutex);
        mOptions.heartbeatPeriod = period;
        mNextHeartbeat = period.count() > 0 ? Clock::now() + period : TimePoint::max();
    }
    mLine.Wake();
}

void Carrier::SetNextAppVersion(const std::string& version) {
    const Lock lock(mMutex);
    mOptions.nextAppVersion = version;
}

void Carrier::SetFirmwareOptions(const FirmwareOptions& options) {
    const Lock lock(mMutex);
    mFirmware.SetOptions(options);
}

void Carrier::SetOwnCommandPolicy(const OwnCommandPolicy& policy) {
    {
        const Lock lock(mMutex);
        mOwnCommands.SetPolicy(policy);
    }
    mLine.Wake();
}

void Carrier::SetFirmwareFaults(const FirmwareFaults& faults) {
    const Lock lock(mMutex);
    mOptions.firmwareFaults = faults;
}

FirmwareFaults Carrier::GetFirmwareFaults() const {
    const Lock lock(mMutex);
    return mOptions.firmwareFaults;
}

void Carrier::SetSilent(Milliseconds duration) {
    mTransmitter.MuteUntil(Clock::now() + duration);
}

void Carrier::Restart() {
    Milliseconds duration{0};
    {
        const Lock lock(mMutex);
        duration = mOptions.restartTime;
    }
    Restart(duration);
}

void Carrier::Restart(Milliseconds duration) {
    {
        const Lock lock(mMutex);
        BeginRestart(Clock::now(), duration);
    }
    mLine.Wake();
}

}  // namespace simulator
