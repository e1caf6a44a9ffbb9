// A carrier that restarts under the process's hands.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using testing::ElementsAre;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kOperatorDown = "0A 18 00 00 63 27";
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kWifiDown = "0A 1E 00 00 B5 FE";
constexpr const char* kInternetDown = "0A 22 00 00 96 F3";
constexpr const char* kUsbIdle = "0A 24 01 00 59 F2 00 F0 78";
constexpr const char* kEthernetOn = R"({"ethernetIsUp":true})";

class RebootTest : public EndToEndTest {};

TEST_F(RebootTest, DuringACommandCostsTheCommandAndTheNextStatusGoesOutWhole) {
    Machine& machine = GreetedMachine();
    machine.Bus().Publish("system_led_status", "{}");
    machine.FlushBus();
    machine.FlushLine();  // no Ack is left that came too late for its own command
    // Longer than three attempts take, however busy the computer is.
    machine.Carrier().Restart(std::chrono::minutes(10));
    std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    machine.Bus().Publish("system_led_status", kEthernetOn);
    machine.FlushBus();
    EXPECT_EQ(machine.Log().Count("[info] WaitForResponseToCommand() Timed out after {}", log), 3U);
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kEthernetUp, kEthernetUp, kEthernetUp));
    EXPECT_FALSE(machine.Carrier().State().leds.isEthernetOn) << "it hears nothing";

    // Back at once; its first heartbeat comes of its own accord.
    machine.Carrier().Restart(std::chrono::milliseconds(1));
    machine.Line().AwaitFrame(kAck, line);
    machine.FlushLine();
    EXPECT_EQ(machine.Bus().Count("carrier_info"), 1U) << "it is not asked again";
    line = machine.Line().Position();
    machine.Bus().Publish("system_led_status", kEthernetOn);
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(line),
                ElementsAre(kEthernetUp, kWifiDown, kOperatorDown, kInternetDown, kUsbIdle));
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
}

}  // namespace
