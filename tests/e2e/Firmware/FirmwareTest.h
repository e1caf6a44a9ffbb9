// The fixture of tests that update a carrier's firmware.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "CarrierSimulator/FirmwareImage.h"
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

// A file of firmware that lies on the machine, and what is in it.
struct FirmwareOnDisk {
    std::string name;
    std::string path;  // as the machine knows it
    simulator::Bytes bytes;
};

class FirmwareTest : public EndToEndTest {
protected:
    static constexpr const char* kAppFile = "VeltrixApp_CRC.bin";
    static constexpr const char* kBootFile = "VeltrixBoot_CRC.bin";

    static constexpr const char* kAck = "0A 01 00 00 7A AC";
    static constexpr const char* kPhase1 = "0A 2A 02 00 63 81 01 00 16 9F";
    static constexpr const char* kPhase2 = "0A 2A 02 00 63 81 02 00 3C F7";
    static constexpr const char* kPhase3 = "0A 2A 02 00 63 81 03 00 25 2F";
    static constexpr const char* kPhase4 = "0A 2A 02 00 63 81 04 00 68 27";
    static constexpr const char* kPhaseEnd = "0A 2A 02 00 63 81 05 00 71 FF";
    static constexpr const char* kPhaseFail = "0A 2A 02 00 63 81 07 00 42 4F";
    static constexpr const char* kEnd = "0A 05 00 00 19 CD";
    static constexpr const char* kApplyApp = "0A 06 01 00 EF 71 02 D3 6A";

    // Of a carrier that is soon back after an apply and judges images by their last four bytes; the process prints what
    // everybody sees.
    static MachineOptions Options();

    // A file with a good trailer.
    static FirmwareOnDisk Put(Machine& machine, const std::string& name, std::size_t size, std::uint64_t seed = 1);
    static bool IsThere(Machine& machine, const FirmwareOnDisk& file);

    static void Announce(Machine& machine, const std::string& name, const std::string& path, std::size_t size);
    // With its real size.
    static void Announce(Machine& machine, const FirmwareOnDisk& file) {
        Announce(machine, file.name, file.path, file.bytes.size());
    }
    // When it returns, the process has handled everything that was announced before.
    static void AwaitIdle(Machine& machine, std::chrono::milliseconds limit = kPatience);
    // Both.
    static void Update(Machine& machine, const FirmwareOnDisk& file);

    // The packets that carry these bytes, in frames of 1,024.
    static std::vector<std::string> Packets(const simulator::Bytes& bytes);
    static std::size_t CountCommand(Machine& machine, std::uint8_t command, std::size_t from = 0);

    // The file is still there, whole, and the carrier has applied nothing.
    static void ExpectKept(Machine& machine, const FirmwareOnDisk& file);
    // The carrier has applied exactly this, and the file is gone.
    static void ExpectApplied(Machine& machine, const FirmwareOnDisk& file, std::uint8_t destination);
    // A new file reaches the carrier.
    static void ExpectThatUpdatesWork(Machine& machine);
    // A file is turned away; nothing goes to the carrier.
    static void ExpectThatUpdatesAreRefused(Machine& machine);
    // Ends by SIGTERM with status 0, as soon as a machine has to.
    static void ExpectToStop(Machine& machine);
};

inline auto EndsWithLine(const std::string& line) {
    return testing::ResultOf([](const auto& lines) { return lines.empty() ? std::string() : lines.back(); }, line);
}

// What came since the construction.
class Since {
public:
    explicit Since(Machine& machine)
        : mMachine(machine),
          mOut(machine.Out().Position()),
          mLog(machine.Log().Position()),
          mLine(machine.Line().Position()) {}

    // What is printed comes through a pipe, and a frame that is not answered counts only once the carrier has read it:
    // both may come late.
    template <typename Matcher>
    void ExpectOut(const Matcher& matcher) const {
        WaitUntil([&] { return testing::Matches(matcher)(Out()); }, kPatience);
        EXPECT_THAT(Out(), matcher);
    }
    template <typename Matcher>
    void ExpectFrames(const Matcher& matcher) const {
        WaitUntil([&] { return testing::Matches(matcher)(Frames()); }, kPatience);
        EXPECT_THAT(Frames(), matcher);
    }

    std::vector<std::string> Out() const { return Rest(mMachine.Out().Lines(), mOut); }
    std::vector<std::string> Log() const { return Rest(mMachine.Log().Lines(), mLog); }
    std::vector<std::string> Frames() const { return mMachine.Line().Frames(mLine); }
    std::size_t Line() const { return mLine; }

private:
    static std::vector<std::string> Rest(std::vector<std::string> lines, std::size_t from) {
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(from));
        return lines;
    }

    Machine& mMachine;
    std::size_t mOut;
    std::size_t mLog;
    std::size_t mLine;
};
