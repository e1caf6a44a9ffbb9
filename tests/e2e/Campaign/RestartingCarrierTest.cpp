// A carrier that restarts while the process sends: in the middle of a frame, after any byte of it, and in the middle of
// an update. Then it is back with a heartbeat, as after power-on, and has forgotten what came before.
#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

namespace command = simulator::command;

using simulator::OwnCommand;
using simulator::ScriptedFault;
using testing::ElementsAre;

constexpr const char* kNackExpectingAck = "0A 00 01 00 39 A8 0B 4E AB";
constexpr const char* kTimedOut = "[info] WaitForResponseToCommand() Timed out after {}";
constexpr const char* kCollision = "[info] Collision!!! Expected Ack but received 0d9";
constexpr std::size_t kLedFrame = 17;  // bytes
constexpr simulator::Milliseconds kRestart{5};
// The start and the apply of an update are waited for 30 s before they are repeated.
constexpr std::chrono::seconds kLongestUpdate{120};

class RestartingCarrierTest : public FirmwareTest {
protected:
    static MachineOptions Options() {
        MachineOptions options = FirmwareTest::Options();
        options.carrier.restartTime = kRestart;
        return options;
    }

    static void RestartIn(Machine& machine, std::uint8_t command, std::size_t bytes, std::size_t skip = 0) {
        ScriptedFault fault;
        fault.where = ScriptedFault::Where::Received;
        fault.what = ScriptedFault::What::Restart;
        fault.command = command;
        fault.code = static_cast<std::uint8_t>(bytes);
        fault.skip = skip;
        machine.Carrier().Faults().Script(fault);
    }

    static std::string Settings(std::size_t number) { return R"({"cloudGreenLed":)" + std::to_string(number) + "}"; }
    static std::string Frame(std::size_t number) {
        const simulator::Bytes payload = {static_cast<std::uint8_t>(number), 0, 0, 0, 0, 0, 0, 0, 0};
        return simulator::HexText(simulator::EncodeFrame(command::kSetStrovanelLedSettings, payload));
    }

    static void ExpectThatItWorks(Machine& machine) {
        const auto heartbeat = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), kPatience);
        ASSERT_TRUE(heartbeat.has_value());
        EXPECT_EQ(heartbeat->state, OwnCommand::State::Acked);
        EXPECT_EQ(heartbeat->timesSent, 1U);
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("led_settings", Settings(0xAA));
        machine.FlushBus();
        EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(Frame(0xAA)));
        EXPECT_TRUE(machine.Hal().IsRunning());
    }
};

TEST_F(RestartingCarrierTest, AfterAnyByteOfAFrameCostsOneRepetition) {
    Machine& machine = GreetedMachine(Options());
    for (std::size_t bytes = 0; bytes < kLedFrame; ++bytes) {
        SCOPED_TRACE("restart after " + std::to_string(bytes) + " bytes");
        const std::size_t line = machine.Line().Position();
        const std::size_t log = machine.Log().Position();
        RestartIn(machine, command::kSetStrovanelLedSettings, bytes);
        machine.Bus().Publish("led_settings", Settings(bytes + 1));
        machine.FlushBus();
        EXPECT_EQ(machine.Carrier().State().restarts, bytes + 1);
        EXPECT_THAT(machine.Line().AwaitFrames(2, line), ElementsAre(kNackExpectingAck, Frame(bytes + 1)));
        EXPECT_EQ(machine.Log().Count(kTimedOut, log), 1U);
        EXPECT_EQ(machine.Log().Count(kCollision, log), 1U);
        EXPECT_EQ(machine.Carrier().State().ledSettings[0], bytes + 1);
        ASSERT_NO_FATAL_FAILURE(ExpectThatItWorks(machine));
    }
    machine.FlushLine();
}

// Where in an update the carrier restarts, and what comes of it.
struct Point {
    const char* name;
    std::uint8_t command;
    std::size_t skip;        // frames with the command before the one that meets the restart
    std::size_t timesHeard;  // frames with the command that the carrier hears in the end
    bool isApplied;
};

void PrintTo(const Point& point, std::ostream* out) {
    *out << point.name;
}

class RestartDuringUpdateTest : public RestartingCarrierTest, public testing::WithParamInterface<Point> {};

// A carrier that has forgotten the file refuses what comes of it, three attempts in all; only the start can be
// repeated.
TEST_P(RestartDuringUpdateTest, CostsAtMostTheUpdate) {
    const Point& point = GetParam();
    Machine& machine = GreetedMachine(FirmwareTest::Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, 5000);
    ASSERT_EQ(Packets(file.bytes).size(), 5U);
    const std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    RestartIn(machine, point.command, 1, point.skip);
    Announce(machine, file);
    AwaitIdle(machine, kLongestUpdate);
    EXPECT_EQ(machine.Log().Count(kTimedOut, log), 1U);
    EXPECT_EQ(machine.Line().Count(kNackExpectingAck, line), 1U) << "its heartbeat";
    EXPECT_EQ(CountCommand(machine, point.command, line), point.timesHeard);
    EXPECT_EQ(machine.Carrier().State().restarts, point.isApplied ? 2U : 1U);
    if (point.isApplied) {
        ExpectApplied(machine, file, 2);
    } else {
        ExpectKept(machine, file);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectThatItWorks(machine));
    ExpectThatUpdatesWork(machine);
    ExpectThatItWorks(machine);
}

INSTANTIATE_TEST_SUITE_P(Restart, RestartDuringUpdateTest,
                         testing::Values(Point{"InTheStart", command::kFileTransferStart, 0, 1, true},
                                         Point{"InTheFirstPacket", command::kFileTransferPacket, 0, 2, false},
                                         Point{"InTheThirdOfFivePackets", command::kFileTransferPacket, 2, 4, false},
                                         Point{"InTheLastPacket", command::kFileTransferPacket, 4, 6, false},
                                         Point{"InTheApply", command::kFileTransferApply, 0, 2, false}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
