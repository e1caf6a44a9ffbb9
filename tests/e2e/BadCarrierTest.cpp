// Carriers that misbehave: the process stays up, says what it met, and works again when the carrier does.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using simulator::ScriptedFault;
using testing::ElementsAre;
using What = simulator::ScriptedFault::What;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kNackHeaderCrc = "0A 00 01 00 39 A8 01 E1 F1";
constexpr const char* kNackPayloadCrc = "0A 00 01 00 39 A8 02 D3 6A";
constexpr const char* kNackPayloadSize = "0A 00 01 00 39 A8 03 C2 E3";
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kWifiUp = "0A 1D 00 00 5A 9A";
constexpr const char* kLedSettings =
    R"({"cloudGreenLed":1,"cloudYellowLed":2,"wifiGreenLed":3,"wifiYellowLed":4,"ethernetGreenLed":5,)"
    R"("ethernetYellowLed":6,"usbGreenLed":7,"opIDGreenLed":8,"opIDYellowLed":9})";
constexpr const char* kLedFrame = "0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D";
constexpr const char* kEthernetOn =
    R"({"ethernetIsUp":true,"wifiIsUp":false,"operatorIsUp":false,"internetIsUp":false,"internetQueried":false,)"
    R"("isAccessingUSB":false,"doNotSendToCarrier":false})";

class BadCarrierTest : public EndToEndTest {
protected:
    // Settings reach the carrier, and one of its own commands reaches the process.
    static void ExpectThatItWorks(Machine& machine) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("led_settings", kLedSettings);
        machine.Line().AwaitFrame(kLedFrame, line);
        machine.FlushBus();
        EXPECT_THAT(machine.Carrier().State().ledSettings, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
        machine.FlushLine();
    }
};

struct AnswerCase {
    const char* name;
    What what;
    std::uint8_t code;
    const char* saidInTheLog;
};

void PrintTo(const AnswerCase& answer, std::ostream* out) {
    *out << answer.name;
}

class BadAnswersTest : public BadCarrierTest, public testing::WithParamInterface<AnswerCase> {};

// From the first heartbeat on every answer of the carrier is bad, later they are good again.
TEST_P(BadAnswersTest, AreSurvivedAndReported) {
    Machine& machine = BootMachine();
    ScriptedFault fault;
    fault.where = ScriptedFault::Where::Answer;
    fault.what = GetParam().what;
    fault.code = GetParam().code;
    fault.count = 0;
    machine.Carrier().Faults().Script(fault);
    machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("carrier_info"), R"({"HALVersion":8})");
    machine.Log().AwaitInOrder({"[warning] Failed to get carrier bootloader version",
                                "[warning] Failed to get carrier app version",
                                "[warning] Failed to get board revision"});
    machine.Log().Await(GetParam().saidInTheLog);
    machine.Bus().Publish("system_led_status", kEthernetOn);
    machine.Line().AwaitFrame(kEthernetUp);
    machine.FlushBus();

    machine.Carrier().Faults().Clear();
    ExpectThatItWorks(machine);
}

INSTANTIATE_TEST_SUITE_P(
    BadCarrierTest, BadAnswersTest,
    testing::Values(AnswerCase{"Nothing", What::Ignore, 0, "[info] WaitForResponseToCommand() Timed out after {}"},
                    AnswerCase{"Nack", What::Nack, simulator::nack::kUnknownCommand, "[info] Nack received - 0d0"},
                    AnswerCase{"Busy", What::Nack, simulator::nack::kBusy, "[info] Nack received - 0d16"},
                    AnswerCase{"Half", What::Half, 0, "[info] WaitForResponseToCommand() Timed out after {}"},
                    AnswerCase{"DamagedBits", What::Corrupt, 0, "[info] WaitForResponseToCommand() Timed out after {}"},
                    AnswerCase{"AnotherCommand", What::OtherCommand, simulator::command::kSampleData,
                               "[info] Collision!!! Expected Ack but received 0d11"}),
    [](const auto& test) { return test.param.name; });

