// What the carrier sends on its own: the answer on the line, and what follows from it.
#include <filesystem>
#include <set>

#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kLogFile = "/Veltrix/log/Carrier.log";
constexpr const char* kOldLogFile = "/Veltrix/log/Carrier.log.1";
constexpr const char* kLineStart = "\\([0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+\\) - ";

class CarrierCommandsTest : public EndToEndTest {
protected:
    // The frames that come up to the answer of a comms test behind the command, without that answer.
    static std::vector<std::string> FramesAfter(Machine& machine, std::uint8_t command, simulator::Bytes payload = {}) {
        const std::size_t line = machine.Line().Position();
        machine.Carrier().Send(command, std::move(payload));
        machine.FlushLine();
        std::vector<std::string> frames = machine.Line().Frames(line);
        frames.pop_back();
        return frames;
    }

    static simulator::Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }
};

TEST_F(CarrierCommandsTest, WhatIsOnlyAcknowledged) {
    MachineOptions options;
    options.settings = R"({"Core":1})";
    Machine& machine = BootMachine(options);
    const std::size_t log = machine.Log().Position();
    for (const int code : {11, 13, 15}) {
        const auto command = static_cast<std::uint8_t>(code);
        EXPECT_THAT(FramesAfter(machine, command), ElementsAre(kAck)) << code;
        EXPECT_THAT(FramesAfter(machine, command, simulator::Bytes(100, 7)), ElementsAre(kAck)) << code;
    }
    // A good voltage and a good time, as if they had been asked for.
    EXPECT_THAT(FramesAfter(machine, 13, {0x00, 0x00, 0x50, 0x40}), ElementsAre(kAck));
    EXPECT_THAT(FramesAfter(machine, 15, {25, 3, 4, 5, 6, 7, 0, 0}), ElementsAre(kAck));
    EXPECT_EQ(machine.Log().Position(), log);
    EXPECT_EQ(machine.Bus().Count("device_settings"), 0U) << "values are taken from answers only";
    EXPECT_THAT(machine.Files().ClockSettings(), IsEmpty());
}

TEST_F(CarrierCommandsTest, ReadinessForAFileIsAcknowledgedAndReported) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, simulator::command::kFileTransferReady), ElementsAre(kAck));
    EXPECT_TRUE(machine.Log().Has("[info] Carrier is ready for firmware"));
    EXPECT_TRUE(machine.Out().Has("Carrier is ready for firmware"));
}

TEST_F(CarrierCommandsTest, ACommsTestIsEchoed) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, simulator::command::kCommsTest), ElementsAre(kAck));
    EXPECT_THAT(FramesAfter(machine, simulator::command::kCommsTest, {1, 2, 3}),
                ElementsAre("0A 01 03 00 50 C4 01 02 03 9D 3B"));
    EXPECT_THAT(FramesAfter(machine, simulator::command::kCommsTest, {0x0A}),
                ElementsAre("0A 01 01 00 63 74 0A 5F 22"));
    // What is longer than a frame of the module comes back as several.
    const simulator::Bytes longOne(2500, 0x0A);
    EXPECT_THAT(FramesAfter(machine, simulator::command::kCommsTest, longOne),
                ElementsAre(simulator::HexText(simulator::EncodeFrame(1, simulator::Bytes(1024, 0x0A))),
                            simulator::HexText(simulator::EncodeFrame(1, simulator::Bytes(1024, 0x0A))),
                            simulator::HexText(simulator::EncodeFrame(1, simulator::Bytes(452, 0x0A)))));
}

TEST_F(CarrierCommandsTest, TheModulesOwnVersionIsTold) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, simulator::command::kGetFirmwareVersions),
                ElementsAre("0A 01 23 00 73 F7 35 33 31 37 32 30 4D 5F 4E 54 50 5F 44 69 73 61 62 6C 65 64 5F 50 61 74 "
                            "63 68 5F 32 35 30 32 32 30 61 00 FE B0"));
}

TEST_F(CarrierCommandsTest, WhatTheCarrierHasNoBusinessToSendIsLoggedAndNotAnswered) {
    const std::set<int> known = {0, 1, 3, 9, 11, 12, 13, 15, 35, 38, 40, 41, 43, 44};
    Machine& machine = BootMachine();
    machine.FlushLine();  // something has been sent: the first check-in has nothing to complain of
    const std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    std::vector<std::string> expected;
    for (int code = 0; code <= 255; ++code) {
        if (!known.contains(code)) {
            machine.Carrier().Send(static_cast<std::uint8_t>(code), {1, 2, 3});
            expected.push_back("[error] Unknown packet received 0d" + std::to_string(code));
        }
    }
    machine.Carrier().Send(simulator::command::kDropbear);
    expected.emplace_back("[error] Deprecated Dropbear command called by carrier: 0d41");
    machine.FlushLine();
    const std::vector<std::string> lines = machine.Log().Lines();
    EXPECT_EQ(std::vector<std::string>(lines.begin() + static_cast<std::ptrdiff_t>(log), lines.end()), expected);
    EXPECT_EQ(machine.Line().Frames(line).size(), 1U) << "the echo alone";
}

