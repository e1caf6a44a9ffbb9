// The broker away, frozen or without its socket, ten times in a row, during everything that the process does. It lives,
// serves the carrier meanwhile, is back on the bus by itself, and ends as ever.
#include <filesystem>
#include <iostream>

#include "tests/e2e/Campaign/BusyLife.h"
#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Faults/CampaignTest.h"
#include "tests/e2e/Harness/ResidentMemory.h"

namespace {

namespace command = simulator::command;

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAreArray;

constexpr std::uint64_t kFirstSeed = 4000;
constexpr int kTimes = 10;
constexpr int kFullTimes = 5;  // of losses around which everything else happens
constexpr std::size_t kStepsPerUpdate = 60;
constexpr milliseconds kStep{5};
constexpr std::size_t kLongestLifeMs = 1500;
constexpr seconds kLifeAlone{1};
constexpr std::size_t kMostOpen = 4;  // commands of the carrier's at a time
constexpr const char* kHealthyTessimor = R"({"processName":"Tessimor","code":4096})";
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

    // A threshold that the process is told of before the loss and stores behind a command that is waited for: it comes
    // to store it, and to tell the bus so, when the broker may be gone.
    static void PutOnItsWay(Machine& machine, std::size_t threshold) {
        simulator::ScriptedFault fault;
        fault.what = simulator::ScriptedFault::What::Ignore;
        fault.command = command::kSetStrovanelLedSettings;
        fault.count = 3;
        machine.Carrier().Faults().Script(fault);
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("led_settings", R"({"opIDYellowLed":1})");
        machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":)" + std::to_string(threshold) + "}");
        machine.Line().AwaitFrame("0A 30 09 00 71 C6 00 00 00 00 00 00 00 00 01 A0 6E", line);
    }
    static bool IsStored(Machine& machine, std::size_t threshold) {
        return machine.Files().Read("/Veltrix/system.config") ==
               "{\n\t\"ArcStartAmps\":\t" + std::to_string(threshold) + "\n}";
    }
    static bool IsAnnounced(Machine& machine, std::size_t threshold) {
        return machine.Bus().Count("device_settings") != 0 &&
               testing::Matches(testing::Contains(
                   testing::StartsWith(R"({"arcStartThreshold":)" + std::to_string(threshold) + ",")))(
                   machine.Bus().Payloads("device_settings"));
    }

    // The way back, with a look at the bus from its first moment on. False where the process was there first, and what
    // it said then is not known.
    static bool EndWatched(Machine& machine, std::size_t times) {
        GetParam().end(machine);
        if (!GetParam().isConnectionLost) {
            AwaitBus(machine);
            return true;
        }
        machine.ReconnectBus();
        const bool isWatched = machine.Log().Count(kReconnected) < times;
        machine.Log().Await(kReconnected, 0, times, 2 * kPatience);
        AwaitBus(machine);
        return isWatched;
    }

    static void SwitchReportingOn(Machine& machine) {
        const auto isOn = [](const simulator::CarrierState& state) { return state.isDataReporting; };
        // It is late already when the computer takes two seconds for this.
        EXPECT_TRUE(WaitUntil(
            [&] {
                machine.Bus().Publish("system_health", kHealthyTessimor);
                machine.FlushBus();
                ExpectHeartbeatsAckedAtOnce(machine, 1);
                return machine.Carrier().WaitForState(isOn, milliseconds(500));
            },
            kPatience));
    }
    // Nobody can tell that the Tessimor is healthy: two seconds later its data are not wanted.
    static void AwaitReportingOff(Machine& machine) {
        const auto isOff = [](const simulator::CarrierState& state) { return !state.isDataReporting; };
        EXPECT_TRUE(WaitUntil(
            [&] {
                ExpectHeartbeatsAckedAtOnce(machine, 1);
                return machine.Carrier().WaitForState(isOff, milliseconds(200));
            },
            kPatience));
    }

    static void SendErrorAlone(Machine& machine, const std::string& text) {
        const auto outcome = machine.Carrier().WaitForOutcome(machine.Carrier().SendError(text), kPatience);
        ASSERT_TRUE(outcome.has_value());
        EXPECT_EQ(outcome->state, simulator::OwnCommand::State::Acked);
        EXPECT_THAT(machine.Files().Read("/Veltrix/log/Carrier.log"), testing::EndsWith(" - " + text + "\n"));
    }

    static void ExpectSettingsToArrive(Machine& machine, std::size_t number) {
        const auto byte = static_cast<std::uint8_t>(number);
        machine.Bus().Publish("led_settings", R"({"usbGreenLed":)" + std::to_string(number) + "}");
        machine.Bus().Publish("tessimor_settings", R"({"gasType":)" + std::to_string(number) + "}");
        machine.FlushBus();
        EXPECT_TRUE(machine.Carrier().WaitForState(
            [&](const simulator::CarrierState& state) {
                return state.ledSettings == simulator::Bytes{0, 0, 0, 0, 0, 0, byte, 0, 0} &&
                       state.tessimorSettings == simulator::Bytes{0, 0, 0, 0, byte, 0, 0, 0, 0};
            },
            kPatience));
    }

    // What the carrier says while there is no broker, all of it heard; but for what was still to be said when an update
    // made it restart.
    static void LiveAlone(Machine& machine, std::uint64_t seed) {
        const std::size_t restarts = machine.Carrier().State().restarts;
        CarrierTraffic carrier(machine.Carrier(), seed);
        for (const auto start = steady_clock::now(); steady_clock::now() - start < kLifeAlone;) {
            if (carrier.HasRoom()) {
                carrier.SendOne();
            }
            std::this_thread::sleep_for(kStep);
            carrier.Settle();
        }
        EXPECT_TRUE(WaitUntil(
            [&] {
                carrier.Settle();
                return carrier.AreAllOver();
            },
            kPatience));
        EXPECT_GT(carrier.Sent(), 0U);
        const std::size_t mostForgotten = kMostOpen * (machine.Carrier().State().restarts - restarts);
        EXPECT_GE(carrier.Acknowledged() + mostForgotten, carrier.Sent());
    }

    void LoseItInABusyLife(std::uint64_t seed) {
        MachineOptions options = BusyLife::MachineFor(seed);
        options.carrier.ownCommands = PatientOptions().carrier.ownCommands;
        Machine& machine = GreetedMachine(options);
        Chance chance(seed);
        std::size_t updates = 0;
        for (std::size_t times = 1; times <= kFullTimes; ++times) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", loss " + std::to_string(times));
            BusyLife life(machine, {(kFullTimes * seed + times) * 2, kStepsPerUpdate});
            const milliseconds until(chance.Below(kLongestLifeMs));
            for (const auto start = steady_clock::now(); steady_clock::now() - start < until;) {
                life.Step();
                std::this_thread::sleep_for(kStep);
            }
            GetParam().begin(machine);
            LiveAlone(machine, (kFullTimes * seed + times) * 2 + 1);
            ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
            ASSERT_TRUE(machine.Hal().IsRunning());
            End(machine, times);
            ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
            ExpectSettingsToArrive(machine, 100 + times);
            ExpectBusToWork(machine);
            updates += life.Firmware().Begun();
            EXPECT_EQ(life.Firmware().Wrong(), 0U);
        }
        std::cout << updates << " updates begun" << std::endl;
        ExpectToStop(machine);
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
        ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
        EXPECT_TRUE(machine.Hal().IsRunning());
        End(machine, times);
        ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
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
        ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
        End(machine, times);
        EXPECT_TRUE(machine.Carrier().AppliedImages().back().bytes == file.bytes);
        EXPECT_FALSE(IsThere(machine, file));
        ExpectBusToWork(machine);
    }
    ExpectToStop(machine);
}

