// A carrier that restarts in the middle of a frame, at any byte of it, and then sends a heartbeat, as after power-on.
// Frames have no end mark and the process no time limit for them: the bytes that come next are taken for the rest.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using simulator::ScriptedFault;
using testing::ElementsAre;
using What = simulator::ScriptedFault::What;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kNackHeaderCrc = "0A 00 01 00 39 A8 01 E1 F1";
constexpr const char* kNackPayloadCrc = "0A 00 01 00 39 A8 02 D3 6A";
constexpr std::size_t kHeader = 6;
constexpr std::size_t kHeartbeat = 14;  // bytes
constexpr simulator::Milliseconds kRestart{5};

class CutFramesTest : public EndToEndTest {
protected:
    static MachineOptions Options() {
        MachineOptions options;
        options.carrier.restartTime = kRestart;
        return options;
    }

    // The carrier sends the first bytes of the frame, restarts and is back with a heartbeat.
    static void CutAndRestart(Machine& machine, const simulator::Bytes& frame, std::size_t bytes) {
        simulator::Carrier& carrier = machine.Carrier();
        const std::size_t sent = carrier.SentCount();
        carrier.SendRaw({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(bytes)});
        ASSERT_TRUE(carrier.WaitForSent([](const auto& /*record*/) { return true; }, kPatience, sent));
        carrier.Restart();
        AwaitHeartbeatSent(carrier, sent + 1);
    }

    static void AwaitHeartbeatSent(simulator::Carrier& carrier, std::size_t from) {
        ASSERT_TRUE(carrier.WaitForSent(
            [](const auto& record) { return record.IsCommand(simulator::command::kCarrierAlive); }, kPatience, from));
    }
};

TEST_F(CutFramesTest, CostOneNackAndTheHeartbeatsThatFillThemUp) {
    Machine& machine = GreetedMachine(Options());
    const std::string text = "twenty bytes of error";
    const simulator::Bytes error = simulator::EncodeFrame(simulator::command::kErrorMessage, text);
    ASSERT_EQ(error.size(), kHeader + 21 + 2);
    for (std::size_t cut = 1; cut < error.size(); ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes");
        const std::size_t line = machine.Line().Position();
        const std::size_t missing = cut < kHeader ? kHeader - cut : error.size() - cut;
        ASSERT_NO_FATAL_FAILURE(CutAndRestart(machine, error, cut));
        for (std::size_t filled = kHeartbeat; filled < missing; filled += kHeartbeat) {
            const std::size_t sent = machine.Carrier().SentCount();
            machine.Carrier().SendHeartbeat();
            ASSERT_NO_FATAL_FAILURE(AwaitHeartbeatSent(machine.Carrier(), sent));
        }
        const char* const nack = cut < kHeader ? kNackHeaderCrc : kNackPayloadCrc;
        EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(nack));
        machine.Carrier().SendHeartbeat();
        EXPECT_THAT(machine.Line().AwaitFrames(2, line), ElementsAre(nack, kAck));
    }
    machine.FlushLine();
    EXPECT_EQ(machine.Carrier().State().restarts, error.size() - 1);
    EXPECT_FALSE(machine.Files().Exists("/Veltrix/log/Carrier.log")) << "none of them was whole";
    EXPECT_EQ(machine.Log().Count("[warning] Header CRC received {} != {} expected"), kHeader - 1);
    EXPECT_EQ(machine.Log().Count("[warning] Payload CRC received {} != {} expected"), 21U + 2);
}

// What is there of the first Ack takes the second one with it, and only the third one is an answer.
TEST_F(CutFramesTest, InPlaceOfAnAnswerCostTheNextAnswerToo) {
    Machine& machine = GreetedMachine(Options());
    for (std::uint8_t cut = 1; cut < kHeader; ++cut) {
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes");
        ScriptedFault fault;
        fault.what = What::Cut;
        fault.code = cut;
        machine.Carrier().Faults().Script(fault);
        const std::size_t line = machine.Line().Position();
        const std::size_t log = machine.Log().Position();
        machine.Bus().Publish("led_settings", R"({"cloudGreenLed":)" + std::to_string(cut) + "}");
        machine.FlushBus();
        machine.Line().AwaitFrames(3, line);
        machine.FlushLine();
        const simulator::Bytes settings = {cut, 0, 0, 0, 0, 0, 0, 0, 0};
        const std::string frame =
            simulator::HexText(simulator::EncodeFrame(simulator::command::kSetStrovanelLedSettings, settings));
        EXPECT_EQ(machine.Line().Count(frame, line), 3U);
        EXPECT_EQ(machine.Log().Count("[warning] Header CRC received {} != {} expected", log), 1U);
        EXPECT_EQ(machine.Carrier().State().ledSettings, settings);
    }
}

}  // namespace
