#include "CarrierSimulator/FrameLog.h"

#include <algorithm>
#include <utility>

#include "CarrierSimulator/FrameDecoder.h"

namespace simulator {

void FrameLog::SetLimit(std::size_t limit) {
    mLimit = limit;
    while (mRecords.size() > mLimit) {
        mRecords.pop_front();
    }
}

const FrameRecord& FrameLog::Add(FrameRecord record) {
    record.index = mNext++;
    if (mLimit == 0) {
        mLast = std::move(record);
        return mLast;
    }
    if (mRecords.size() >= mLimit) {
        mRecords.pop_front();
    }
    mRecords.push_back(std::move(record));
    return mRecords.back();
}

std::vector<FrameRecord> FrameLog::From(std::size_t index) const {
    std::vector<FrameRecord> records;
    for (std::size_t each = std::max(index, First()); each < mNext; ++each) {
        records.push_back(At(each));
    }
    return records;
}

FrameRecord RecordOfSent(const Bytes& bytes, TimePoint time) {
    FrameRecord record;
    record.direction = Direction::Sent;
    record.time = time;
    record.raw = bytes;
    FrameDecoder decoder;
    std::vector<LineItem> items;
    decoder.Feed(bytes, time, Clock::duration{0}, items);
    decoder.Flush(items);
    if (items.size() == 1) {
        record.kind = items.front().kind;
        record.command = items.front().command;
        record.payload = std::move(items.front().payload);
    }
    return record;
}

}  // namespace simulator