// What begins before the loss goes on during it, and what it led to is told when the broker is back.
TEST_P(BrokerCampaignTest, DuringSettingsAWeldAnErrorAndDataReporting) {
    Machine& machine = GreetedMachine(PatientOptions());
    int watched = 0;
    for (std::size_t times = 1; times <= kFullTimes; ++times) {
        SCOPED_TRACE(times);
        const std::size_t threshold = 1000 + times;
        const std::size_t log = machine.Log().Position();
        machine.Bus().Publish("weld_trigger_start", R"({"tag":3,"timestamp":1900000000})");
        machine.Bus().Publish("weld_trace_data", R"({"sequence":1,"data":{"amps":180,"volts":24,"wfs":300}})");
        SwitchReportingOn(machine);
        PutOnItsWay(machine, threshold);
        GetParam().begin(machine);
        ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
        EXPECT_TRUE(WaitUntil([&] { return IsStored(machine, threshold); }, kPatience));
        SendErrorAlone(machine, "lost " + std::to_string(times));
        AwaitReportingOff(machine);
        EXPECT_TRUE(machine.Hal().IsRunning());
        if (EndWatched(machine, times)) {
            ++watched;
            EXPECT_TRUE(WaitUntil([&] { return IsAnnounced(machine, threshold); }, kPatience));
        }
        machine.Bus().Publish("weld_trigger_end", R"({"tag":3})");
        ExpectSettingsToArrive(machine, times);
        SwitchReportingOn(machine);
        SendErrorAlone(machine, "found " + std::to_string(times));
        machine.Log().AwaitInOrder({"[info] Weld started at {}", "[info] Weld 3 ended.{}"}, log);
        ExpectBusToWork(machine);
    }
    EXPECT_GE(watched, 1) << "the process was always back before the test";
    ExpectToStop(machine);
}

