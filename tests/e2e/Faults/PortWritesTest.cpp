// Writes to the UART of which the system takes a part, or nothing: the link makes good for what is lost.
#include "tests/e2e/Faults/TroubledMachineTest.h"
#include "tests/support/WaitUntil.h"

namespace {

using testing::ElementsAre;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kHalfOfEthernetUp = "0A 1A 00";
constexpr const char* kEthernetOn = R"({"ethernetIsUp":true})";
constexpr const char* kTimedOut = "[info] WaitForResponseToCommand() Timed out after {}";
constexpr const char* kAttemptTimedOut = "HAL Sent packet: 0x1a, carrier return code: 2";

class PortWritesTest : public TroubledMachineTest {
protected:
    static std::vector<std::string> SwitchEthernetOn(Machine& machine) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("system_led_status", kEthernetOn);
        machine.FlushBus();
        return machine.Line().Frames(line);
    }

    static MachineOptions CarrierThatComplainsAboutNothing() {
        MachineOptions options;
        options.carrier.areDamagedFramesNacked = false;
        return options;
    }
};

TEST_F(PortWritesTest, RefusedOnceTheFrameIsSentWithTheNextAttempt) {
    Machine& machine = BootTroubledMachine();
    mFaults.RefuseWrites(1);
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp));
    EXPECT_EQ(mFaults.Hits(), 1);
    EXPECT_EQ(machine.Log().Count(kTimedOut), 1U);
    machine.Out().AwaitInOrder({kAttemptTimedOut, "2 retry attempts remaining"});
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
    machine.FlushLine();
}

TEST_F(PortWritesTest, RefusedThreeTimesTheCommandFailsAndTheNextStatusRepeatsIt) {
    Machine& machine = BootTroubledMachine();
    mFaults.RefuseWrites(3);
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre());
    EXPECT_EQ(mFaults.Hits(), 3);
    EXPECT_EQ(machine.Log().Count(kTimedOut), 3U);
    EXPECT_FALSE(machine.Carrier().State().leds.isEthernetOn);
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kEthernetUp));
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
    machine.FlushLine();
}

TEST_F(PortWritesTest, AHeartbeatsAckThatIsRefusedIsMissedByTheCarrierAlone) {
    Machine& machine = BootTroubledMachine();
    machine.Greet();
    mFaults.RefuseWrites(1);
    const std::size_t line = machine.Line().Position();
    const std::uint64_t heartbeat = machine.Carrier().SendHeartbeat();
    ASSERT_TRUE(WaitUntil([this] { return mFaults.Hits() == 1; }));
    const auto lost = machine.Carrier().WaitForOutcome(heartbeat, kPatience);
    ASSERT_TRUE(lost.has_value());
    EXPECT_EQ(lost->state, simulator::OwnCommand::State::Unanswered);
    EXPECT_EQ(mFaults.Hits(), 1);
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre());
    machine.Carrier().SetOwnCommandPolicy({.answerTime = kPatience});
    const auto next = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), kPatience);
    ASSERT_TRUE(next.has_value());
    EXPECT_EQ(next->state, simulator::OwnCommand::State::Acked);
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kAck));
}

TEST_F(PortWritesTest, ShortOnesLeaveHalfAFrameAndAreRepeatedWhole) {
    Machine& machine = BootTroubledMachine(CarrierThatComplainsAboutNothing());
    mFaults.ShortenWrites(1);
    EXPECT_THAT(SwitchEthernetOn(machine), ElementsAre(kHalfOfEthernetUp, kEthernetUp));
    EXPECT_EQ(mFaults.Hits(), 1);
    EXPECT_EQ(machine.Log().Count(kTimedOut), 1U);
    machine.Out().AwaitInOrder({kAttemptTimedOut, "2 retry attempts remaining"});
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
    machine.FlushLine();
}

TEST_F(PortWritesTest, ShortOnesThreeTimesAreAFailedCommand) {
    Machine& machine = BootTroubledMachine(CarrierThatComplainsAboutNothing());
    mFaults.ShortenWrites(3);
    SwitchEthernetOn(machine);
    EXPECT_EQ(mFaults.Hits(), 3);
    EXPECT_FALSE(machine.Carrier().State().leds.isEthernetOn);
    EXPECT_EQ(machine.Line().Count(kEthernetUp), 0U);
    // What is left of the last half ends with the carrier's patience within a frame.
    machine.FlushLine();
    const std::size_t line = machine.Line().Position();
    SwitchEthernetOn(machine);
    EXPECT_GE(machine.Line().Count(kEthernetUp, line), 1U);
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
}

}  // namespace
