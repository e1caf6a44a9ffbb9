// The broker goes away and comes back: nothing in the process has to notice, and the carrier is served meanwhile.
#include <csignal>

#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";

class BrokerTest : public EndToEndTest {};

TEST_F(BrokerTest, KilledAndStartedAgainItIsFoundAgain) {
    Machine& machine = GreetedMachine();
    machine.BusBroker().Kill();
    machine.FlushLine();
    machine.BusBroker().Start();
    machine.ReconnectBus();
    // Its "hal_status" shows that it is back; it comes every five seconds.
    machine.Bus().Await("hal_status");
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.Line().AwaitFrame(kEthernetUp);
    machine.Bus().Publish("req_hal_info", "{}");
    EXPECT_EQ(machine.Bus().Await("hal_info"),
              R"({"serialNumber":"SN-0042","machineType":"Strovanel 9","revisionNumber":7})");
    machine.FlushBus();
}

TEST_F(BrokerTest, ACarrierIsAnsweredWhileTheBrokerIsAway) {
    Machine& machine = BootMachine();
    machine.BusBroker().Kill();
    machine.Carrier().SendHeartbeat();
    machine.Out().Await("published info");
    machine.Log().AwaitInOrder({"[warning] Could not publish device_settings on /var/veltrix.unix. Connection refused",
                                "[warning] Could not publish carrier_info on /var/veltrix.unix. Connection refused"});
    machine.FlushLine();

    const std::size_t line = machine.Line().Position();
    machine.Carrier().SendPowerFail();
    machine.Line().AwaitFrame(kAck, line);
    machine.Log().Await("[warning] Could not publish power_down_status on /var/veltrix.unix. Connection refused");
    machine.Carrier().SendReset();
    machine.Line().AwaitFrame(kAck, line, 2);
    machine.Files().AwaitShutdown("-r now");
    machine.Carrier().SendError("E42");
    machine.Line().AwaitFrame(kAck, line, 3);
    machine.FlushLine();
}

}  // namespace
