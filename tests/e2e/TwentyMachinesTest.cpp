// Machines side by side do not touch each other, nor the computer that they run on.
#include <filesystem>

#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

namespace {

// All their carriers are in this process: sanitized, twenty would not answer within the link's 200 ms on two cores.
constexpr std::size_t kMachines = VELTRIX_IS_SANITIZED ? 8 : 20;
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
// What a machine that ran without its folder would leave behind, or use, on this computer.
constexpr const char* kRealPaths[] = {"/Veltrix", "/var/veltrix.unix", "/dev/ttymxc3", "/run/media"};

std::vector<std::string> RealState() {
    std::vector<std::string> state;
    for (const char* const path : kRealPaths) {
        std::error_code error;
        const auto time = std::filesystem::last_write_time(path, error);
        state.push_back(std::string(path) + " " + (error ? "none" : std::to_string(time.time_since_epoch().count())));
    }
    return state;
}

class TwentyMachinesTest : public EndToEndTest {
protected:
    Machine& Add(std::size_t number) {
        const std::string name = std::to_string(number);
        MachineOptions options;
        options.identity = R"({"serialNumber":"SN-)" + name + R"(","machineType":"T","revisionNumber":1})";
        options.carrier.identity.appVersion = "app-" + name;
        options.carrier.identity.battery = static_cast<float>(number);
        return NewMachine(options);
    }

    static void CheckStart(Machine& machine, std::size_t number) {
        const std::string name = std::to_string(number);
        machine.Carrier().SendHeartbeat();
        EXPECT_EQ(machine.Bus().Await("carrier_info"),
                  R"({"appVersion":"app-)" + name + R"(","bootloaderVersion":"531725C","HALVersion":8})");
        machine.Bus().AwaitPayload("device_settings", R"({"batteryVoltage":)" + name + R"(,"timestamp":"{}"})");
        EXPECT_EQ(
            machine.Bus().Payloads("hal_info"),
            std::vector<std::string>{R"({"serialNumber":"SN-)" + name + R"(","machineType":"T","revisionNumber":1})"});
        EXPECT_EQ(machine.Bus().Count("process_ready"), 1U);
    }
};

TEST_F(TwentyMachinesTest, StayApart) {
    const std::vector<std::string> before = RealState();
    std::vector<Machine*> machines;
    for (std::size_t i = 0; i < kMachines; ++i) {
        machines.push_back(&Add(i));
    }
    for (Machine* const machine : machines) {
        machine->Start();
    }
    for (Machine* const machine : machines) {
        machine->AwaitReady();
    }
    for (std::size_t i = 0; i < kMachines; ++i) {
        CheckStart(*machines[i], i);
    }
    // Something happens on one of them only.
    Machine& one = *machines[7];
    one.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    one.Bus().Publish("incoming_commands", R"({"arcStartThreshold":77})");
    one.Line().AwaitFrame(kEthernetUp);
    one.FlushBus();
    one.Carrier().SendError("seven");
    one.FlushLine();
    for (std::size_t i = 0; i < kMachines; ++i) {
        Machine& machine = *machines[i];
        machine.FlushBus();
        machine.FlushLine();
        const bool isOne = &machine == &one;
        EXPECT_EQ(machine.Line().Count(kEthernetUp) != 0, isOne) << i;
        EXPECT_EQ(machine.Files().Exists("/Veltrix/system.config"), isOne) << i;
        EXPECT_EQ(machine.Files().Exists("/Veltrix/log/Carrier.log"), isOne) << i;
    }
    // One of them powers down, and one restarts; the others go on.
    machines[3]->Bus().Publish("power_down_status", "{}");
    machines[4]->Carrier().SendReset();
    EXPECT_EQ(machines[3]->Hal().WaitForExit(), 0);
    EXPECT_EQ(machines[4]->Hal().WaitForExit(), 0);
    machines[4]->Files().AwaitShutdown("-r now");
    for (std::size_t i = 0; i < kMachines; ++i) {
        EXPECT_EQ(machines[i]->Hal().IsRunning(), i != 3 && i != 4) << i;
        EXPECT_EQ(machines[i]->Files().Shutdowns().size(), i == 4 ? 1U : 0U) << i;
    }
    EXPECT_EQ(RealState(), before);
}

}  // namespace