TEST_P(BrokerCampaignTest, InTheMiddleOfABusyLife) {
    for (const std::uint64_t seed : CampaignSeeds(kFirstSeed, 1)) {
        std::cout << "VELTRIX_CAMPAIGN_SEED=" << seed << std::endl;
        ASSERT_NO_FATAL_FAILURE(LoseItInABusyLife(seed));
        ASSERT_FALSE(HasFailure());
        EndMachines();
    }
}

// A stop in the middle of it, too.
TEST_P(BrokerCampaignTest, EndsWithAStopMeanwhile) {
    Machine& machine = GreetedMachine(PatientOptions());
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    GetParam().begin(machine);
    ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
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
        ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
        machine.BusBroker().Start();
        machine.Log().Await(kReconnected, 0, times, 2 * kPatience);
        machine.ReconnectBus();
        AwaitBus(machine);
        ExpectBusToWork(machine);
    }
    ExpectToStop(machine);
}

class FrozenBrokerTest : public CampaignTest {};

// What the carrier's first heartbeat leads to is told through connections of their own, which a frozen broker does not
// accept: they are given up after five seconds each, in which the carrier has to wait.
TEST_F(FrozenBrokerTest, AtTheFirstHeartbeatCostsWhatIsToldOfIt) {
    Machine& machine = BootMachine(PatientOptions());
    machine.BusBroker().Pause();
    ExpectHeartbeatsAckedAtOnce(machine, 1);
    machine.Log().Await("[warning] Could not publish device_settings on /var/veltrix.unix. {}");
    machine.Log().Await("[warning] Could not publish carrier_info on /var/veltrix.unix. {}");
    ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
    machine.BusBroker().Resume();
    AwaitBus(machine);
    ExpectBusToWork(machine);
    EXPECT_EQ(machine.Log().Count(kLost), 0U);
    ExpectToStop(machine);
}

// How long, and whether the process must have given it up: its keep-alive is 60 s, and what it asks the broker then has
// to be answered within another 60 s.
struct Freeze {
    const char* name;
    seconds time;
    bool isGivenUp;
};

void PrintTo(const Freeze& freeze, std::ostream* out) {
    *out << freeze.name;
}

class LongFrozenBrokerTest : public CampaignTest, public testing::WithParamInterface<Freeze> {};

