// Nanoseconds per byte and per frame of the CRC, the framer and the link's send path.
#include "VeltrixHAL/PacketFramer.h"
#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"
#include "VeltrixHAL/VeltrixComm/crc16.h"
#include "bench/MemoryPort.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

class Master : public VeltrixNetMaster {
public:
    explicit Master(IBufferedSerial& serial)
        : VeltrixNetMaster(serial, VeltrixNetBusinessUnit_Quasky, VeltrixNetProductId_Kestrum,
                           VeltrixNetNodeType_Kestrum_SBC) {}
    void HandleReceivedPacket(Packet& /*packet*/) override {}
    e_commError ProcessResponseFromCarrier(Packet& /*response*/, CommCommands_t /*sent*/, int /*elapsedMs*/) override {
        return commError_None;
    }
};

std::vector<std::uint8_t> Frame(std::uint16_t payloadSize) {
    std::vector<std::uint8_t> frame = {0x0A, 40, static_cast<std::uint8_t>(payloadSize & 0xFFU),
                                       static_cast<std::uint8_t>(payloadSize >> 8U)};
    const auto appendCrc = [&frame](std::size_t from) {
        const std::uint16_t crc = getCrc16(&frame[from], static_cast<std::uint16_t>(frame.size() - from));
        frame.push_back(static_cast<std::uint8_t>(crc & 0xFFU));
        frame.push_back(static_cast<std::uint8_t>(crc >> 8U));
    };
    appendCrc(0);
    if (payloadSize > 0) {
        for (std::uint16_t i = 0; i < payloadSize; ++i) {
            frame.push_back(static_cast<std::uint8_t>(i * 37U));
        }
        appendCrc(6);
    }
    return frame;
}

void ReportPerByte(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    state.counters["ns_per_byte"] = benchmark::Counter(
        static_cast<double>(bytes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Crc(benchmark::State& state) {
    const std::vector<std::uint8_t> data(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto _ : state) {
        benchmark::DoNotOptimize(getCrc16(data.data(), static_cast<std::uint16_t>(data.size())));
    }
    ReportPerByte(state, data.size());
}

void ReceiveFrame(benchmark::State& state) {
    MemoryPort port;
    PacketPool pool;
    auto packet = std::make_unique<Packet>();
    pool.Free(*packet);
    auto framer = std::make_unique<PacketFramer>(port, pool, static_cast<unsigned char>(0x0A));
    const auto frame = Frame(static_cast<std::uint16_t>(state.range(0)));
    for (auto _ : state) {
        port.Feed(frame);
        Packet* received = nullptr;
        if (framer->Process(received) != RxPacketIsValid) {
            state.SkipWithError("the frame was not delivered");
            break;
        }
        pool.Free(*received);
    }
    ReportPerByte(state, frame.size());
}

void SendAndAck(benchmark::State& state) {
    MemoryPort port;
    port.AnswerWith(kAckFrame);
    auto master = std::make_unique<Master>(port);
    const std::vector<std::uint8_t> payload(static_cast<std::size_t>(state.range(0)), 0xA5);
    for (auto _ : state) {
        if (master->SendCommand(CommCommands_SetTessimorSettings, static_cast<unsigned int>(payload.size()),
                                payload.empty() ? nullptr : payload.data(), 200) != commError_None) {
            state.SkipWithError("the command was not acknowledged");
            break;
        }
    }
    ReportPerByte(state, payload.size() + (payload.empty() ? 6 : 8));
}

}  // namespace

BENCHMARK(Crc)->Arg(4)->Arg(1024)->Arg(65528);
BENCHMARK(ReceiveFrame)->Arg(0)->Arg(6)->Arg(1024)->Arg(65528);
BENCHMARK(SendAndAck)->Arg(0)->Arg(9)->Arg(1024);

int main(int argc, char** argv) {
    VeltrixErrorLog::gVerbosity = -1;  // what a console costs is not the question here
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
