// Counts heap allocations on the link's send and receive path after the start, by standing in for malloc and its
// relatives. Exits with 1 when there was one, or when the request went unanswered.
#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"
#include "bench/MemoryPort.h"

#include <Veltrix/VeltrixErrorLog.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

std::atomic<unsigned long> gAllocations{0};

}  // namespace

extern "C" void* malloc(std::size_t size) {
    ++gAllocations;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    ++gAllocations;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, std::size_t size) {
    ++gAllocations;
    return __libc_realloc(block, size);
}

namespace {

class Master : public VeltrixNetMaster {
public:
    explicit Master(IBufferedSerial& serial)
        : VeltrixNetMaster(serial, VeltrixNetBusinessUnit_Quasky, VeltrixNetProductId_Kestrum,
                           VeltrixNetNodeType_Kestrum_SBC) {}
    void HandleReceivedPacket(Packet& /*packet*/) override { SendCommand(CommCommands_Ack, 0, nullptr, 200); }
    e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t /*sent*/, int /*elapsedMs*/) override {
        return response[1] == CommCommands_Ack ? commError_None : commError_Nack;
    }
};

constexpr std::uint8_t kHeartbeat[] = {0x0A, 0x09, 0x00, 0x00, 0xBC, 0x6E};
constexpr std::uint8_t kBadHeader[] = {0x0A, 0x09, 0x00, 0x00, 0xBC, 0x6F};
constexpr std::uint8_t kNack[] = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF1};
constexpr std::uint8_t kBattery[] = {0x0A, 0x01, 0x02, 0x00, 0x49, 0x1C, 0x34, 0x12, 0xED, 0x16};
constexpr int kRounds = 2000;

template <typename Step>
bool Measure(const char* what, Step step) {
    step();  // what is set up at the first use belongs to the start
    const unsigned long before = gAllocations;
    for (int i = 0; i < kRounds; ++i) {
        step();
    }
    const unsigned long count = gAllocations - before;
    std::fprintf(stderr, "%-45s %6d rounds %8lu allocations\n", what, kRounds, count);
    return count == 0;
}

// A log of its own for each run: what earlier runs left would make a later one rotate it, and files' names allocate.
class OwnRoot {
public:
    OwnRoot() : mIsThere(::mkdtemp(mPath.data()) != nullptr && ::setenv("VELTRIX_ROOT", mPath.c_str(), 1) == 0) {}
    ~OwnRoot() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    OwnRoot(const OwnRoot&) = delete;
    OwnRoot& operator=(const OwnRoot&) = delete;

    bool IsThere() const { return mIsThere; }

private:
    std::string mPath = (std::filesystem::temp_directory_path() / "allocation_bench_XXXXXX").string();
    bool mIsThere;
};

}  // namespace

int main() {
    // As a process runs in the field: verbosity 0, with its rotating log, console to nowhere.
    const OwnRoot root;
    if (!root.IsThere() || std::freopen("/dev/null", "w", stdout) == nullptr) {
        return EXIT_FAILURE;
    }
    VeltrixErrorLog::initLogger("AllocationBench");
    if (VeltrixErrorLog::gRotatingLogger == nullptr) {
        return EXIT_FAILURE;
    }
    MemoryPort port;
    const auto master = std::make_unique<Master>(port);
    std::vector<std::uint8_t> file(4096, 0x42);
    bool isClean = true;

    port.AnswerWith(kAckFrame);
    isClean &= Measure("command of 9 bytes, acknowledged",
                       [&] { master->SendCommand(CommCommands_SetTessimorSettings, 9, file.data(), 200); });
    isClean &= Measure("file payload in four frames, acknowledged",
                       [&] { master->SendCommand(CommCommands_FileTransferPacket, 4096, file.data(), 200); });
    port.AnswerWith({});
    isClean &= Measure("heartbeat received and acknowledged", [&] {
        port.Feed(kHeartbeat);
        master->Process();
    });
    isClean &= Measure("damaged header answered with a Nack", [&] {
        port.Feed(kBadHeader);
        master->Process();
    });
    port.AnswerWith(kBattery);
    std::array<std::uint8_t, 4> answer{};
    bool isAnswered = true;
    isClean &= Measure("request, answered", [&] {
        isAnswered &= master->SendRequest(CommCommands_GetVBat, answer.data(), 4) == commError_None;
    });
    port.AnswerWith(kNack);
    const int rounds = 20;
    const unsigned long before = gAllocations;
    for (int i = 0; i < rounds; ++i) {
        master->SendCommand(CommCommands_OpIDUp, 0, nullptr, 200);
    }
    const unsigned long refused = gAllocations - before;
    std::fprintf(stderr, "%-45s %6d rounds %8lu allocations\n", "command refused three times", rounds, refused);
    return isClean && isAnswered && refused == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
