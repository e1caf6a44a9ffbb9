// Files of 5 MiB: about a minute at one packet per poll of the line, so all names at the same time.
#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

constexpr std::size_t kSize = 5U * 1024 * 1024;

class FirmwareLargeFilesTest : public FirmwareTest {};

TEST_F(FirmwareLargeFilesTest, ArriveUnderEveryName) {
    const std::vector<std::pair<const char*, std::uint8_t>> names = {{"PreBoot.hex", 1},
                                                                     {"VeltrixBoot.hex", 1},
                                                                     {"VeltrixBoot_CRC.bin", 3},
                                                                     {"VeltrixApp.hex", 0},
                                                                     {"VeltrixApp_CRC.bin", 2}};
    std::vector<Machine*> machines;
    for (std::size_t i = 0; i < names.size(); ++i) {
        machines.push_back(&NewMachine(Options()));
        machines.back()->Start();
    }
    std::vector<FirmwareOnDisk> files;
    for (std::size_t i = 0; i < names.size(); ++i) {
        machines[i]->AwaitReady();
        machines[i]->Greet();
        files.push_back(Put(*machines[i], names[i].first, kSize, i));
        Announce(*machines[i], files[i]);
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(names[i].first);
        EXPECT_TRUE(WaitUntil([&] { return !IsThere(*machines[i], files[i]); },
                              std::chrono::seconds(VELTRIX_IS_SANITIZED ? 840 : 280)));
        AwaitIdle(*machines[i]);
        ExpectApplied(*machines[i], files[i], names[i].second);
        EXPECT_EQ(CountCommand(*machines[i], simulator::command::kFileTransferPacket), 5120U);
    }
}

}  // namespace
