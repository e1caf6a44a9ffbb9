#include "CarrierSimulator/FrameDecoder.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace simulator {

void FrameDecoder::Feed(std::span<const uint8_t> bytes, TimePoint start, Clock::duration perByte,
                        std::vector<LineItem>& items) {
    TimePoint time = start;
    for (const uint8_t byte : bytes) {
        time += perByte;
        mLastByte = time;
        if (!IsHolding() && byte != kStartByte) {
            mJunk.push_back(byte);
            mJunkTime = time;
            continue;
        }
        mHeld.push_back(byte);
        while (IsHolding() && Examine(false, items) != Step::NeedMore) {
        }
    }
}

// Looks at the held bytes once. `isLast`: nothing more will come, so an unfinished frame is a broken one.
FrameDecoder::Step FrameDecoder::Examine(bool isLast, std::vector<LineItem>& items) {
    const std::span<const uint8_t> held = std::span<const uint8_t>(mHeld).subspan(mBegin);
    if (held.size() < kHeaderSize) {
        return isLast ? Reject(LineItem::Kind::BadHeader) : Step::NeedMore;
    }
    const auto crcAt = [held](std::size_t offset) {
        return static_cast<uint16_t>(held[offset] << 8U | held[offset + 1]);
    };
    if (crcAt(4) != CarrierCrc(held.first(4))) {
        return Reject(LineItem::Kind::BadHeader);
    }
    const std::size_t length = held[2] + std::size_t{256} * held[3];
    if (length > kMaxPayload) {
        return Reject(LineItem::Kind::BadLength);
    }
    if (length == 0) {
        EmitFrame(kHeaderSize, items);
        return Step::Frame;
    }
    const std::size_t size = kHeaderSize + length + kCrcSize;
    if (held.size() < size) {
        return isLast ? Reject(LineItem::Kind::Incomplete) : Step::NeedMore;
    }
    if (crcAt(kHeaderSize + length) != CarrierCrc(held.subspan(kHeaderSize, length))) {
        return Reject(LineItem::Kind::BadPayload);
    }
    EmitFrame(size, items);
    return Step::Frame;
}

// The start byte that is held began no good frame: on to the next one.
FrameDecoder::Step FrameDecoder::Reject(LineItem::Kind kind) {
    if (mJunkKind == LineItem::Kind::Noise) {
        mJunkKind = kind;
    }
    HuntFrom(mBegin + 1, mBegin);
    return Step::Dropped;
}

void FrameDecoder::EmitFrame(std::size_t size, std::vector<LineItem>& items) {
    EmitJunk(items);
    const auto begin = mHeld.begin() + static_cast<std::ptrdiff_t>(mBegin);
    const auto end = begin + static_cast<std::ptrdiff_t>(size);
    LineItem item;
    item.kind = LineItem::Kind::Frame;
    item.time = mLastByte;
    item.raw.assign(begin, end);
    item.command = item.raw[1];
    if (size > kHeaderSize) {
        item.payload.assign(begin + kHeaderSize, end - kCrcSize);
    }
    items.push_back(std::move(item));
    // What follows was held behind a start byte that turned out to be false.
    HuntFrom(mBegin + size, mBegin + size);
}

// Goes on with the first start byte at or behind `search`; what lies between `junk` and it belongs to no frame.
void FrameDecoder::HuntFrom(std::size_t search, std::size_t junk) {
    const auto next = std::find(mHeld.begin() + static_cast<std::ptrdiff_t>(search), mHeld.end(), kStartByte);
    const auto first = mHeld.begin() + static_cast<std::ptrdiff_t>(junk);
    if (next != first) {
        mJunk.insert(mJunk.end(), first, next);
        mJunkTime = mLastByte;
    }
    mBegin = static_cast<std::size_t>(next - mHeld.begin());
    if (next == mHeld.end()) {
        mHeld.clear();
        mBegin = 0;
    }
}

void FrameDecoder::EmitJunk(std::vector<LineItem>& items) {
    if (mJunk.empty()) {
        return;
    }
    LineItem item;
    item.kind = mJunkKind;
    item.time = mJunkTime;
    item.raw = std::move(mJunk);
    items.push_back(std::move(item));
    mJunk.clear();
    mJunkKind = LineItem::Kind::Noise;
}

std::optional<TimePoint> FrameDecoder::Deadline() const {
    if (IsHolding()) {
        return mLastByte + mGaps.frame;
    }
    return mJunk.empty() ? std::nullopt : std::optional(mJunkTime + mGaps.noise);
}

void FrameDecoder::Expire(TimePoint now, std::vector<LineItem>& items) {
    const std::optional<TimePoint> deadline = Deadline();
    if (deadline && now >= *deadline) {
        Flush(items);
    }
}

void FrameDecoder::Flush(std::vector<LineItem>& items) {
    while (IsHolding()) {
        Examine(true, items);
    }
    EmitJunk(items);
}

void FrameDecoder::Reset() {
    mHeld.clear();
    mBegin = 0;
    mJunk.clear();
    mJunkKind = LineItem::Kind::Noise;
}

}  // namespace simulator
