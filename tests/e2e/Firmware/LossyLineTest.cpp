// Updates over a line that harms frames in both directions. Whatever it does, a carrier never runs a wrong image.
#include "tests/e2e/Firmware/FirmwareTest.h"

#include <iostream>

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr std::size_t kMachines = 10;  // side by side in one test: they spend their time waiting
constexpr std::size_t kSize = 20U * 1024;
constexpr seconds kLongestUpdate{45};
constexpr std::uint8_t kAppBin = 2;

enum class Line {
    Lossy,      // one frame in twenty is lost, damaged, cut short or late
    Repeating,  // or comes twice
};

simulator::FaultRates RatesOf(Line line) {
    simulator::FaultRates rates;
    const double each = line == Line::Lossy ? 0.05 / 4 : 0.05 / 5;
    rates.drop = rates.corrupt = rates.cut = rates.delay = each;
    rates.duplicate = line == Line::Lossy ? 0 : each;
    return rates;
}

struct LineCase {
    Line line;
    std::uint64_t firstSeed;
};

void PrintTo(const LineCase& line, std::ostream* out) {
    *out << (line.line == Line::Lossy ? "lossy" : "repeating") << ", from seed " << line.firstSeed;
}

struct LossyUpdate {
    std::uint64_t seed = 0;
    Machine* machine = nullptr;
    FirmwareOnDisk file;
    bool isOver = false;
};

class FirmwareLossyLineTest : public FirmwareTest, public testing::WithParamInterface<LineCase> {
protected:
    LossyUpdate& Add(std::uint64_t seed) {
        MachineOptions options = Options();
        options.carrier.seed = seed;
        LossyUpdate update;
        update.seed = seed;
        update.machine = &NewMachine(options);
        mUpdates.push_back(update);
        return mUpdates.back();
    }

    // Harm begins with the update, not with the machine.
    void Begin(LossyUpdate& update) const {
        Machine& machine = *update.machine;
        update.file = Put(machine, kAppFile, kSize, update.seed);
        for (const auto direction : {simulator::Direction::Received, simulator::Direction::Sent}) {
            machine.Carrier().Faults().SetRates(direction, RatesOf(GetParam().line));
        }
        Announce(machine, update.file);
        machine.Bus().Publish("req_delayed_device_settings", "{}");
    }

    bool AreAllOver() {
        bool areAll = true;
        for (LossyUpdate& update : mUpdates) {
            update.isOver = update.isOver || update.machine->Bus().Count("delayed_device_settings") != 0;
            areAll = areAll && update.isOver;
        }
        return areAll;
    }

    // Says that the update failed; or, where a packet or the end of the file was not taken, how, in the last pass.
    static bool IsFailureLogged(Machine& machine) {
        bool isLogged = false;
        bool isLastPass = false;
        for (const std::string& line : machine.Log().Lines()) {
            if (line == "[info] Sending file") {
                isLastPass = true;
                isLogged = false;
            }
            for (const char* const verdict :
                 {"[error] File transer giving up after ",
                  "[info] Transfer initiation failed. CommError = ", "[info] Firmware Apply failed. CommError = "}) {
                isLogged = isLogged || line.starts_with(verdict);
            }
            for (const char* const reason :
                 {"[info] WaitForResponseToCommand() Timed out after ", "[info] Nack received - 0d"}) {
                isLogged = isLogged || (isLastPass && line.starts_with(reason));
            }
        }
        return isLogged;
    }

    // A frame that comes twice is answered twice, and an answer does not say what it answers: each one behind it counts
    // for the next command. So the answer to the phase before the apply can be taken for the apply's own, and the
    // refusal behind it for a sign of life. The carrier is safe, since it has refused; the file is lost.
    static bool IsApplyMistaken(Machine& machine) {
        const auto& faults = machine.Carrier().Faults();
        const std::size_t repeated = faults.Counts(simulator::Direction::Received).duplicated +
                                     faults.Counts(simulator::Direction::Sent).duplicated;
        return repeated != 0 && machine.Log().Has("[warning] Received Nack but not expecting one");
    }

    // Returns whether the file arrived. An update without an end is ended by a stop, which keeps the file.
    bool Check(LossyUpdate& update) const {
        Machine& machine = *update.machine;
        if (!update.isOver) {
            ExpectToStop(machine);
        }
        const auto images = machine.Carrier().AppliedImages();
        for (const auto& image : images) {
            EXPECT_EQ(image.destination, kAppBin);
            EXPECT_TRUE(image.bytes == update.file.bytes) << "a wrong image was applied";
        }
        const bool isKept = IsThere(machine, update.file);
        if (isKept) {
            EXPECT_TRUE(!update.isOver || IsFailureLogged(machine)) << "kept without a word";
            EXPECT_LE(images.size(), 1U);
        } else if (GetParam().line == Line::Lossy || !IsApplyMistaken(machine)) {
            EXPECT_EQ(images.size(), 1U) << "the file is gone";
        }
        std::cout << "seed " << update.seed << ": " << (isKept ? "kept" : "deleted") << ", applied " << images.size()
                  << (update.isOver ? "" : ", ended by a stop") << ", passes "
                  << machine.Carrier().State().firmware.starts << ", harmed "
                  << machine.Carrier().Faults().Counts(simulator::Direction::Received).Total() << " and "
                  << machine.Carrier().Faults().Counts(simulator::Direction::Sent).Total() << "\n";
        return images.size() == 1;
    }

    std::vector<LossyUpdate> mUpdates;
};

TEST_P(FirmwareLossyLineTest, BringsTheRightImageOrNone) {
    for (std::size_t i = 0; i < kMachines; ++i) {
        Add(GetParam().firstSeed + i).machine->Start();
    }
    for (LossyUpdate& update : mUpdates) {
        update.machine->AwaitReady();
        update.machine->Greet();
        Begin(update);
    }
    const auto start = steady_clock::now();
    WaitUntil([this] { return AreAllOver(); }, kLongestUpdate);
    std::cout << "waited for " << std::chrono::duration_cast<seconds>(steady_clock::now() - start).count() << " s\n";
    std::size_t arrived = 0;
    for (LossyUpdate& update : mUpdates) {
        SCOPED_TRACE("seed " + std::to_string(update.seed));
        arrived += Check(update) ? 1U : 0U;
    }
    EXPECT_GE(arrived, 1U) << "a line that harms one frame in twenty lets some file through";
}

INSTANTIATE_TEST_SUITE_P(Lines, FirmwareLossyLineTest,
                         testing::Values(LineCase{Line::Lossy, 1}, LineCase{Line::Lossy, 11},
                                         LineCase{Line::Repeating, 21}, LineCase{Line::Repeating, 31}),
                         [](const auto& test) {
                             return (test.param.line == Line::Lossy ? "LossyFrom" : "RepeatingFrom") +
                                    std::to_string(test.param.firstSeed);
                         });

}  // namespace
