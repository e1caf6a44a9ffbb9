#include "fuzz/FramerExercise.h"

#include "ProcessorAgnostic/Comms/Packet.h"
#include "ProcessorAgnostic/Comms/PacketPool.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/PacketFramer.h"
#include "fuzz/Support/ByteSource.h"
#include "fuzz/Support/Check.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <algorithm>
#include <array>
#include <deque>
#include <optional>
#include <vector>

namespace {

using Bytes = FrameBuilder::Bytes;

constexpr std::uint8_t kStart = 0x0A;
constexpr std::size_t kLargestFrame = 6 + 65528 + 2;
constexpr unsigned int kMostPackets = 6;

struct Input {
    unsigned int packets = 0;
    unsigned int keptBack = 0;
    bool isStopping = false;
    std::vector<std::size_t> cuts;
    std::uint8_t idle = 0;
    Bytes line;
};

Input ReadInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::ByteSource source(data, size);
    Input input;
    const std::uint8_t flags = source.Byte();
    input.packets = std::min(flags & 7U, kMostPackets);
    input.keptBack = flags >> 6U;
    input.isStopping = (flags & 0x10U) != 0;
    if ((flags & 0x27U) == 0x27U) {
        const std::uint16_t length = source.Word();
        input.line = FrameBuilder::Header(source.Byte(), length);
        const Bytes payload = FrameBuilder::Ramp(length);
        input.line.insert(input.line.end(), payload.begin(), payload.end());
        if ((flags & 8U) != 0) {
            const Bytes crc = FrameBuilder::WireCrc(payload);
            input.line.insert(input.line.end(), crc.begin(), crc.end());
        }
    }
    const auto cuts = source.Bytes(source.Byte());
    input.cuts.assign(cuts.begin(), cuts.end());
    if (std::all_of(input.cuts.begin(), input.cuts.end(), [](std::size_t cut) { return cut == 0; })) {
        input.cuts = {kLargestFrame * 2};
    }
    const auto rest = source.Rest();
    input.line.insert(input.line.end(), rest.begin(), rest.end());
    input.idle = static_cast<std::uint8_t>(flags * 37U);
    input.idle = input.idle == kStart ? std::uint8_t{0xFF} : input.idle;
    return input;
}

// Gives the line's bytes up to the current cut.
class CutPort : public IBufferedSerial {
public:
    bool ReadByte(std::uint8_t& byte) override {
        if (next == end) {
            return false;
        }
        byte = line[next++];
        return true;
    }
    void WriteBytes(const std::uint8_t* data, std::uint16_t length) override { written.assign(data, data + length); }

    Bytes line;
    std::size_t next = 0;
    std::size_t end = 0;
    Bytes written;
};

class ProbedFramer : public PacketFramer {
public:
    using PacketFramer::PacketFramer;
    unsigned int State() const { return mState; }
    bool HasPacket() const { return mPacketPtr != nullptr; }
};

class FramerRun {
public:
    FramerRun(Input input, ReferenceDecoder::Crc crc) : mInput(std::move(input)), mExpected(mInput.line, crc) {
        for (unsigned int i = 0; i < mInput.packets; ++i) {
            mPackets[i].emplace();
            mPool.Free(*mPackets[i]);
        }
        mPort.line = mInput.line;
    }

    void Run() {
        gKeepRunning = !mInput.isStopping;
        for (std::size_t cut = 0; mPort.end < mPort.line.size(); ++cut) {
            const std::size_t piece = mInput.cuts[cut % mInput.cuts.size()];
            mPort.end = std::min(mPort.line.size(), mPort.end + piece);
            Poll();
        }
        Poll();
        FUZZ_CHECK(mInput.packets == 0 || mDelivered == mExpected.Frames().size());
        ReturnAll();
        CheckThatAGoodFrameArrives();
        gKeepRunning = true;
    }

private:
    // Calls the framer until it has taken what there is.
    void Poll() {
        bool isOver = false;
        while (!isOver) {
            if (mPool.m_available.Count() == 0 && !mFramer.HasPacket()) {
                CheckThatNothingIsReadWithoutPackets();
                isOver = mKept.empty();
                ReturnOldest();
                continue;
            }
            const std::size_t before = mPort.next;
            Packet* packet = nullptr;
            const rxPacketStatus_e status = mFramer.Process(packet);
            FUZZ_CHECK(status == static_cast<unsigned int>(mExpected.LastSaid(before, mPort.next)));
            FUZZ_CHECK((packet != nullptr) == (status == RxPacketIsValid));
            if (packet != nullptr) {
                TakeDelivered(*packet);
            }
            CheckAccounts();
            isOver = packet == nullptr && mPort.next == mPort.end;
        }
    }