TEST_F(CarrierCommandsTest, ErrorsAreKeptInAFileOfTheirOwn) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, simulator::command::kErrorMessage, Text("E42")), ElementsAre(kAck));
    EXPECT_THAT(machine.Files().Read(kLogFile), MatchesRegex(std::string(kLineStart) + "E42\n"));
    machine.Out().Await("Received Carrier error");

    // No text is taken for a format, and none has to be UTF-8; the carrier's zero ends it.
    std::filesystem::remove(machine.Files().Path(kLogFile));
    FramesAfter(machine, simulator::command::kErrorMessage);
    FramesAfter(machine, simulator::command::kErrorMessage, Text("%s %n {} {0}"));
    FramesAfter(machine, simulator::command::kErrorMessage, {0xFF, 0xFE, 'x'});
    FramesAfter(machine, simulator::command::kErrorMessage, {'a', 0, 'b'});
    const std::string start = kLineStart;
    EXPECT_THAT(machine.Files().Read(kLogFile),
                MatchesRegex(start + "\n" + start + "%s %n \\{\\} \\{0\\}\n" + start + "\xFF\xFEx\n" + start + "a\n"));

    std::filesystem::remove(machine.Files().Path(kLogFile));
    EXPECT_THAT(FramesAfter(machine, simulator::command::kErrorMessage, simulator::Bytes(65000, 'y')),
                ElementsAre(kAck));
    EXPECT_EQ(machine.Files().Read(kLogFile).substr(machine.Files().Read(kLogFile).find(" - ")),
              " - " + std::string(65000, 'y') + "\n");
}

TEST_F(CarrierCommandsTest, TheErrorFileIsRotatedWhenItHasGrownBeyondItsSize) {
    Machine& machine = NewMachine();
    const std::string full(100000, 'x');
    machine.Files().Write(kLogFile, full);
    machine.Files().Write(kOldLogFile, "older");
    machine.Boot();
    FramesAfter(machine, simulator::command::kErrorMessage, Text("one"));
    const std::string grown = machine.Files().Read(kLogFile);
    EXPECT_EQ(grown.substr(0, full.size()), full) << "100000 bytes are not too many yet";
    EXPECT_THAT(grown.substr(full.size()), MatchesRegex(std::string(kLineStart) + "one\n"));
    EXPECT_EQ(machine.Files().Read(kOldLogFile), "older");

    EXPECT_THAT(FramesAfter(machine, simulator::command::kErrorMessage, Text("two")), ElementsAre(kAck));
    EXPECT_EQ(machine.Files().Read(kOldLogFile), grown);
    EXPECT_THAT(machine.Files().Read(kLogFile), MatchesRegex(std::string(kLineStart) + "two\n"));
}

TEST_F(CarrierCommandsTest, AnErrorThatCannotBeKeptIsLoggedAndAcknowledged) {
    Machine& machine = NewMachine();
    std::filesystem::create_directories(machine.Files().Path(kLogFile));
    machine.Boot();
    EXPECT_THAT(FramesAfter(machine, simulator::command::kErrorMessage, Text("E42")), ElementsAre(kAck));
    EXPECT_TRUE(machine.Log().Has("[error] Failed to open carrier log file"));
}

TEST_F(CarrierCommandsTest, TheSdCardQuestionIsAnsweredFromTheMediaFolder) {
    const char* const no = "0A 2B 01 00 13 35 00 F0 78";
    const char* const yes = "0A 2B 01 00 13 35 01 E1 F1";
    Machine& machine = BootMachine();
    const auto answer = [&] {
        const std::size_t line = machine.Line().Position();
        machine.Carrier().SendSdCardQuery();
        const std::vector<std::string> frames = machine.Line().AwaitFrames(2, line);
        machine.FlushLine();
        return frames;
    };
    EXPECT_THAT(answer(), ElementsAre(kAck, no)) << "no such folder";
    std::filesystem::create_directories(machine.Files().Path("/run/media/sda1"));
    EXPECT_THAT(answer(), ElementsAre(kAck, no));
    std::filesystem::create_directories(machine.Files().Path("/run/media/xmmcblk0p1"));
    EXPECT_THAT(answer(), ElementsAre(kAck, yes)) << "anywhere in the name";
    std::filesystem::remove(machine.Files().Path("/run/media/xmmcblk0p1"));
    machine.Files().Write("/run/media/mmcblk1", "a file counts, too");
    EXPECT_THAT(answer(), ElementsAre(kAck, yes));
    EXPECT_EQ(machine.Carrier().State().isSdCardMounted, true);
}

TEST_F(CarrierCommandsTest, APowerFailIsAnnouncedAndThenAcknowledged) {
    Machine& machine = BootMachine();
    const std::size_t line = machine.Line().Position();
    const auto failed = steady_clock::now();
    machine.Carrier().SendPowerFail();
    EXPECT_EQ(machine.Bus().Await("power_down_status"),
              R"({"isPoweringDown":true,"nameOfCaller":"HAL","reasonForPowerdown":"Carrier indicated a power fail"})");
    EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kAck));
    EXPECT_EQ(machine.Hal().WaitForExit(), 0) << "its own announcement stops it";
    EXPECT_GE(steady_clock::now() - failed, milliseconds(2000));
    EXPECT_TRUE(machine.Log().Has("[info] Powerdown received from HAL - Carrier indicated a power fail."));
    EXPECT_THAT(machine.Files().Shutdowns(), IsEmpty());
}

TEST_F(CarrierCommandsTest, AResetRequestRestartsTheModule) {
    Machine& machine = BootMachine();
    const std::size_t line = machine.Line().Position();
    machine.Carrier().SendReset();
    EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kAck));
    EXPECT_EQ(
        machine.Bus().Await("power_down_status"),
        R"({"isPoweringDown":true,"nameOfCaller":"HAL","reasonForPowerdown":"Received a reset request from Carrier"})");
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    machine.Log().AwaitInOrder({"[warning] Received Reset Command from Carrier. Restarting system...",
                                "[info] Powerdown received from HAL - Received a reset request from Carrier."});
    machine.Files().AwaitShutdown("-r now");
}

}  // namespace
