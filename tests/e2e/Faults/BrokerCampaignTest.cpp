// The broker away, frozen or without its socket, ten times in a row, during everything that the process does. It lives,
// serves the carrier meanwhile, is back on the bus by itself, and ends as ever.
#include <filesystem>

#include "tests/e2e/Faults/CampaignTest.h"

namespace {

using testing::ElementsAreArray;

constexpr int kTimes = 10;
constexpr int kHeartbeats = 3;
constexpr const char* kLost = "[warning] Lost the broker at /var/veltrix.unix: {}";
constexpr const char* kReconnected = "[info] Reconnected to the broker at /var/veltrix.unix";

// One way to lose a broker, and the way back.
struct Loss {
    const char* name;
    void (*begin)(Machine&);
    void (*end)(Machine&);
    bool isConnectionLost;
};

void PrintTo(const Loss& loss, std::ostream* out) {
    *out << loss.name;
}

void RemoveSocket(Machine& machine) {
    std::filesystem::remove(machine.BusBroker().Socket());
}

const Loss kLosses[] = {
    {"Killed", [](Machine& machine) { machine.BusBroker().Kill(); },
     [](Machine& machine) { machine.BusBroker().Start(); }, true},
    {"Frozen", [](Machine& machine) { machine.BusBroker().Pause(); },
     [](Machine& machine) { machine.BusBroker().Resume(); }, false},
    {"Stopped", [](Machine& machine) { machine.BusBroker().Stop(); },
     [](Machine& machine) { machine.BusBroker().Start(); }, true},
    {"WithoutItsSocket",
     [](Machine& machine) {
         machine.BusBroker().Kill();
         RemoveSocket(machine);
     },
     [](Machine& machine) { machine.BusBroker().Start(); }, true},
};

class BrokerCampaignTest : public CampaignTest, public testing::WithParamInterface<Loss> {
protected:
    // The test's own connection is lost like the process's.
    static void End(Machine& machine, std::size_t times) {
        GetParam().end(machine);
        if (GetParam().isConnectionLost) {
            machine.Log().Await(kReconnected, 0, times, 2 * kPatience);
            machine.ReconnectBus();
        }
        AwaitBus(machine);
    }
};

TEST_P(BrokerCampaignTest, BetweenHeartbeatsAndLedTraffic) {
    Machine& machine = GreetedMachine(PatientOptions());
    for (std::size_t times = 1; times <= kTimes; ++times) {
        SCOPED_TRACE(times);
        // Some of it is on its way when the broker goes.
        for (int i = 0; i < 5; ++i) {
            machine.Bus().Publish("system_led_status", i % 2 == 0 ? R"({"wifiIsUp":true})" : "{}");
        }
        GetParam().begin(machine);
        ExpectHeartbeatsAcked(machine, kHeartbeats);
        EXPECT_TRUE(machine.Hal().IsRunning());
        End(machine, times);
        ExpectHeartbeatsAcked(machine, kHeartbeats);
        ExpectBusToWork(machine);
    }
    EXPECT_EQ(machine.Log().Count(kLost), GetParam().isConnectionLost ? std::size_t{kTimes} : 0U);
    ExpectToStop(machine);
}

// Files are sent while the broker is away: an update that has begun does not need it.
TEST_P(BrokerCampaignTest, DuringFirmwareUpdates) {
    Machine& machine = GreetedMachine(PatientOptions());
    for (std::size_t times = 1; times <= kTimes; ++times) {
        SCOPED_TRACE(times);
        const FirmwareOnDisk file = Put(machine, kAppFile, 50000, times);
        const std::size_t line = machine.Line().Position();
        Announce(machine, file);
        machine.Line().AwaitFrame(Packets(file.bytes)[0], line);
        GetParam().begin(machine);
        EXPECT_TRUE(WaitUntil([&] { return machine.Carrier().AppliedImages().size() == times; }, 2 * kPatience));
        machine.Line().AwaitFrame(kPhase4, line);
        ExpectHeartbeatsAcked(machine, kHeartbeats);
        End(machine, times);
        EXPECT_TRUE(machine.Carrier().AppliedImages().back().bytes == file.bytes);
        EXPECT_FALSE(IsThere(machine, file));
        ExpectBusToWork(machine);
    }
    ExpectToStop(machine);
}

// A stop in the middle of it, too.
TEST_P(BrokerCampaignTest, EndsWithAStopMeanwhile) {
    Machine& machine = GreetedMachine(PatientOptions());
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    GetParam().begin(machine);
    ExpectHeartbeatsAcked(machine, kHeartbeats);
    ExpectToStop(machine);
    GetParam().end(machine);
}

INSTANTIATE_TEST_SUITE_P(Broker, BrokerCampaignTest, testing::ValuesIn(kLosses),
                         [](const auto& test) { return test.param.name; });

class BrokerSocketTest : public CampaignTest {};

// The connection lives on; what opens one of its own is told that there is no socket.
TEST_F(BrokerSocketTest, RemovedUnderALivingBrokerAndMadeAgainTenTimes) {
    Machine& machine = GreetedMachine(PatientOptions());
    for (std::size_t times = 1; times <= kTimes; ++times) {
        SCOPED_TRACE(times);
        RemoveSocket(machine);
        ExpectBusToWork(machine);
        const auto powerFail = machine.Carrier().WaitForOutcome(machine.Carrier().SendPowerFail(), kPatience);
        ASSERT_TRUE(powerFail.has_value());
        EXPECT_EQ(powerFail->state, simulator::OwnCommand::State::Acked);
        machine.Log().Await(
            "[warning] Could not publish power_down_status on /var/veltrix.unix. "
            "No such file or directory",
            0, times);
        machine.BusBroker().Kill();
        ExpectHeartbeatsAcked(machine, kHeartbeats);
        machine.BusBroker().Start();
        machine.Log().Await(kReconnected, 0, times, 2 * kPatience);
        machine.ReconnectBus();
        AwaitBus(machine);
        ExpectBusToWork(machine);
    }
    ExpectToStop(machine);
}

class SlowBrokerTest : public CampaignTest {};

// Stopped for most of the time: everything arrives, late and in order.
TEST_F(SlowBrokerTest, LosesNothing) {
    Machine& machine = BootMachine(PatientOptions());
    std::vector<std::string> wanted;
    for (int i = 0; i < 20; ++i) {
        machine.Bus().PublishLater("system_led_status", i % 2 == 0 ? R"({"ethernetIsUp":true})" : "{}");
        wanted.emplace_back(i % 2 == 0 ? "0A 1A 00 00 D6 9F" : "0A 1B 00 00 8C 43");
    }
    machine.Bus().PublishLater("req_delayed_device_settings", "{}");
    // Each time it gets a moment of some milliseconds, in which it does a part of it.
    const bool isThrough = WaitUntil(
        [&] {
            machine.BusBroker().Pause();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            machine.BusBroker().Resume();
            return machine.Bus().Count("delayed_device_settings") != 0;
        },
        2 * kPatience);
    EXPECT_TRUE(isThrough);
    EXPECT_THAT(machine.Line().Frames(), ElementsAreArray(wanted));
    EXPECT_EQ(machine.Log().Count(kLost), 0U);
    ExpectHeartbeatsAcked(machine, kHeartbeats);
    ExpectToStop(machine);
}

}  // namespace
