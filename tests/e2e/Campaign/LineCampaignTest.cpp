// A whole machine's life over a line that harms frames in both directions, and what must hold whatever the line does.
//
// That nothing damaged is believed can be seen because nothing else says the same: every error message and every comms
// test is the only one of its kind, the carrier's versions and its voltage are known, and the frames that the line
// invents would switch the machine off or restart it. VELTRIX_CAMPAIGN_SEED and VELTRIX_CAMPAIGN_RUNS: other seeds.
#include <functional>
#include <iostream>
#include <set>

#include "tests/e2e/Campaign/BusyLife.h"
#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Campaign/CarrierLogFile.h"
#include "tests/e2e/Campaign/LineAmounts.h"
#include "tests/e2e/Campaign/LineFaults.h"
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/e2e/Harness/ResidentMemory.h"

namespace {

namespace command = simulator::command;

using simulator::OwnCommand;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::AnyOf;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::size_t kSideBySide = 4;
constexpr std::size_t kUsualRuns = 4;
constexpr seconds kWarmUp{5};
// A life ends on what has happened in it; this is for one in which it does not.
constexpr seconds kLongestLife{VELTRIX_IS_SANITIZED ? 900 : 300};
// Some times what a late answer takes on a quiet computer; and hardly a command is ever given up.
constexpr std::size_t kCarrierAttempts = 40;
constexpr seconds kCarrierAnswerTime{VELTRIX_IS_SANITIZED ? 2 : 1};
constexpr seconds kCarrierPause{VELTRIX_IS_SANITIZED ? 5 : 2};
constexpr milliseconds kStep{5};
constexpr milliseconds kLook{500};
// The start of an update, or its apply, that the line loses costs the process up to three times 30 s of waiting.
constexpr seconds kLongestRest{400};
// The longest frame of this carrier, or of one that the line made up, with something to spare.
constexpr std::size_t kLongestFrame = 400;

struct Rate {
    const char* name;
    double shareOfEachKind;
    std::uint64_t firstSeed;
    std::size_t stepsPerUpdate;   // 0: one, when everything else has happened
    LineAmounts least;            // in the life of each seed
    LineAmounts leastTogether;    // in the lives side by side
    std::size_t leastOfEachKind;  // likewise, in each direction
    // Of memory since the warm-up: pages of the allocator and of buffers that are used late for the first time.
    std::size_t mostGrowthKiB;
};

constexpr Rate kOneInAThousand{
    .name = "OneInAThousand",
    .shareOfEachKind = 0.001,
    .firstSeed = 1000,
    .stepsPerUpdate = 1000,
    .least = {.faultsFromModule = 15,
              .faultsToModule = 15,
              .busMessages = 500,
              .carrierCommands = 100,
              .carrierErrors = 20,
              .reportingSwitches = 1,
              .updatesBegun = 2,
              .updatesEnded = 2},
    .leastTogether = {.updatePackets = 50},
    .leastOfEachKind = 5,
    .mostGrowthKiB = 128,
};

constexpr Rate kOneInAHundred{
    .name = "OneInAHundred",
    .shareOfEachKind = 0.01,
    .firstSeed = 2000,
    .stepsPerUpdate = 1000,
    .least = {.faultsFromModule = 50,
              .faultsToModule = 50,
              .busMessages = 250,
              .carrierCommands = 25,
              .carrierErrors = 3,
              .updatesBegun = 1,
              .updatesEnded = 1},
    .leastTogether = {.carrierErrors = 20, .reportingSwitches = 4, .updatePackets = 20},
    .leastOfEachKind = 10,
    .mostGrowthKiB = 128,
};

// Most of the carrier's commands need several attempts here, a switch of data reporting can be lost for good, and an
// update takes minutes: of each of these, little in every life.
constexpr Rate kOneInTen{
    .name = "OneInTen",
    .shareOfEachKind = 0.1,
    .firstSeed = 3000,
    .stepsPerUpdate = 0,
    .least =
        {.faultsFromModule = 100, .faultsToModule = 100, .busMessages = 100, .carrierCommands = 2, .updatesBegun = 1},
    .leastTogether = {.carrierCommands = 12, .carrierErrors = 4, .reportingSwitches = 1, .updatePackets = 5},
    .leastOfEachKind = 20,
    .mostGrowthKiB = 256,  // the warm-up ends before much has come through
};

void PrintTo(const Rate& rate, std::ostream* out) {
    *out << rate.name;
}

struct Station {
    std::uint64_t seed = 0;
    Machine* machine = nullptr;
    std::unique_ptr<BusyLife> life;
    std::size_t warmKiB = 0;
    LineAmounts amounts;  // when the life was over
};

std::size_t CrcComplaints(const Machine& machine) {
    return machine.Log().Count("[warning] Header CRC received {}") +
           machine.Log().Count("[warning] Payload CRC received {}");
}

std::string TextOf(const simulator::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

class LineCampaignTest : public EndToEndTest, public testing::WithParamInterface<Rate> {
protected:
    void Begin(const std::vector<std::uint64_t>& seeds) {
        std::cout << GetParam().name << ", seeds " << seeds.front() << " to " << seeds.back() << std::endl;
        mRuns.clear();
        for (const std::uint64_t seed : seeds) {
            MachineOptions options = BusyLife::MachineFor(seed);
            // So that none of its answers is taken for one to another command; see OwnCommandPolicy.
            options.carrier.ownCommands.attempts = kCarrierAttempts;
            options.carrier.ownCommands.answerTime = kCarrierAnswerTime;
            options.carrier.ownCommands.pauseAfterAnswer = kCarrierPause;
            options.carrier.identity.battery = 3.25F;
            mRuns.push_back({seed, &NewMachine(options), nullptr, 0, {}});
        }
        for (Station& run : mRuns) {
            SetLineFaults(*run.machine, GetParam().shareOfEachKind);
            run.machine->Start();
        }
        for (Station& run : mRuns) {
            run.machine->AwaitReady();
            run.machine->Carrier().SendHeartbeat();
            run.life = std::make_unique<BusyLife>(*run.machine, BusyLife::Options{run.seed, GetParam().stepsPerUpdate});
        }
    }

    void Live() {
        const auto start = steady_clock::now();
        auto nextLook = start + kLook;
        bool isWarm = false;
        bool isFull = false;
        for (auto now = start; !isFull && now < start + kLongestLife; now = steady_clock::now()) {
            for (Station& run : mRuns) {
                run.life->Step();
                run.warmKiB = isWarm || now < start + kWarmUp ? run.warmKiB : run.machine->Hal().ResidentKiB();
            }
            isWarm = now >= start + kWarmUp;
            if (now >= nextLook) {
                nextLook = now + kLook;
                ASSERT_NO_FATAL_FAILURE(ExpectRunning());
                isFull = LookRound() && isWarm;
            }
            std::this_thread::sleep_for(kStep);
        }
        mLifeTime = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
        for (Station& run : mRuns) {
            SetLineFaults(*run.machine, 0);
        }
    }

    void Rest() {
        for (Station& run : mRuns) {
            ASSERT_TRUE(run.life->Rest(kLongestRest)) << "seed " << run.seed << " does not come to rest";
        }
    }

    void ExpectRunning() {
        for (Station& run : mRuns) {
            ASSERT_TRUE(run.machine->Hal().IsRunning()) << "seed " << run.seed;
        }
    }

    // Whether enough has happened everywhere. An update that the line spoils holds up everything else for long, so it
    // comes last where none came by chance.
    bool LookRound() {
        for (Station& run : mRuns) {
            run.amounts = LineAmounts::Of(*run.machine, *run.life);
        }
        const bool isTimeForUpdates = Together().MissingFrom(GetParam().leastTogether.WithoutUpdates()).empty();
        bool isFull = MissingTogether().empty();
        for (Station& run : mRuns) {
            const bool isOver = run.amounts.MissingFrom(GetParam().least).empty();
            if (!isOver && isTimeForUpdates && run.amounts.MissingFrom(GetParam().least.WithoutUpdates()).empty()) {
                run.life->BeginUpdate();
            }
            isFull = isFull && isOver;
        }
        return isFull;
    }

    LineAmounts Together() const {
        LineAmounts together;
        for (const Station& run : mRuns) {
            together += run.amounts;
        }
        return together;
    }

    std::size_t Sum(const std::function<std::size_t(Station&)>& amount) {
        std::size_t sum = 0;
        for (Station& run : mRuns) {
            sum += amount(run);
        }
        return sum;
    }

    // What has not happened often enough in the lives side by side.
    std::vector<std::string> MissingTogether() {
        std::vector<std::string> missing;
        const auto look = [&missing](const std::string& what, std::size_t count, std::size_t least) {
            if (count < least) {
                missing.push_back(what + ": " + std::to_string(count) + " of " + std::to_string(least));
            }
        };
        for (const LineFaultKind& kind : kLineFaultKinds) {
            for (const auto& [direction, name] :
                 {std::pair{simulator::Direction::Received, "from"}, std::pair{simulator::Direction::Sent, "to"}}) {
                const auto count = [&, way = direction](Station& run) {
                    return run.machine->Carrier().Faults().Counts(way).*kind.count;
                };
                look(std::string(kind.name) + " " + name + " the module", Sum(count), GetParam().leastOfEachKind);
            }
        }
        for (const std::string& amount : Together().MissingFrom(GetParam().leastTogether)) {
            missing.push_back(amount);
        }
        return missing;
    }

    // By what the injector says it did, and by what both ends say they noticed of it.
    void ExpectFullLife() {
        EXPECT_THAT(MissingTogether(), IsEmpty());
        for (Station& run : mRuns) {
            EXPECT_THAT(run.amounts.MissingFrom(GetParam().least), IsEmpty()) << "seed " << run.seed;
        }
        const std::size_t seenByCarrier =
            Sum([](Station& run) { return run.machine->Carrier().Statistics().damagedReceived; });
        const std::size_t seenByModule = Sum([](Station& run) { return CrcComplaints(*run.machine); });
        EXPECT_GE(seenByCarrier, GetParam().leastOfEachKind);
        EXPECT_GE(seenByModule, GetParam().leastOfEachKind);
        std::cout << "lived " << mLifeTime.count() << " ms, damage seen by the carriers " << seenByCarrier
                  << " times, by the modules " << seenByModule << " times" << std::endl;
    }

    // The line is clean, and what it cut short is filled up: now everything arrives at once.
    static void ExpectThatItWorks(Machine& machine) {
        machine.Carrier().SendRaw(simulator::Bytes(kLongestFrame, 0x55));
        // What was filled up is answered by then, and nothing is waited for: the heartbeat meets silence.
        machine.FlushLine();
        const auto heartbeat = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), kPatience);
        ASSERT_TRUE(heartbeat);
        EXPECT_EQ(heartbeat->state, OwnCommand::State::Acked);
        EXPECT_EQ(heartbeat->timesSent, 1U);
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("led_settings",
                              R"({"cloudGreenLed":1,"cloudYellowLed":2,"wifiGreenLed":3,"wifiYellowLed":4,)"
                              R"("ethernetGreenLed":5,"ethernetYellowLed":6,"usbGreenLed":7,"opIDGreenLed":8,)"
                              R"("opIDYellowLed":9})");
        machine.Line().AwaitFrame("0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D", line);
        machine.FlushBus();
        machine.FlushLine();
        EXPECT_EQ(machine.Line().Count("0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D", line), 1U);
    }

