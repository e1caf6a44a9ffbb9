// A whole machine's life over a line that harms frames in both directions, and what must hold whatever the line does.
//
// That nothing damaged is believed can be seen because nothing else says the same: every error message and every comms
// test is the only one of its kind, the carrier's versions and its voltage are known, and the frames that the line
// invents would switch the machine off or restart it. VELTRIX_CAMPAIGN_SEED and VELTRIX_CAMPAIGN_RUNS: other seeds.
#include <iostream>
#include <set>

#include "tests/e2e/Campaign/BusyLife.h"
#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Campaign/CarrierLogFile.h"
#include "tests/e2e/Campaign/LineFaults.h"
#include "tests/e2e/Harness/EndToEndTest.h"

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
constexpr seconds kLife{12};
constexpr milliseconds kStep{5};
constexpr std::size_t kStepsPerUpdate = 400;
// The start of an update, or its apply, that the line loses costs the process up to three times 30 s of waiting.
constexpr seconds kLongestRest{400};
// The longest frame of this carrier, or of one that the line made up, with something to spare.
constexpr std::size_t kLongestFrame = 400;
// Pages of the allocator and of buffers that are used late for the first time.
// Sanitizers keep what was freed.
constexpr std::size_t kMostGrowthKiB = VELTRIX_IS_SANITIZED ? 16 * 1024 : 256;

struct Rate {
    const char* name;
    double share;
    std::uint64_t firstSeed;
};

void PrintTo(const Rate& rate, std::ostream* out) {
    *out << rate.name;
}

struct Station {
    std::uint64_t seed = 0;
    Machine* machine = nullptr;
    std::unique_ptr<BusyLife> life;
    std::size_t warmKiB = 0;
};

std::string TextOf(const simulator::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

class LineCampaignTest : public EndToEndTest, public testing::WithParamInterface<Rate> {
protected:
    void Begin(const std::vector<std::uint64_t>& seeds) {
        mRuns.clear();
        for (const std::uint64_t seed : seeds) {
            MachineOptions options = BusyLife::MachineFor(seed);
            // So that none of its answers is taken for one to another command; see OwnCommandPolicy.
            options.carrier.ownCommands.answerTime = seconds(2);
            options.carrier.ownCommands.pauseAfterAnswer = seconds(5);
            options.carrier.identity.battery = 3.25F;
            mRuns.push_back({seed, &NewMachine(options), nullptr, 0});
        }
        for (Station& run : mRuns) {
            SetLineFaults(*run.machine, GetParam().share);
            run.machine->Start();
        }
        for (Station& run : mRuns) {
            run.machine->AwaitReady();
            run.machine->Carrier().SendHeartbeat();
            run.life = std::make_unique<BusyLife>(*run.machine, BusyLife::Options{run.seed, kStepsPerUpdate});
        }
    }

    void Live() {
        const auto start = steady_clock::now();
        bool isWarm = false;
        for (auto now = start; now < start + kLife; now = steady_clock::now()) {
            for (Station& run : mRuns) {
                run.life->Step();
                run.warmKiB = isWarm || now < start + kWarmUp ? run.warmKiB : run.machine->Hal().ResidentKiB();
            }
            isWarm = now >= start + kWarmUp;
            std::this_thread::sleep_for(kStep);
        }
        for (Station& run : mRuns) {
            ASSERT_TRUE(run.machine->Hal().IsRunning()) << "seed " << run.seed;
            SetLineFaults(*run.machine, 0);
        }
        for (Station& run : mRuns) {
            ASSERT_TRUE(run.life->Rest(kLongestRest)) << "seed " << run.seed << " does not come to rest";
        }
    }

    // The line is clean, and what it cut short is filled up: now everything arrives at once.
    static void ExpectThatItWorks(Machine& machine) {
        machine.Carrier().SendRaw(simulator::Bytes(kLongestFrame, 0x55));
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
        EXPECT_LE(endKiB, run.warmKiB + kMostGrowthKiB);
        EXPECT_EQ(machine.Stop(), 0);
        const auto& faults = machine.Carrier().Faults();
        std::cout << "seed " << run.seed << ": bus " << run.life->Bus().Sent() << ", of the carrier "
                  << run.life->Carrier().Acknowledged() << " acknowledged of " << run.life->Carrier().Sent()
                  << ", errors " << run.life->Carrier().ErrorsAcknowledged() << " of " << run.life->Carrier().Errors()
                  << ", updates " << run.life->Firmware().Done() << " of " << run.life->Firmware().Begun()
                  << ", harmed " << faults.Counts(simulator::Direction::Received).Total() << " of "
                  << machine.Carrier().Statistics().framesReceived << " and "
                  << faults.Counts(simulator::Direction::Sent).Total() << " of "
                  << machine.Carrier().Statistics().framesSent << ", " << run.warmKiB << " -> " << endKiB << " KiB\n";
    }

    std::vector<Station> mRuns;
};

TEST_P(LineCampaignTest, NothingDamagedIsBelievedAndNothingStopsTheMachine) {
    const std::vector<std::uint64_t> seeds = CampaignSeeds(GetParam().firstSeed, kUsualRuns);
    for (std::size_t at = 0; at < seeds.size(); at += kSideBySide) {
        const auto first = seeds.begin() + static_cast<std::ptrdiff_t>(at);
        Begin({first, first + static_cast<std::ptrdiff_t>(std::min(kSideBySide, seeds.size() - at))});
        ASSERT_NO_FATAL_FAILURE(Live());
        for (Station& run : mRuns) {
            Check(run);
        }
        ASSERT_FALSE(HasFailure());
        mRuns.clear();
        EndMachines();
    }
}

INSTANTIATE_TEST_SUITE_P(Line, LineCampaignTest,
                         testing::Values(Rate{"OneInAThousand", 0.001, 1000}, Rate{"OneInAHundred", 0.01, 2000},
                                         Rate{"OneInTen", 0.1, 3000}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
