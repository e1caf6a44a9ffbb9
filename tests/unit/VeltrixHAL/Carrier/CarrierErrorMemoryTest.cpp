// The memory that a carrier's error takes: its message once. This program stands in for the allocation functions, and
// its large blocks run out when a test wants it.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

constexpr std::size_t kLargeBlock = 32'768;
std::atomic<int> sLargeBlocksLeft{INT_MAX};

bool CanBeHad(std::size_t size) {
    if (size >= kLargeBlock && sLargeBlocksLeft.fetch_sub(1) <= 0) {
        errno = ENOMEM;
        return false;
    }
    return true;
}

}  // namespace

extern "C" void* malloc(std::size_t size) {
    return CanBeHad(size) ? __libc_malloc(size) : nullptr;
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    return CanBeHad(count * size) ? __libc_calloc(count, size) : nullptr;
}

extern "C" void* realloc(void* block, std::size_t size) {
    return CanBeHad(size) ? __libc_realloc(block, size) : nullptr;
}

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class CarrierErrorMemoryTest : public CarrierTest {
protected:
    CarrierErrorMemoryTest() { std::filesystem::create_directories(mFolder.Path("Veltrix/log")); }
    ~CarrierErrorMemoryTest() override { sLargeBlocksLeft = INT_MAX; }

    // The longest message comes when there is memory for so many large blocks.
    void ReceiveWithMemoryFor(int largeBlocks) {
        mLine.Port().Feed(FrameBuilder::Frame(35, Bytes(kLongest, 'x')));
        sLargeBlocksLeft = largeBlocks;
        mCarrier->Process();
        sLargeBlocksLeft = INT_MAX;
    }

    static constexpr std::size_t kLongest = 65528;
};

TEST_F(CarrierErrorMemoryTest, MemoryForItsMessageOnceIsEnough) {
    ReceiveWithMemoryFor(1);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_THAT(mFolder.Read("Veltrix/log/Carrier.log"), EndsWith(") - " + std::string(kLongest, 'x') + "\n"));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(CarrierErrorMemoryTest, WithoutThatItIsRefused) {
    ReceiveWithMemoryFor(0);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 00 00 00 20 70"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Error allocating memory for received carrier error")));
}

}  // namespace