    // An error stands in the file once for each of its acknowledgements, and was acknowledged for whole copies only.
    static void ExpectHonestAnswers(Machine& machine) {
        CarrierLogFile log = ReadCarrierLog(machine.Files());
        EXPECT_THAT(log.otherLines, IsEmpty());
        for (const OwnCommand& own : machine.Carrier().OwnCommandList()) {
            EXPECT_LE(own.acksOnLine, own.copies) << simulator::CommandName(own.command) << " " << TextOf(own.payload);
            if (own.command == command::kErrorMessage) {
                EXPECT_EQ(log.messages[TextOf(own.payload)], own.acksOnLine) << TextOf(own.payload);
                log.messages.erase(TextOf(own.payload));
            }
            if (own.command == command::kCommsTest && own.state == OwnCommand::State::Acked) {
                EXPECT_EQ(own.answer, own.payload);
            }
        }
        EXPECT_THAT(log.messages, IsEmpty()) << "nobody sent these";
    }

    // Of the start sequence, an answer that comes late or twice can be taken for that to the next question.
    static void ExpectKnownValues(Machine& machine) {
        for (const std::string& info : machine.Bus().Payloads("carrier_info")) {
            EXPECT_THAT(info, MatchesRegex("\\{(\"appVersion\":\"53172(6R|5C)\",)?"
                                           "(\"bootloaderVersion\":\"53172(6R|5C)\",)?\"HALVersion\":8\\}"));
        }
        for (const std::string& settings : machine.Bus().Payloads("device_settings")) {
            EXPECT_THAT(settings, MatchesRegex("\\{(\"batteryVoltage\":3\\.25|\"currentSensorConfig\":[1-4]|"
                                               "\"arcStartThreshold\":[0-9]+),\"timestamp\":\"[^\"]+\"\\}"));
        }
        for (const std::string& error : machine.Bus().Payloads("error_log")) {
            EXPECT_THAT(error,
                        MatchesRegex(".*\"SWMismatch_System\".*\"(531725C)? received, but expecting 531726R\".*"));
        }
        EXPECT_EQ(machine.Bus().Count("power_down_status"), 0U);
        EXPECT_THAT(machine.Files().Shutdowns(), IsEmpty());
        EXPECT_THAT(machine.Files().ClockSettings(), IsEmpty());
    }