TEST_F(BadCarrierTest, AMuteOneIsAskedThreeTimes) {
    Machine& machine = GreetedMachine();
    machine.Bus().Publish("system_led_status", "{}");
    machine.FlushBus();
    ScriptedFault mute;
    mute.what = What::Ignore;
    mute.count = 0;
    machine.Carrier().Faults().Script(mute);
    const std::size_t line = machine.Line().Position();
    machine.Bus().Publish("system_led_status", kEthernetOn);
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kEthernetUp, kEthernetUp, kEthernetUp));
    machine.Out().AwaitInOrder({"WaitForResponseToCommand() timed out after {} timeout var: 200",
                                "HAL Sent packet: 0x1a, carrier return code: 2", "2 retry attempts remaining",
                                "HAL Sent packet: 0x1a, carrier return code: 2", "1 retry attempts remaining",
                                "HAL Sent packet: 0x1a, carrier return code: 2"});
    machine.Log().Await("[info] WaitForResponseToCommand() Timed out after {}", 0, 3);
    // The first period may have begun before the silence.
    machine.Bus().Await("hal_status", machine.Bus().Position());
    EXPECT_EQ(machine.Bus().Await("hal_status", machine.Bus().Position()), R"({"ready":false})");
}

TEST_F(BadCarrierTest, OneByteAtATimeIsStillAFrame) {
    Machine& machine = BootMachine();
    ScriptedFault slow;
    slow.what = What::ByteByByte;
    slow.count = 0;
    slow.delay = simulator::Milliseconds(2);
    for (const auto where : {ScriptedFault::Where::Answer, ScriptedFault::Where::Sent}) {
        slow.where = where;
        machine.Carrier().Faults().Script(slow);
    }
    machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("carrier_info"),
              R"({"appVersion":"531726R","bootloaderVersion":"531725C","HALVersion":8})");
    ExpectThatItWorks(machine);
    EXPECT_EQ(machine.Line().Count(kLedFrame), 1U) << "no second attempt";
    EXPECT_EQ(machine.Line().Count(kNackHeaderCrc), 0U);
}

TEST_F(BadCarrierTest, ReceptionErrorsAreAnsweredWithTheirReason) {
    Machine& machine = GreetedMachine();
    std::size_t line = machine.Line().Position();
    machine.Carrier().SendRaw({0x0A, 0x01, 0x00, 0x00, 0x00, 0x00});
    EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kNackHeaderCrc));
    machine.Log().Await("[warning] Header CRC received 0 != 44154 expected");
    EXPECT_TRUE(machine.Out().Has("Header CRC received 0 != 44154 expected"));

    line = machine.Line().Position();
    machine.Carrier().SendRaw({0x0A, 0x28, 0x03, 0x00, 0xCF, 0xE1, 0x01, 0x02, 0x03, 0x00, 0x00});
    EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kNackPayloadCrc));
    machine.Log().Await("[warning] Payload CRC received 0 != 15261 expected");

    line = machine.Line().Position();
    machine.Carrier().SendRaw({0x0A, 0x09, 0xF9, 0xFF, 0x18, 0x06});
    EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kNackPayloadSize));
    ExpectThatItWorks(machine);
}

TEST_F(BadCarrierTest, NoiseBetweenFramesIsPassedOver) {
    Machine& machine = BootMachine();
    simulator::Bytes noise(5000, 0x55);
    machine.Carrier().SendRaw(noise);
    machine.Carrier().SendHeartbeat();
    machine.Bus().Await("carrier_info");
    machine.Carrier().SendRaw(noise);
    machine.FlushLine();
    machine.Carrier().SendRaw(noise);
    ExpectThatItWorks(machine);
    EXPECT_EQ(machine.Line().Count(kNackHeaderCrc), 0U) << "noise without a start byte is no frame";
}

TEST_F(BadCarrierTest, RandomBytesEndWithTheNextGoodFrames) {
    Machine& machine = BootMachine();
    simulator::Bytes garbage;
    std::uint32_t state = 12345;
    for (int i = 0; i < 20000; ++i) {
        state = state * 1664525U + 1013904223U;
        garbage.push_back(static_cast<std::uint8_t>(state >> 24U));
    }
    machine.Carrier().SendRaw(garbage);
    // A header among the garbage cannot be good by chance for long; what is left of a frame ends with a few of these.
    for (int i = 0; i < 4; ++i) {
        machine.Carrier().SendHeartbeat();
    }
    machine.Bus().Await("carrier_info");
    machine.Log().Await("[warning] Header CRC received {} != {} expected");
    ExpectThatItWorks(machine);
}

