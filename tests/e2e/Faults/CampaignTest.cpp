#include "tests/e2e/Faults/CampaignTest.h"

#include <cstdlib>
#include <random>

namespace {

constexpr std::chrono::milliseconds kQuestionPeriod{200};

}  // namespace

MachineOptions CampaignTest::PatientOptions() {
    MachineOptions options = Options();
    options.carrier.ownCommands.attempts = 60;
    options.carrier.ownCommands.answerTime = simulator::Milliseconds(1000);
    options.carrier.ownCommands.isOneByOne = true;
    return options;
}

void CampaignTest::ExpectHeartbeatsAcked(Machine& machine, int count) {
    for (int i = 0; i < count; ++i) {
        const auto outcome = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), 3 * kPatience);
        ASSERT_TRUE(outcome.has_value());
        EXPECT_EQ(outcome->state, simulator::OwnCommand::State::Acked);
    }
}

void CampaignTest::AwaitBus(Machine& machine) {
    const std::size_t from = machine.Bus().Position();
    const auto isAnswered = [&] { return machine.Bus().Count("delayed_device_settings", from) != 0; };
    EXPECT_TRUE(WaitUntil(
        [&] {
            machine.Bus().Publish("req_delayed_device_settings", "{}");
            return WaitUntil(isAnswered, kQuestionPeriod);
        },
        2 * kPatience))
        << "the process does not come back to the bus";
    machine.FlushBus();
}

void CampaignTest::ExpectBusToWork(Machine& machine) {
    const std::size_t bus = machine.Bus().Position();
    machine.Bus().Publish("req_hal_info", "{}");
    EXPECT_EQ(machine.Bus().Await("hal_info", bus),
              R"({"serialNumber":"SN-0042","machineType":"Strovanel 9","revisionNumber":7})");
    const bool wasOn = machine.Carrier().State().leds.isEthernetOn;
    // On a busy computer a carrier's Ack can be late; a status that failed goes out with the next one.
    EXPECT_TRUE(WaitUntil(
        [&] {
            machine.Bus().Publish("system_led_status", wasOn ? "{}" : R"({"ethernetIsUp":true})");
            machine.FlushBus();
            return machine.Carrier().State().leds.isEthernetOn == !wasOn;
        },
        kPatience));
    EXPECT_TRUE(machine.Hal().IsRunning());
}

std::uint64_t CampaignSeed() {
    const char* const given = std::getenv("VELTRIX_CAMPAIGN_SEED");
    return given == nullptr || *given == '\0' ? std::random_device{}() : std::strtoull(given, nullptr, 10);
}