    static void ExpectKnownCommands(Machine& machine) {
        static const std::set<std::string> sent = {"3", "9", "11", "13", "15", "35", "40", "43", "44"};
        const std::string collision = "[info] Collision!!! Expected Ack but received 0d";
        for (const std::string& line : machine.Log().Lines()) {
            EXPECT_THAT(line,
                        Not(AnyOf(testing::HasSubstr("Unknown packet received"),
                                  testing::HasSubstr("Deprecated Dropbear"), testing::HasSubstr("do not match"))));
            if (line.compare(0, collision.size(), collision) == 0) {
                EXPECT_TRUE(sent.contains(line.substr(collision.size()))) << line;
            }
        }
    }

    void Check(Station& run) {
        SCOPED_TRACE(std::string(GetParam().name) + ", seed " + std::to_string(run.seed));
        Machine& machine = *run.machine;
        ExpectThatItWorks(machine);
        ExpectHonestAnswers(machine);
        ExpectKnownValues(machine);
        ExpectKnownCommands(machine);
        EXPECT_EQ(run.life->Firmware().Wrong(), 0U) << "an image that nobody made";
        const std::size_t endKiB = machine.Hal().ResidentKiB();
        if (kIsResidentMemoryItsOwn) {
            EXPECT_LE(endKiB, run.warmKiB + GetParam().mostGrowthKiB);
        }
        EXPECT_EQ(machine.Stop(), 0);
        std::cout << "seed " << run.seed << ": " << run.amounts.Text() << ", updates done "
                  << run.life->Firmware().Done() << ", frames from the module "
                  << machine.Carrier().Statistics().framesReceived << ", to it "
                  << machine.Carrier().Statistics().framesSent << ", " << run.warmKiB << " -> " << endKiB << " KiB"
                  << std::endl;
    }

    std::vector<Station> mRuns;
    milliseconds mLifeTime{0};
};

TEST_P(LineCampaignTest, NothingDamagedIsBelievedAndNothingStopsTheMachine) {
    const std::vector<std::uint64_t> seeds = CampaignSeeds(GetParam().firstSeed, kUsualRuns);
    for (std::size_t at = 0; at < seeds.size(); at += kSideBySide) {
        const auto first = seeds.begin() + static_cast<std::ptrdiff_t>(at);
        Begin({first, first + static_cast<std::ptrdiff_t>(std::min(kSideBySide, seeds.size() - at))});
        ASSERT_NO_FATAL_FAILURE(Live());
        ExpectFullLife();
        ASSERT_FALSE(HasFailure());
        ASSERT_NO_FATAL_FAILURE(Rest());
        for (Station& run : mRuns) {
            Check(run);
        }
        ASSERT_FALSE(HasFailure());
        mRuns.clear();
        EndMachines();
    }
}

INSTANTIATE_TEST_SUITE_P(Line, LineCampaignTest, testing::Values(kOneInAThousand, kOneInAHundred, kOneInTen),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