TEST_F(BadCarrierTest, AHeaderWithoutItsPayloadSwallowsNoMoreThanItAnnounced) {
    Machine& machine = GreetedMachine();
    // 40 bytes are announced and never come; the frames behind are taken for them.
    machine.Carrier().SendRaw(simulator::EncodeHeader(simulator::command::kCommsTest, 40));
    for (int i = 0; i < 3; ++i) {
        machine.Carrier().SendHeartbeat();
    }
    machine.Log().Await("[warning] Payload CRC received {} != {} expected");
    machine.Line().AwaitFrame(kNackPayloadCrc);
    ExpectThatItWorks(machine);
}

TEST_F(BadCarrierTest, ALineThatIsCutLeavesTheProcessToTheRestOfTheMachine) {
    Machine& machine = GreetedMachine();
    machine.Carrier().Stop();
    machine.Bus().Publish("led_settings", "{}");
    machine.FlushBus();
    machine.Out().Await("HAL Sent packet: 0x30, carrier return code: 2", 0, 3);
    machine.Log().Await("[info] WaitForResponseToCommand() Timed out after {}", 0, 3);
    machine.Bus().AwaitPayload("hal_status", R"({"ready":false})");
    machine.FlushBus();
}

TEST_F(BadCarrierTest, AnswersThatNobodyWaitsForAreReported) {
    Machine& machine = GreetedMachine();
    machine.Carrier().Send(simulator::command::kAck);
    machine.Carrier().SendNack(simulator::nack::kBusy);
    machine.FlushLine();
    machine.Log().AwaitInOrder(
        {"[warning] Received Ack but not expecting one", "[warning] Received Nack but not expecting one"});
    machine.Out().AwaitInOrder({"Received Ack but not expecting one", "Received Nack but not expecting one"});
}

TEST_F(BadCarrierTest, AnUpdateThatFailedIsSentAgainWithTheNextStatus) {
    Machine& machine = GreetedMachine();
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.FlushBus();
    std::size_t line = machine.Line().Position();
    ScriptedFault refuse;
    refuse.what = What::Nack;
    refuse.code = simulator::nack::kCommandFailed;
    refuse.command = simulator::command::kWifiUp;
    refuse.count = 3;
    machine.Carrier().Faults().Script(refuse);
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true,"wifiIsUp":true})");
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kWifiUp, kWifiUp, kWifiUp));
    machine.Out().AwaitInOrder({"HAL Sent packet: 0x1d, carrier return code: 4", "2 retry attempts remaining",
                                "HAL Sent packet: 0x1d, carrier return code: 4", "1 retry attempts remaining"});
    line = machine.Line().Position();
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true,"wifiIsUp":true})");
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kWifiUp));
    EXPECT_TRUE(machine.Carrier().State().leds.isWifiOn);
}

TEST_F(BadCarrierTest, AHeartbeatInPlaceOfAnAnswerIsACollision) {
    Machine& machine = GreetedMachine();
    ScriptedFault drop;
    drop.what = What::OtherCommand;
    drop.code = simulator::command::kCarrierAlive;
    drop.command = simulator::command::kEthernetUp;
    machine.Carrier().Faults().Script(drop);
    const std::size_t line = machine.Line().Position();
    machine.Bus().Publish("system_led_status", kEthernetOn);
    machine.FlushBus();
    machine.Out().AwaitInOrder(
        {"Rx heartbeat/alive while waiting for ack", "Collision!!! Expected Ack but received 0x9"});
    EXPECT_TRUE(machine.Log().Has("[info] Collision!!! Expected Ack but received 0d9"));
    const std::vector<std::string> frames = machine.Line().Frames(line);
    ASSERT_GE(frames.size(), 3U);
    EXPECT_EQ(frames[0], kEthernetUp);
    EXPECT_EQ(frames[1], "0A 00 01 00 39 A8 0B 4E AB");
    EXPECT_EQ(frames[2], kEthernetUp);
    EXPECT_EQ(machine.Line().Count(kAck, line), 0U) << "a heartbeat seen by a wait is not acknowledged";
}

}  // namespace
