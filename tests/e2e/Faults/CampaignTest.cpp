#include "tests/e2e/Faults/CampaignTest.h"

namespace {

constexpr std::chrono::milliseconds kQuestionPeriod{200};
// Three attempts of a command, and what a busy computer adds.
constexpr std::chrono::seconds kAtOnce{VELTRIX_IS_SANITIZED ? 10 : 2};

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

void CampaignTest::ExpectHeartbeatsAckedAtOnce(Machine& machine, int count) {
    for (int i = 0; i < count; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const auto outcome = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), 3 * kPatience);
        ASSERT_TRUE(outcome.has_value());
        EXPECT_EQ(outcome->state, simulator::OwnCommand::State::Acked);
        EXPECT_EQ(outcome->timesSent, outcome->nackCodes.size() + 1) << "one of them met silence";
        EXPECT_THAT(outcome->nackCodes, testing::Each(simulator::nack::kExpectingAckNack));
        EXPECT_LE(std::chrono::steady_clock::now() - start, kAtOnce);
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
