// Reads from the UART that fail, as those of a device that is in trouble and not gone: of a line that is hung up they
// give no bytes, here they give an error.
#include "tests/e2e/Faults/CampaignTest.h"
#include "tests/e2e/Faults/TroubledMachineTest.h"

namespace {

using testing::ElementsAre;

constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kUnexpectedAck = "[warning] Received Ack but not expecting one";
constexpr const char* kTimedOut = "[info] WaitForResponseToCommand() Timed out after {}";

class PortReadsTest : public TroubledMachineTestOf<CampaignTest> {};

TEST_F(PortReadsTest, ThatFailAreSilenceAndNothingIsLostInThePort) {
    Machine& machine = BootTroubledMachine();
    mFaults.FailReads(true);
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(), ElementsAre(kEthernetUp, kEthernetUp, kEthernetUp));
    EXPECT_EQ(machine.Log().Count(kTimedOut), 3U);
    machine.Out().Await("HAL Sent packet: 0x1a, carrier return code: 2", 0, 3);
    EXPECT_GE(mFaults.Hits(), 3) << "each wait has read";
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn) << "what is written arrives";
    const auto heartbeat = machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("hal_status", machine.Bus().Position()), R"({"ready":false})");
    EXPECT_EQ(machine.Line().Count(kAck), 0U);
    EXPECT_EQ(machine.Log().Count(kUnexpectedAck), 0U);

    // The three Acks and the heartbeat wait in the port.
    mFaults.FailReads(false);
    machine.Log().Await(kUnexpectedAck, 0, 3);
    machine.Line().AwaitFrame(kAck);
    machine.Bus().Await("carrier_info");
    machine.FlushLine();
    EXPECT_EQ(machine.Log().Count(kUnexpectedAck), 3U);
    ASSERT_TRUE(machine.Carrier().WaitForOutcome(heartbeat, kPatience).has_value());
    ExpectBusToWork(machine);
    ExpectToStop(machine);
}

TEST_F(PortReadsTest, ThatFailToTheEndDoNotKeepItFromStopping) {
    Machine& machine = BootTroubledMachine();
    mFaults.FailReads(true);
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.Line().AwaitFrame(kEthernetUp);
    EXPECT_TRUE(WaitUntil([&] { return mFaults.Hits() > 0; }, kPatience));
    ExpectToStop(machine);
}

}  // namespace
