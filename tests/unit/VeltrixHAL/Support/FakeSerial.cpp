#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"

#include "Common/Helper/SteadyTime.h"

#include <algorithm>
#include <utility>

namespace {

// Whether `time` is not later than `other`, on a clock that wraps.
bool IsAtOrBefore(std::uint32_t time, std::uint32_t other) {
    return static_cast<std::int32_t>(time - other) <= 0;
}

}  // namespace

void FakeSerial::SetResponder(Responder responder) {
    const std::lock_guard lock(mMutex);
    mResponder = responder ? std::make_shared<Responder>(std::move(responder)) : nullptr;
}

void FakeSerial::Feed(Bytes bytes, std::uint32_t delayMs) {
    if (bytes.empty()) {
        return;
    }
    const std::uint32_t due = GetCurrentTimeSinceEpochInMilliseconds() + delayMs;
    const std::lock_guard lock(mMutex);
    // A group that is being read stays in front: bytes of two groups never mix.
    auto from = mGroups.begin();
    if (from != mGroups.end() && from->next > 0) {
        ++from;
    }
    const auto later =
        std::find_if(from, mGroups.end(), [due](const Group& group) { return !IsAtOrBefore(group.due, due); });
    mGroups.insert(later, Group{std::move(bytes), 0, due});
}

void FakeSerial::SetBytesPerPoll(std::size_t count) {
    const std::lock_guard lock(mMutex);
    mBytesPerPoll = count;
    mReadSinceDry = 0;
}

std::vector<FakeSerial::Bytes> FakeSerial::Writes() const {
    const std::lock_guard lock(mMutex);
    return mWrites;
}

std::vector<FakeSerial::Bytes> FakeSerial::TakeWrites() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mWrites, {});
}

FakeSerial::Bytes FakeSerial::WrittenBytes() const {
    const std::lock_guard lock(mMutex);
    Bytes all;
    for (const Bytes& write : mWrites) {
        all.insert(all.end(), write.begin(), write.end());
    }
    return all;
}

bool FakeSerial::WaitForWrites(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mMutex);
    return mWritten.wait_for(lock, limit, [&] { return mWrites.size() >= count && mWritesGoingOn == 0; });
}

std::size_t FakeSerial::UnreadBytes() const {
    const std::lock_guard lock(mMutex);
    std::size_t count = 0;
    for (const Group& group : mGroups) {
        count += group.bytes.size() - group.next;
    }
    return count;
}

std::size_t FakeSerial::ReadCalls() const {
    const std::lock_guard lock(mMutex);
    return mReadCalls;
}

bool FakeSerial::WritesOverlapped() const {
    const std::lock_guard lock(mMutex);
    return mOverlapped;
}

bool FakeSerial::ReadByte(std::uint8_t& byte) {
    const std::lock_guard lock(mMutex);
    ++mReadCalls;
    const bool isHeldBack = mBytesPerPoll != 0 && mReadSinceDry == mBytesPerPoll;
    if (isHeldBack || mGroups.empty() || !IsAtOrBefore(mGroups.front().due, GetCurrentTimeSinceEpochInMilliseconds())) {
        mReadSinceDry = 0;
        return false;
    }
    Group& group = mGroups.front();
    byte = group.bytes[group.next++];
    ++mReadSinceDry;
    if (group.next == group.bytes.size()) {
        mGroups.pop_front();
    }
    return true;
}

void FakeSerial::WriteBytes(const std::uint8_t* data, std::uint16_t length) {
    const Bytes written(data, data + length);
    std::shared_ptr<Responder> responder;
    {
        const std::lock_guard lock(mMutex);
        mOverlapped = mOverlapped || mWritesGoingOn > 0;
        ++mWritesGoingOn;
        mWrites.push_back(written);
        responder = mResponder;
    }
    if (responder != nullptr) {
        for (Answer& answer : (*responder)(written)) {
            Feed(std::move(answer.bytes), answer.delayMs);
        }
    }
    const std::lock_guard lock(mMutex);
    --mWritesGoingOn;
    mWritten.notify_all();
}
