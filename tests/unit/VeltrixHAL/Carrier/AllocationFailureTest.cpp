// Buffers that cannot be had. This program's nothrow allocations of arrays fail when a test wants it.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <new>

namespace {

std::atomic<bool> sIsMemoryGone{false};

}  // namespace

// The linker sends every call of the nothrow operator new[] here. Defining the operator itself would collide with that
// of the sanitizers' run-time.
void* RealNewArray(std::size_t size, const std::nothrow_t& tag) noexcept asm("__real__ZnamRKSt9nothrow_t");
void* NewArrayUnlessGone(std::size_t size, const std::nothrow_t& tag) noexcept asm("__wrap__ZnamRKSt9nothrow_t");

void* NewArrayUnlessGone(std::size_t size, const std::nothrow_t& tag) noexcept {
    return sIsMemoryGone ? nullptr : RealNewArray(size, tag);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AllocationFailureTest : public CarrierTest {
protected:
    AllocationFailureTest() { std::filesystem::create_directories(mFolder.Path("Veltrix/log")); }
    ~AllocationFailureTest() override { sIsMemoryGone = false; }
};

TEST_F(AllocationFailureTest, ACarrierErrorIsRefusedWithoutAReason) {
    sIsMemoryGone = true;
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Frame(35, {'E', '4', '2'})); }), IsEmpty());
    sIsMemoryGone = false;
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 00 00 00 20 70"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Error allocating memory for received carrier error")));
    EXPECT_FALSE(mFolder.Exists("Veltrix/log/Carrier.log"));
    Receive(FrameBuilder::Frame(35, {'E', '4', '2'}));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_TRUE(mFolder.Exists("Veltrix/log/Carrier.log"));
}

TEST_F(AllocationFailureTest, TheRefusalIsPrintedAboveVerbosityZero) {
    VeltrixErrorLog::gVerbosity = 1;
    sIsMemoryGone = true;
    EXPECT_THAT(Printed([&] {
                    Receive(FrameBuilder::Frame(35, {'E', '4', '2'}));
                }),
                ElementsAre("Failed to save carrier error"));
}

TEST_F(AllocationFailureTest, TheRefusalIsLoggedAndPrintedBeforeItLeaves) {
    VeltrixErrorLog::gVerbosity = 1;
    sIsMemoryGone = true;
    const auto said = SaidBefore({0x0A, 0x00, 0x00, 0x00, 0x20, 0x70}, [&] {
        Receive(FrameBuilder::Frame(35, {'E', '4', '2'}));
    });
    EXPECT_THAT(said.logged, ElementsAre(Error("Error allocating memory for received carrier error")));
    EXPECT_THAT(said.printed, ElementsAre("Failed to save carrier error"));
}

TEST_F(AllocationFailureTest, AFirmwareFileCountsAsReadWithNothingAndTheUpdatesStayLocked) {
    CarrierFileInfo info;
    info.set_fileName("VeltrixApp.hex");
    info.set_fileFullPath(mFolder.Write("image.bin", "abc"));
    sIsMemoryGone = true;
    EXPECT_THAT(Printed([&] { mCarrier->DispatchCarrierFiles(info); }),
                ElementsAre("Opening update file: /image.bin", "Reading update file: /image.bin",
                            "HAL - Failure reading firmware file. Aborting update", "Read 0 of 3 expected."));
    sIsMemoryGone = false;
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("HAL Errlog: Failure reading firmware file. Aborting update")));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_TRUE(mFolder.Exists("image.bin"));
    mCarrier->DispatchCarrierFiles(info);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Unknown file received or unable to grab mutex")));
}

TEST_F(AllocationFailureTest, AFileThatIsNotThereIsStillTheReasonGiven) {
    CarrierFileInfo info;
    info.set_fileSize(10);
    info.set_fileFullPath(mFolder.Path("gone"));
    sIsMemoryGone = true;
    mCarrier->DispatchCarrierFiles(info);
    sIsMemoryGone = false;
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Could not open firmware file. Aborting update")));
}

}  // namespace
