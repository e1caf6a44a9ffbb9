// LED states and LED brightness, from the bus to the line.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kEthernetDown = "0A 1B 00 00 8C 43";
constexpr const char* kWifiUp = "0A 1D 00 00 5A 9A";
constexpr const char* kWifiDown = "0A 1E 00 00 B5 FE";
constexpr const char* kOperatorUp = "0A 17 00 00 29 E0";
constexpr const char* kOperatorDown = "0A 18 00 00 63 27";
constexpr const char* kInternetQuery = "0A 20 00 00 23 4B";
constexpr const char* kInternetUp = "0A 21 00 00 79 97";
constexpr const char* kInternetDown = "0A 22 00 00 96 F3";
constexpr const char* kUsbBusy = "0A 24 01 00 59 F2 01 E1 F1";
constexpr const char* kUsbIdle = "0A 24 01 00 59 F2 00 F0 78";

constexpr const char* kAllOn =
    R"({"ethernetIsUp":true,"wifiIsUp":true,"operatorIsUp":true,"internetIsUp":true,"internetQueried":true,)"
    R"("isAccessingUSB":true,"doNotSendToCarrier":false})";
constexpr const char* kAllOff =
    R"({"ethernetIsUp":false,"wifiIsUp":false,"operatorIsUp":false,"internetIsUp":false,"internetQueried":false,)"
    R"("isAccessingUSB":false,"doNotSendToCarrier":false})";
constexpr const char* kOnlyForTheModule =
    R"({"ethernetIsUp":true,"wifiIsUp":false,"operatorIsUp":true,"internetIsUp":false,"internetQueried":true,)"
    R"("isAccessingUSB":false,"doNotSendToCarrier":true})";

class LedTopicsTest : public EndToEndTest {
protected:
    // The frames that the message leads to.
    static std::vector<std::string> FramesAfter(Machine& machine, const std::string& topic,
                                                const std::string& payload) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish(topic, payload);
        machine.FlushBus();
        return machine.Line().Frames(line);
    }
};

TEST_F(LedTopicsTest, StatesAreSentInOrderAndOnlyWhenTheyChange) {
    Machine& machine = BootMachine();
    const char* const topic = "system_led_status";
    EXPECT_THAT(FramesAfter(machine, topic, kAllOn),
                ElementsAre(kEthernetUp, kWifiUp, kOperatorUp, kInternetQuery, kInternetUp, kUsbBusy));
    simulator::LedStates leds = machine.Carrier().State().leds;
    EXPECT_TRUE(leds.isEthernetOn && leds.isWifiOn && leds.isOperatorOn && leds.isInternetOn && leds.isUsbActive);

    EXPECT_THAT(FramesAfter(machine, topic, kAllOn), ElementsAre(kInternetQuery, kInternetUp))
        << "a query is never left out, and makes the internet LED's state unknown";
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff),
                ElementsAre(kEthernetDown, kWifiDown, kOperatorDown, kInternetDown, kUsbIdle));
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff), IsEmpty());
    EXPECT_THAT(FramesAfter(machine, topic, ""), IsEmpty()) << "an empty message is all off";
    EXPECT_THAT(FramesAfter(machine, topic, R"({"wifiIsUp":true})"), ElementsAre(kWifiUp));
    leds = machine.Carrier().State().leds;
    EXPECT_TRUE(leds.isWifiOn);
    EXPECT_FALSE(leds.isEthernetOn || leds.isOperatorOn || leds.isInternetOn || leds.isUsbActive);
}

TEST_F(LedTopicsTest, AHeartbeatSendsTheNextStatesWhateverWasRemembered) {
    Machine& machine = GreetedMachine();
    const char* const topic = "system_led_status";
    const auto allOff = ElementsAre(kEthernetDown, kWifiDown, kOperatorDown, kInternetDown, kUsbIdle);
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff), allOff);
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff), IsEmpty()) << "once per heartbeat";
    machine.Carrier().SendHeartbeat();
    machine.FlushLine();
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff), allOff);
}

TEST_F(LedTopicsTest, StatesNotMeantForTheCarrierAreOnlyTaken) {
    Machine& machine = BootMachine();
    const char* const topic = "system_led_status";
    EXPECT_THAT(FramesAfter(machine, topic, kOnlyForTheModule), IsEmpty());
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff),
                ElementsAre(kEthernetDown, kWifiDown, kOperatorDown, kInternetDown, kUsbIdle))
        << "the carrier does not have them, so the next ones are all sent";
    EXPECT_THAT(FramesAfter(machine, topic, kAllOff), IsEmpty());
}

TEST_F(LedTopicsTest, BrightnessGoesOutInFullToACarrierThatKnowsTheOperatorLeds) {
    const std::string all = R"({"cloudGreenLed":1,"cloudYellowLed":2,"wifiGreenLed":3,"wifiYellowLed":4,)"
                            R"("ethernetGreenLed":5,"ethernetYellowLed":6,"usbGreenLed":7,"opIDGreenLed":8,)"
                            R"("opIDYellowLed":9})";
    const char* const seven = "0A 30 07 00 EB D6 01 02 03 04 05 06 07 6D 01";
    const char* const nine = "0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D";
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, "led_settings", all), ElementsAre(seven)) << "nothing is known of the carrier yet";
    machine.Greet(5);
    EXPECT_THAT(FramesAfter(machine, "led_settings", all), ElementsAre(seven));
    machine.Carrier().SendHeartbeat(6, 0);
    machine.FlushLine();
    EXPECT_THAT(FramesAfter(machine, "led_settings", all), ElementsAre(nine));
    machine.Carrier().SendHeartbeat(8, 0);
    machine.FlushLine();
    EXPECT_THAT(FramesAfter(machine, "led_settings", all), ElementsAre(nine));
    EXPECT_THAT(FramesAfter(machine, "led_settings",
                            R"({"cloudGreenLed":-1,"cloudYellowLed":256,"wifiGreenLed":510,"opIDYellowLed":65536})"),
                ElementsAre("0A 30 09 00 71 C6 FF 00 FE 00 00 00 00 00 00 1C A6"))
        << "each number is cut to a byte";
}

}  // namespace
