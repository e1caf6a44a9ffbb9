// More messages than can be handled: what is too much is dropped where it is too much, and the memory stays bounded.
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/e2e/Harness/ResidentMemory.h"
#include "tests/support/BusProbe.h"

namespace {

constexpr int kBurst = 20000;
constexpr const char* kLedFrame = "0A 30 07 00 EB D6 01 02 03 04 05 06 07 6D 01";
constexpr const char* kLedSettings =
    R"({"cloudGreenLed":1,"cloudYellowLed":2,"wifiGreenLed":3,"wifiYellowLed":4,"ethernetGreenLed":5,)"
    R"("ethernetYellowLed":6,"usbGreenLed":7})";
// 10,000 messages wait at most, each well below 1 KiB.
constexpr std::size_t kMostGrowthKiB = 64 * 1024;

class BurstTest : public EndToEndTest {
protected:
    static void SendBurst(const std::string& socket) {
        BusProbe sender(socket);
        for (int i = 0; i < kBurst; ++i) {
            sender.PublishLater("weld_trace_data",
                                R"({"sequence":)" + std::to_string(i) + R"(,"data":{"amps":1.5,"volts":2,"wfs":3}})");
        }
        sender.Publish("weld_trigger_end", R"({"tag":99})");
    }
};

TEST_F(BurstTest, TwentyThousandSamplesWhileTheLinkIsBusyCostNothingElse) {
    MachineOptions options;
    options.arguments = {"-f", "-v", "1"};
    options.isBusQueueUnlimited = true;
    Machine& machine = BootMachine(options);
    simulator::ScriptedFault mute;
    mute.what = simulator::ScriptedFault::What::Ignore;
    mute.command = simulator::command::kSetStrovanelLedSettings;
    mute.count = 0;
    machine.Carrier().Faults().Script(mute);
    // Three attempts of 200 ms for each of these: the handlers wait behind them while the samples come in.
    constexpr int kBefore = 10;
    for (int i = 0; i < kBefore; ++i) {
        machine.Bus().Publish("led_settings", kLedSettings);
    }
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":44})");
    machine.Line().AwaitFrame(kLedFrame);
    const std::size_t before = machine.Hal().ResidentKiB();
    SendBurst(machine.BusBroker().Socket());
    if (kIsResidentMemoryItsOwn) {
        EXPECT_LE(machine.Hal().ResidentKiB(), before + kMostGrowthKiB);
    }

    machine.Bus().Publish("tessimor_settings", R"({"weldEndRequirementMSecs":100})");
    machine.Line().AwaitFrame("0A 31 09 00 2B 1A 00 00 00 00 00 00 00 64 00 B3 D2");
    EXPECT_EQ(machine.Line().Count(kLedFrame), 3U * kBefore);
    EXPECT_EQ(machine.Line().Count("0A 1A 00 00 D6 9F"), 1U);
    EXPECT_TRUE(machine.Log().Has("[info] ArcThreshold set to 44"));
    EXPECT_TRUE(machine.Log().Has("[info] Weld 99 ended.{}"));
    machine.Log().Await("[warning] {} waiting messages on \"weld_trace_data\" dropped: {}");
    EXPECT_FALSE(machine.Log().Has("[warning] {} waiting messages on \"led_settings\" dropped: {}"));
    machine.FlushLine();
    if (kIsResidentMemoryItsOwn) {
        EXPECT_LE(machine.Hal().ResidentKiB(), before + kMostGrowthKiB);
    }
}

TEST_F(BurstTest, SamplesThatCanBeHandledAreAllHandledInOrder) {
    MachineOptions options;
    options.isBusQueueUnlimited = true;
    Machine& machine = BootMachine(options);
    BusProbe sender(machine.BusBroker().Socket());
    std::vector<std::string> expected;
    for (int i = 0; i < 2000; ++i) {
        sender.PublishLater("weld_trace_data", R"({"sequence":)" + std::to_string(i) + "}");
        expected.push_back("Sample: " + std::to_string(i) + ", Voltage: 0, Current: 0, WFS: 0");
    }
    sender.Publish("weld_trace_data", R"({"sequence":-1})");
    machine.Out().Await("Sample: -1, Voltage: 0, Current: 0, WFS: 0");
    machine.Out().AwaitInOrder(expected);
    EXPECT_EQ(machine.Out().Count("Sample: {}"), expected.size() + 1);
}

}  // namespace
