// Files of every size reach the carrier byte for byte, under every name.
#include "tests/e2e/Firmware/FirmwareTest.h"

#include <algorithm>

namespace {

using Phases = std::vector<std::uint16_t>;
using std::chrono::seconds;

struct NameCase {
    const char* name;
    std::uint8_t destination;
    Phases phases;
};

const std::vector<NameCase> kNames = {{"PreBoot.hex", 1, {1}},
                                      {"VeltrixBoot.hex", 1, {1}},
                                      {"VeltrixBoot_CRC.bin", 3, {1}},
                                      {"VeltrixApp.hex", 0, {2, 3, 4}},
                                      {"VeltrixApp_CRC.bin", 2, {2, 3, 4}}};

void PrintTo(const NameCase& name, std::ostream* out) {
    *out << name.name;
}

class FirmwareSizesTest : public FirmwareTest {
protected:
    // Judged by the size alone: an image of one byte has no room for a trailer.
    static MachineOptions OptionsForAnySize() {
        MachineOptions options = Options();
        options.carrier.firmware.check = simulator::ImageCheck::Size;
        return options;
    }

    static void AwaitRemoval(Machine& machine, const FirmwareOnDisk& file, seconds limit) {
        EXPECT_TRUE(WaitUntil([&] { return !IsThere(machine, file); }, limit)) << file.name;
        AwaitIdle(machine);
    }

    static void ExpectLastApplied(Machine& machine, const FirmwareOnDisk& file, const NameCase& name) {
        const auto images = machine.Carrier().AppliedImages();
        ASSERT_FALSE(images.empty());
        EXPECT_EQ(images.back().destination, name.destination);
        EXPECT_TRUE(images.back().bytes == file.bytes) << file.bytes.size() << " bytes";
    }

    static Phases WithoutRepeats(Phases phases) {
        phases.erase(std::unique(phases.begin(), phases.end()), phases.end());
        return phases;
    }

    static Phases Repeat(const Phases& phases, std::size_t count) {
        Phases all;
        for (std::size_t i = 0; i < count; ++i) {
            all.insert(all.end(), phases.begin(), phases.end());
        }
        return all;
    }
};

class FirmwareNamesTest : public FirmwareSizesTest, public testing::WithParamInterface<NameCase> {};

TEST_P(FirmwareNamesTest, ArriveInEverySize) {
    constexpr std::size_t kSizes[] = {1, 1023, 1024, 1025, 70000, 1024U * 1024};
    Machine& machine = GreetedMachine(OptionsForAnySize());
    for (const std::size_t size : kSizes) {
        SCOPED_TRACE(size);
        const FirmwareOnDisk file = Put(machine, GetParam().name, size, size);
        const std::size_t from = machine.Line().Position();
        Announce(machine, file);
        AwaitRemoval(machine, file, seconds(80));
        ExpectLastApplied(machine, file, GetParam());
        EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferPacket, from), (size + 1023) / 1024);
    }
    EXPECT_EQ(machine.Carrier().AppliedImages().size(), std::size(kSizes));
    // On a busy computer an Ack can take more than its 200 ms; then the phase is announced again.
    EXPECT_EQ(WithoutRepeats(machine.Carrier().State().updatePhases),
              WithoutRepeats(Repeat(GetParam().phases, std::size(kSizes))));
}

INSTANTIATE_TEST_SUITE_P(FirmwareSizesTest, FirmwareNamesTest, testing::ValuesIn(kNames), [](const auto& test) {
    std::string name = test.param.name;
    name.resize(name.find('.'));
    name.erase(std::remove(name.begin(), name.end(), '_'), name.end());
    return name + "To" + std::to_string(test.param.destination);
});

}  // namespace
