// A firmware file that changes under the process's hands. It is read once, as a whole, before anything is sent.
#include <filesystem>
#include <fstream>

#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::Not;

constexpr std::size_t kSize = 2500;
constexpr const char* kBack = "[info] Carrier connected after firmware update";

class FirmwareFilesTest : public FirmwareTest {
protected:
    // A machine that is on its way: the file is read and the answer to its last packet is held back.
    struct Transfer {
        Machine& machine;
        FirmwareOnDisk file;
    };

    Transfer InTheMiddle() {
        Machine& machine = GreetedMachine(Options());
        FirmwareOnDisk file = Put(machine, kAppFile, kSize);
        simulator::ScriptedFault hold;
        hold.what = simulator::ScriptedFault::What::Late;
        hold.command = simulator::command::kFileTransferPacket;
        hold.delay = simulator::Milliseconds(1500);
        machine.Carrier().Faults().Script(hold);
        Announce(machine, file);
        machine.Line().AwaitFrame(Packets(file.bytes)[0]);
        return {machine, file};
    }

    static void ExpectAppliedWhole(Machine& machine, const FirmwareOnDisk& file) {
        AwaitIdle(machine);
        const auto images = machine.Carrier().AppliedImages();
        ASSERT_EQ(images.size(), 1U);
        EXPECT_TRUE(images.front().bytes == file.bytes);
        EXPECT_TRUE(machine.Log().Has(kBack));
    }
};

TEST_F(FirmwareFilesTest, ThatVanishesDuringTheTransferIsSentWholeAndItsAbsenceReported) {
    const auto [machine, file] = InTheMiddle();
    std::filesystem::remove(machine.Files().Path(file.path));
    ExpectAppliedWhole(machine, file);
    EXPECT_TRUE(
        machine.Log().Has("[warning] Unable to remove /Veltrix/update/VeltrixApp_CRC.bin. "
                          "No such file or directory"));
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFilesTest, ThatShrinksDuringTheTransferIsSentAsItWasRead) {
    const auto [machine, file] = InTheMiddle();
    std::filesystem::resize_file(machine.Files().Path(file.path), 10);
    ExpectAppliedWhole(machine, file);
    EXPECT_FALSE(IsThere(machine, file));
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFilesTest, ThatGrowsDuringTheTransferIsSentAsItWasRead) {
    const auto [machine, file] = InTheMiddle();
    std::ofstream(machine.Files().Path(file.path), std::ios::app) << "more";
    ExpectAppliedWhole(machine, file);
    EXPECT_FALSE(IsThere(machine, file));
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFilesTest, ThatHasGrownSinceItWasAnnouncedIsSentInTheAnnouncedSize) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    std::ofstream(machine.Files().Path(file.path), std::ios::app) << std::string(1000, 'x');
    const std::size_t line = machine.Line().Position();
    Announce(machine, file);
    ExpectAppliedWhole(machine, file);
    std::vector<std::string> packets;
    for (const std::string& frame : machine.Line().Frames(line)) {
        if (frame.rfind("0A 04", 0) == 0) {
            packets.push_back(frame);
        }
    }
    EXPECT_THAT(packets, ElementsAreArray(Packets(file.bytes)));
    EXPECT_THAT(machine.Log().Lines(), Not(Contains(testing::HasSubstr("Failure reading"))));
    ExpectThatUpdatesWork(machine);
}

}  // namespace