TEST_P(LongFrozenBrokerTest, IsOutlivedAndFoundAgain) {
    Machine& machine = GreetedMachine(PatientOptions());
    machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":1234})");
    machine.BusBroker().Pause();
    const std::size_t early = machine.Hal().ResidentKiB();
    const auto start = steady_clock::now();
    while (steady_clock::now() - start < GetParam().time) {
        ExpectHeartbeatsAckedAtOnce(machine, 1);
        ASSERT_TRUE(machine.Hal().IsRunning());
        ASSERT_FALSE(HasFailure());
        std::this_thread::sleep_for(seconds(1));
    }
    if (GetParam().isGivenUp) {
        machine.Log().Await(kLost);
    }
    std::cout << "given up " << machine.Log().Count(kLost) << " times" << std::endl;
    if (kIsResidentMemoryItsOwn) {
        EXPECT_LE(machine.Hal().ResidentKiB(), early + 512);
    }
    machine.BusBroker().Resume();
    machine.ReconnectBus();
    AwaitBus(machine);
    ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
    ExpectBusToWork(machine);
    std::cout << "lost " << machine.Log().Count(kLost) << " times, found " << machine.Log().Count(kReconnected)
              << " times" << std::endl;
    ExpectToStop(machine);
}

INSTANTIATE_TEST_SUITE_P(Broker, LongFrozenBrokerTest,
                         testing::Values(Freeze{"For100Seconds", seconds(100), false},
                                         Freeze{"For130Seconds", seconds(130), true}),
                         [](const auto& test) { return std::string(test.param.name); });

class SlowBrokerTest : public CampaignTest {
protected:
    static constexpr int kMessages = 10;

    static void PublishLater(Machine& machine) {
        for (int i = 0; i < kMessages; ++i) {
            machine.Bus().PublishLater("system_led_status", i % 2 == 0 ? R"({"ethernetIsUp":true})" : "{}");
        }
    }
    static void Wait() { std::this_thread::sleep_for(milliseconds(50)); }

    static std::vector<std::string> Frames(int times) {
        std::vector<std::string> frames;
        for (int i = 0; i < times * kMessages; ++i) {
            frames.emplace_back(i % 2 == 0 ? "0A 1A 00 00 D6 9F" : "0A 1B 00 00 8C 43");
        }
        return frames;
    }
};

// Stopped for most of the time: everything arrives, late and in order.
TEST_F(SlowBrokerTest, LosesNothing) {
    Machine& machine = BootMachine(PatientOptions());
    machine.BusBroker().Pause();
    PublishLater(machine);
    Wait();
    EXPECT_THAT(machine.Line().Frames(), testing::IsEmpty()) << "it holds everything back";
    machine.BusBroker().Resume();
    machine.Line().AwaitFrames(1);
    machine.BusBroker().Pause();
    PublishLater(machine);
    machine.Bus().PublishLater("req_delayed_device_settings", "{}");
    Wait();
    EXPECT_LE(machine.Line().Frames().size(), Frames(1).size()) << "it holds the second half back";
    EXPECT_EQ(machine.Bus().Count("delayed_device_settings"), 0U);
    // Each time it gets a moment, in which it does a part of it.
    const bool isThrough = WaitUntil(
        [&] {
            machine.BusBroker().Resume();
            std::this_thread::sleep_for(milliseconds(1));
            machine.BusBroker().Pause();
            Wait();
            return machine.Bus().Count("delayed_device_settings") != 0;
        },
        2 * kPatience);
    machine.BusBroker().Resume();
    EXPECT_TRUE(isThrough);
    EXPECT_THAT(machine.Line().Frames(), ElementsAreArray(Frames(2)));
    EXPECT_EQ(machine.Log().Count(kLost), 0U);
    machine.Greet();
    ExpectHeartbeatsAckedAtOnce(machine, kHeartbeats);
    ExpectToStop(machine);
}

}  // namespace
