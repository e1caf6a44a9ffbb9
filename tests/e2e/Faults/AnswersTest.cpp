// The carrier's answers to one command, each gone wrong in its way: what is sent again, what is said, what goes on.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using simulator::ScriptedFault;
using testing::ElementsAre;
using What = simulator::ScriptedFault::What;
using Lines = std::vector<std::string>;

constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kWifiUp = "0A 1D 00 00 5A 9A";
constexpr const char* kGetBootloader = "0A 07 00 00 AC 75";
constexpr const char* kEthernetOn = R"({"ethernetIsUp":true})";
constexpr const char* kEthernetAndWifiOn = R"({"ethernetIsUp":true,"wifiIsUp":true})";
constexpr const char* kTimedOut = "[info] WaitForResponseToCommand() Timed out after {}";
constexpr const char* kUnexpectedAck = "[warning] Received Ack but not expecting one";
constexpr const char* kAttemptTimedOut = "HAL Sent packet: 0x1a, carrier return code: 2";

class AnswersTest : public EndToEndTest {
protected:
    static ScriptedFault FaultOf(std::uint8_t command, What what) {
        ScriptedFault fault;
        fault.command = command;
        fault.what = what;
        return fault;
    }

    static ScriptedFault EthernetFault(What what) { return FaultOf(simulator::command::kEthernetUp, what); }

    // A command that succeeds; returns what it put on the line.
    static Lines SwitchEthernetOn(Machine& machine) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("system_led_status", kEthernetOn);
        machine.FlushBus();
        return machine.Line().Frames(line);
    }

    // The carrier has taken the command before, and both directions work: the next one is sent once.
    static void ExpectThatItWorks(Machine& machine) {
        EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("system_led_status", kEthernetAndWifiOn);
        machine.FlushBus();
        EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kWifiUp));
        EXPECT_TRUE(machine.Carrier().State().leds.isWifiOn);
        machine.FlushLine();
    }
};

TEST_F(AnswersTest, AnAckThatIsLostCostsOneRepetition) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(EthernetFault(What::Drop));
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp, kEthernetUp));
    machine.Out().AwaitInOrder({"WaitForResponseToCommand() timed out after {} timeout var: 200", kAttemptTimedOut,
                                "2 retry attempts remaining"});
    EXPECT_EQ(machine.Log().Count(kTimedOut), 1U);
    ExpectThatItWorks(machine);
    EXPECT_EQ(machine.Log().Count(kUnexpectedAck), 0U);
}

TEST_F(AnswersTest, AnAckThatIsLateByOneTimeOutIsReportedAsUnexpected) {
    Machine& machine = BootMachine();
    ScriptedFault late = EthernetFault(What::Late);
    late.delay = simulator::Milliseconds(400);
    machine.Carrier().Faults().Script(late);
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp, kEthernetUp));
    machine.Log().AwaitInOrder({kTimedOut, kUnexpectedAck});
    machine.Out().AwaitInOrder({kAttemptTimedOut, "2 retry attempts remaining", "Received Ack but not expecting one"});
    ExpectThatItWorks(machine);
}

TEST_F(AnswersTest, AnAckThatComesTwiceIsReportedOnce) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(EthernetFault(What::Duplicate));
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp));
    machine.Log().Await(kUnexpectedAck);
    ExpectThatItWorks(machine);
    EXPECT_EQ(machine.Log().Count(kUnexpectedAck), 1U);
    EXPECT_EQ(machine.Log().Count(kTimedOut), 0U);
}

TEST_F(AnswersTest, AnAckThatIsDamagedIsNoAnswer) {
    Machine& machine = BootMachine();
    machine.Carrier().Faults().Script(EthernetFault(What::Corrupt));
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp, kEthernetUp))
        << "during a wait a damaged frame is not answered with a Nack";
    machine.Log().AwaitInOrder({"[warning] Header CRC received {} != {} expected", kTimedOut});
    machine.Out().AwaitInOrder({kAttemptTimedOut, "2 retry attempts remaining"});
    ExpectThatItWorks(machine);
}

// Acks carry no name: one that was meant for a command is told from the answer to a question by its lack of a payload.
TEST_F(AnswersTest, AnAckForAnotherCommandIsNoAnswerToAQuestion) {
    Machine& machine = BootMachine();
    ScriptedFault empty = FaultOf(simulator::command::kGetBootloaderVersion, What::OtherCommand);
    empty.code = simulator::command::kAck;
    empty.count = 3;
    machine.Carrier().Faults().Script(empty);
    machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("carrier_info"), R"({"appVersion":"531726R","HALVersion":8})");
    EXPECT_EQ(machine.Line().Count(kGetBootloader), 3U);
    machine.Out().AwaitInOrder({"0x1 received after {}ms", "0x1 received after {}ms", "0x1 received after {}ms",
                                "Failed to get carrier bootloader version"});
    EXPECT_EQ(machine.Log().Count("[warning] Failed to get carrier bootloader version"), 1U);
    EXPECT_EQ(machine.Log().Count("[warning] Failed to get {}"), 1U) << "the questions behind it are answered";
    machine.FlushLine();
}

class NacksTest : public AnswersTest, public testing::WithParamInterface<unsigned int> {};

// 14 is final, all others are tried again; none is remembered as a success.
TEST_P(NacksTest, AreTriedAgainAsTheirCodeAsksFor) {
    const unsigned int code = GetParam();
    const bool isFinal = code == 14;
    const std::string result = isFinal ? "3" : code == 16 ? "6" : "4";
    Machine& machine = BootMachine();
    ScriptedFault refuse = EthernetFault(What::Nack);
    refuse.code = static_cast<std::uint8_t>(code);
    refuse.count = 0;
    machine.Carrier().Faults().Script(refuse);
    const std::size_t log = machine.Log().Position();
    EXPECT_THAT(SwitchEthernetOn(machine), testing::ElementsAreArray(Lines(isFinal ? 1 : 3, kEthernetUp)));

    Lines said = machine.Log().Lines();
    said.erase(said.begin(), said.begin() + static_cast<std::ptrdiff_t>(log));
    EXPECT_EQ(said, Lines(isFinal ? 1 : 3, "[info] Nack received - 0d" + std::to_string(code)));
    const std::string refused = "HAL Sent packet: 0x1a, carrier return code: " + result;
    machine.Out().AwaitInOrder(
        isFinal ? Lines{"Nack received - 0xe", refused}
                : Lines{refused, "2 retry attempts remaining", refused, "1 retry attempts remaining", refused});

    EXPECT_FALSE(machine.Carrier().State().leds.isEthernetOn);
    machine.Carrier().Faults().Clear();
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp)) << "the same status again, since it failed";
    ExpectThatItWorks(machine);
}

// Every code that the link knows, and two that it does not.
INSTANTIATE_TEST_SUITE_P(AnswersTest, NacksTest,
                         testing::Values(0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 14U, 15U, 16U, 17U,
                                         255U),
                         testing::PrintToStringParamName());

}  // namespace
