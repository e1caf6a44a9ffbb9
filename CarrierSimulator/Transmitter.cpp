#include "CarrierSimulator/Transmitter.h"

#include <algorithm>
#include <span>
#include <utility>

namespace simulator {
namespace {

// Bytes that are handed over together on a paced line, once the last of them is through: about a millisecond and a half
// at 115200 baud, well below the polling interval of any reader.
constexpr std::size_t kPacedSlice = 16;

}  // namespace

Transmitter::Transmitter(CarrierLine& line, unsigned int baud, Milliseconds patience, SentHandler onSent)
    : mLine(line), mPacer(baud), mPatience(patience), mOnSent(std::move(onSent)) {}

Transmitter::~Transmitter() {
    Stop();
}

void Transmitter::Start() {
    Stop();
    mIsStopping = false;
    mThread = std::thread([this] { Run(); });
}

void Transmitter::Stop() {
    {
        const std::lock_guard lock(mMutex);
        mIsStopping = true;
        mQueue.clear();
    }
    mChanged.notify_all();
    if (mThread.joinable()) {
        mThread.join();
    }
}

void Transmitter::Queue(Transmission transmission) {
    {
        const std::lock_guard lock(mMutex);
        if (mIsStopping) {
            return;
        }
        const TimePoint due = transmission.due;
        mQueue.emplace(due, std::move(transmission));
    }
    mChanged.notify_all();
}

void Transmitter::Clear() {
    const std::lock_guard lock(mMutex);
    mQueue.clear();
}

void Transmitter::MuteUntil(TimePoint end) {
    const std::lock_guard lock(mMutex);
    mMuteEnd = end;
}

void Transmitter::Run() {
    std::unique_lock lock(mMutex);
    while (!mIsStopping) {
        if (mQueue.empty()) {
            mChanged.wait(lock);
            continue;
        }
        const TimePoint due = mQueue.begin()->first;
        const TimePoint now = Clock::now();
        if (due > now) {
            mChanged.wait_until(lock, due);
            continue;
        }
        const Transmission transmission = std::move(mQueue.begin()->second);
        mQueue.erase(mQueue.begin());
        const bool isMuted = now < mMuteEnd;
        lock.unlock();
        if (isMuted) {
            mOnSent(transmission, now, 0, true);
        } else {
            Send(transmission);
        }
        lock.lock();
    }
}

// The times are computed from the due time and not from when the thread woke up, so that a late wake-up does not slow
// the line down.
void Transmitter::Send(const Transmission& transmission) {
    const bool isTrickle = transmission.pausePerByte.count() > 0;
    const std::size_t slice = isTrickle          ? 1
                              : mPacer.IsPaced() ? kPacedSlice
                                                 : std::max<std::size_t>(1, transmission.bytes.size());
    const std::span<const uint8_t> bytes(transmission.bytes);
    TimePoint earliest = mPacer.IsPaced() ? transmission.due : Clock::now();
    std::size_t written = 0;
    for (std::size_t offset = 0; offset < bytes.size(); offset += slice) {
        const auto part = bytes.subspan(offset, std::min(slice, bytes.size() - offset));
        mPacer.Occupy(earliest, part.size());
        if (!WaitUntil(mPacer.FreeAt())) {
            return;
        }
        const std::size_t taken = mLine.Write(part, mIsBlocked ? Milliseconds{0} : mPatience, mIsStopping);
        mIsBlocked = taken < part.size();
        written += taken;
        earliest = isTrickle ? Clock::now() + transmission.pausePerByte : earliest;
    }
    mOnSent(transmission, std::max(mPacer.FreeAt(), earliest), written, false);
}

// False when the transmitter is to stop.
bool Transmitter::WaitUntil(TimePoint time) {
    std::unique_lock lock(mMutex);
    return !mChanged.wait_until(lock, time, [this] { return mIsStopping.load(); });
}

}  // namespace simulator