    void CheckThatNothingIsReadWithoutPackets() {
        const std::size_t before = mPort.next;
        Packet* packet = nullptr;
        FUZZ_CHECK(mFramer.Process(packet) == RxPacketWaiting);
        FUZZ_CHECK(packet == nullptr && mPort.next == before);
        CheckAccounts();
    }

    void TakeDelivered(Packet& packet) {
        FUZZ_CHECK(mDelivered < mExpected.Frames().size());
        const auto& frame = mExpected.Frames()[mDelivered++];
        FUZZ_CHECK(frame.begin + frame.size == mPort.next);
        FUZZ_CHECK(packet.Size() == frame.size);
        const unsigned char* const bytes = packet;
        FUZZ_CHECK(
            std::equal(bytes, bytes + frame.size, mPort.line.begin() + static_cast<std::ptrdiff_t>(frame.begin)));
        mKept.push_back(&packet);
        if (mKept.size() > mInput.keptBack) {
            ReturnOldest();
        }
    }

    void ReturnOldest() {
        if (!mKept.empty()) {
            mPool.Free(*mKept.front());
            mKept.pop_front();
        }
    }

    void ReturnAll() {
        while (!mKept.empty()) {
            ReturnOldest();
        }
        CheckAccounts();
    }

    void CheckAccounts() {
        FUZZ_CHECK(mFramer.State() <= 2);
        FUZZ_CHECK(mPool.m_available.Count() + mKept.size() + (mFramer.HasPacket() ? 1 : 0) == mInput.packets);
    }

    // Whatever came before: after at most one frame's worth of idle bytes the framer waits for a start byte again, and
    // the frame that comes next is delivered and can be sent on.
    void CheckThatAGoodFrameArrives() {
        if (mInput.packets == 0) {
            FUZZ_CHECK(mPort.next == 0);
            return;
        }
        std::size_t idleBytes = 0;
        while (mFramer.State() != 0) {
            FUZZ_CHECK(idleBytes < kLargestFrame);
            const std::size_t more = std::min<std::size_t>(kLargestFrame - idleBytes, 256);
            idleBytes += more;
            GiveUnseen(Bytes(more, mInput.idle));
            while (Packet* const completed = Receive()) {
                mPool.Free(*completed);
            }
        }
        const Bytes frame = FrameBuilder::Frame(9, {8, 0, 0, 0, 0, 0});
        GiveUnseen(frame);
        Packet* const packet = Receive();
        FUZZ_CHECK(packet != nullptr && packet->Size() == frame.size());
        mFramer.Send(*packet);
        FUZZ_CHECK(mPort.written == frame);
        mPool.Free(*packet);
        CheckAccounts();
    }

    void GiveUnseen(Bytes bytes) {
        mPort.line = std::move(bytes);
        mPort.next = 0;
        mPort.end = mPort.line.size();
    }

    Packet* Receive() {
        Packet* packet = nullptr;
        mFramer.Process(packet);
        return packet;
    }

    const Input mInput;
    const ReferenceDecoder mExpected;
    std::array<std::optional<Packet>, kMostPackets> mPackets;
    PacketPool mPool;
    CutPort mPort;
    ProbedFramer mFramer{mPort, mPool, kStart};
    std::deque<Packet*> mKept;
    std::size_t mDelivered = 0;
};

}  // namespace

void ExerciseFramer(const std::uint8_t* data, std::size_t size, ReferenceDecoder::Crc crc) {
    // Kept between inputs: it is 600 KB.
    static std::optional<FramerRun> run;
    run.emplace(ReadInput(data, size), crc);
    run->Run();
    run.reset();
}
