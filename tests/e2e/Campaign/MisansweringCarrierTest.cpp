// A carrier that answers nothing for a long time, answers late again and again, or answers everything twice.
#include <algorithm>
#include <ostream>

#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/e2e/Harness/ResidentMemory.h"
#include "tests/support/WaitUntil.h"

namespace {

using simulator::ScriptedFault;
using testing::AllOf;
using testing::Each;
using testing::SizeIs;
using What = simulator::ScriptedFault::What;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr const char* kTimedOut = "[info] WaitForResponseToCommand() Timed out after {}";
constexpr const char* kUnexpectedAck = "[warning] Received Ack but not expecting one";
constexpr std::size_t kMuteCommands = 20;  // three attempts of 200 ms each: twelve seconds
constexpr std::size_t kDoubledCommands = 100;
// Of one command, on a computer that has much else to do.
constexpr seconds kLongestCommand{3};

constexpr std::chrono::minutes kSilence{2};
// The main thread tells its status every 5 s, and later by what the command in between is waited for.
constexpr seconds kLongestRound{15};
constexpr seconds kAtOnce{VELTRIX_IS_SANITIZED ? 10 : 2};

// How late some answers to a command are, and what it costs. An attempt takes 200 ms, there are three, and an answer is
// taken by whatever attempt waits when it comes: here always in the middle of one (about 200 to 400 ms, 400 to 600 ms),
// or after the last.
struct Lateness {
    int ms;
    std::size_t answers;  // so late; those to later attempts come at once
    std::size_t frames;
    std::size_t timeOuts;
    std::size_t leftOver;  // answers that came when nobody waited
};
constexpr Lateness kLatenesses[] = {
    // All answers.
    {100, 3, 1, 0, 0},
    {300, 3, 2, 1, 1},
    {500, 3, 3, 2, 2},
    {1500, 3, 3, 3, 3},
    // The first alone: the second attempt is answered before it.
    {300, 1, 2, 1, 1},
    {500, 1, 2, 1, 1},
    {700, 1, 2, 1, 1},
    {1500, 1, 2, 1, 1},
    {2500, 1, 2, 1, 1},
    // The first two.
    {300, 2, 2, 1, 1},
    {500, 2, 3, 2, 2},
    {1500, 2, 3, 2, 2},
};
constexpr int kMostTries = 10;
// How far apart two frames are when nothing held the process up, and how late an answer is then at most.
constexpr milliseconds kShortestAttempt{195};
constexpr milliseconds kLongestAttempt{225};
constexpr milliseconds kLatestAnswer{20};

// What a command came to.
struct Course {
    std::size_t frames = 0;
    std::size_t timeOuts = 0;
    std::size_t leftOver = 0;
    bool isDisturbed = false;  // somebody was not let run in time

    bool IsAsComputed(const Lateness& lateness) const {
        return frames == lateness.frames && timeOuts == lateness.timeOuts && leftOver == lateness.leftOver;
    }
};

std::ostream& operator<<(std::ostream& out, const Course& course) {
    return out << course.frames << " frames, " << course.timeOuts << " time-outs, " << course.leftOver << " left over"
               << (course.isDisturbed ? ", disturbed" : "");
}

class MisansweringCarrierTest : public EndToEndTest {
protected:
    static void Misanswer(Machine& machine, What what, std::size_t count, simulator::Milliseconds delay = {}) {
        ScriptedFault fault;
        fault.what = what;
        fault.count = count;
        fault.delay = delay;
        machine.Carrier().Faults().Script(fault);
    }

    // Settings that bear a number, and the frame that carries them.
    static std::string Settings(std::size_t number) {
        return R"({"cloudGreenLed":)" + std::to_string(number % 256) + R"(,"opIDYellowLed":)" +
               std::to_string(number / 256) + "}";
    }
    static std::string Frame(std::size_t number) {
        const simulator::Bytes payload = {static_cast<std::uint8_t>(number % 256), 0, 0, 0, 0, 0, 0, 0,
                                          static_cast<std::uint8_t>(number / 256)};
        return simulator::HexText(simulator::EncodeFrame(simulator::command::kSetStrovanelLedSettings, payload));
    }
    static std::vector<std::string> FramesOf(std::size_t commands, std::size_t timesEach) {
        std::vector<std::string> frames;
        for (std::size_t number = 1; number <= commands; ++number) {
            frames.insert(frames.end(), timesEach, Frame(number));
        }
        return frames;
    }
    static void SendAll(Machine& machine, std::size_t commands) {
        for (std::size_t number = 1; number <= commands; ++number) {
            machine.Bus().Publish("led_settings", Settings(number));
        }
    }
    static void AwaitIdle(Machine& machine, std::size_t commands) {
        const std::size_t from = machine.Bus().Position();
        machine.Bus().Publish("req_delayed_device_settings", "{}");
        machine.Bus().Await("delayed_device_settings", from, {}, kLongestCommand * commands);
    }
    // Waits that lasted longer than a process needs that is let run.
    static std::size_t CountLongTimeOuts(Machine& machine, std::size_t from) {
        const std::string start = "[info] WaitForResponseToCommand() Timed out after ";
        const std::vector<std::string> lines = machine.Log().Lines();
        std::size_t count = 0;
        for (std::size_t i = from; i < lines.size(); ++i) {
            const bool isOne = lines[i].compare(0, start.size(), start) == 0;
            count += isOne && milliseconds(std::stoul(lines[i].substr(start.size()))) > kLongestAttempt ? 1U : 0U;
        }
        return count;
    }
    // One command whose answers are so late; over on return, the last answer heard.
    static Course TryLateAnswers(Machine& machine, const Lateness& lateness, std::size_t number) {
        const std::size_t line = machine.Line().Position();
        const std::size_t log = machine.Log().Position();
        const std::size_t sent = machine.Carrier().SentCount();
        Misanswer(machine, What::Late, lateness.answers, milliseconds(lateness.ms));
        machine.Bus().Publish("led_settings", Settings(number));
        machine.FlushBus();
        Course course;
        course.timeOuts = machine.Log().Count(kTimedOut, log);
        course.frames = std::min<std::size_t>(course.timeOuts + 1, 3);
        EXPECT_THAT(machine.Line().AwaitFrames(course.frames, line), AllOf(Each(Frame(number)), SizeIs(course.frames)));
        machine.Carrier().Faults().ClearScripts();
        EXPECT_TRUE(WaitUntil([&] { return machine.Carrier().SentCount() >= sent + course.frames; }, kPatience));
        course.isDisturbed = CountLongTimeOuts(machine, log) != 0 ||
                             IsDisturbed(machine.Carrier().Received(line), machine.Carrier().Sent(sent), lateness);
        machine.FlushLine();
        course.leftOver = machine.Log().Count(kUnexpectedAck, log);
        return course;
    }
    // Whether a frame followed the one before too soon or too late, or an answer did not leave when it was meant to.
    static bool IsDisturbed(const std::vector<simulator::FrameRecord>& frames,
                            const std::vector<simulator::FrameRecord>& answers, const Lateness& lateness) {
        bool isDisturbed = frames.size() != answers.size();
        std::vector<simulator::TimePoint> due;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const auto pause = frames[i].time - frames[i == 0 ? 0 : i - 1].time;
            isDisturbed |= i != 0 && (pause < kShortestAttempt || pause > kLongestAttempt);
            due.push_back(frames[i].time + milliseconds(i < lateness.answers ? lateness.ms : 0));
        }
        std::sort(due.begin(), due.end());
        for (std::size_t i = 0; i < due.size() && !isDisturbed; ++i) {
            isDisturbed = answers[i].time - due[i] > kLatestAnswer;
        }
        return isDisturbed;
    }
    static void ExpectThatItWorks(Machine& machine) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("led_settings", Settings(0xFFFF));
        machine.FlushBus();
        EXPECT_THAT(machine.Line().Frames(line), AllOf(Each(Frame(0xFFFF)), SizeIs(testing::Ge(1U))));
        machine.FlushLine();
    }
};

TEST_F(MisansweringCarrierTest, MuteItIsAskedThreeTimesForEachCommand) {
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    Misanswer(machine, What::Ignore, 0);
    SendAll(machine, kMuteCommands);
    AwaitIdle(machine, kMuteCommands);
    machine.FlushLine();
    std::vector<std::string> frames = machine.Line().Frames(line);
    frames.pop_back();  // the answer to the flush
    EXPECT_EQ(frames, FramesOf(kMuteCommands, 3));
    EXPECT_EQ(machine.Log().Count(kTimedOut), 3 * kMuteCommands);
    machine.Carrier().Faults().Clear();
    ExpectThatItWorks(machine);
}

// Two minutes by VELTRIX_CAMPAIGN_RUNS: ten of them are twenty minutes.
TEST_F(MisansweringCarrierTest, MuteForMinutesItHoldsNothingElseUp) {
    const auto silence = kSilence * CampaignSeeds(1, 1).size();
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    Misanswer(machine, What::Ignore, 0);
    std::size_t commands = 0;
    std::size_t early = 0;
    for (const auto start = steady_clock::now(); steady_clock::now() - start < silence;) {
        const std::size_t bus = machine.Bus().Position();
        machine.Bus().Publish("led_settings", Settings(++commands));
        machine.Bus().Publish("req_hal_info", "{}");
        EXPECT_NO_THROW(machine.Bus().Await("hal_info", bus, {}, kAtOnce)) << "while the command is waited for";
        const std::string status = machine.Bus().Await("hal_status", bus);
        if (commands > 1) {  // the first one still tells of what was heard before
            EXPECT_EQ(status, R"({"ready":false})");
        }
        early = commands == 2 ? machine.Hal().ResidentKiB() : early;
    }
    machine.FlushBus();
    EXPECT_GE(commands, static_cast<std::size_t>(silence / kLongestRound));
    machine.Line().AwaitFrames(3 * commands, line);
    EXPECT_EQ(machine.Line().Frames(line), FramesOf(commands, 3));
    EXPECT_EQ(machine.Log().Count(kTimedOut, log), 3 * commands);
    if (kIsResidentMemoryItsOwn) {
        EXPECT_LE(machine.Hal().ResidentKiB(), early + 256);
    }

    machine.Carrier().Faults().Clear();
    const std::size_t bus = machine.Bus().Position();
    const auto heartbeat = machine.Carrier().WaitForOutcome(machine.Carrier().SendHeartbeat(), kPatience);
    ASSERT_TRUE(heartbeat.has_value());
    EXPECT_EQ(heartbeat->state, simulator::OwnCommand::State::Acked);
    ExpectThatItWorks(machine);
    machine.Bus().AwaitPayload("hal_status", R"({"ready":true})", bus);
}

// On a computer that is busy otherwise an answer may be later than it was meant, and a process that was not let run
// during its wait finds it too late: what went wrong visibly is tried again. What shows in nothing else (a pause that
// ended with the wait) is believed once.
TEST_F(MisansweringCarrierTest, ALateAnswerCostsAsManyRepetitionsAsItIsAttemptsLate) {
    Machine& machine = GreetedMachine();
    std::size_t number = 0;
    for (const Lateness& lateness : kLatenesses) {
        SCOPED_TRACE(std::to_string(lateness.answers) + " of them " + std::to_string(lateness.ms) + " ms late");
        bool isAsComputed = false;
        std::size_t unexplained = 0;
        for (int tries = 0; tries < kMostTries && !isAsComputed; ++tries) {
            const Course course = TryLateAnswers(machine, lateness, ++number);
            isAsComputed = course.IsAsComputed(lateness);
            unexplained += isAsComputed || course.isDisturbed ? 0U : 1U;
            ASSERT_LE(unexplained, 1U) << course;
        }
        EXPECT_TRUE(isAsComputed) << "this computer is too busy";
    }
    ExpectThatItWorks(machine);
}

// The second answer to a command may be taken for the first to the next one, whose own are then left over instead. Each
// frame has two answers, of which one is used if the attempt does not time out. On a computer that is busy otherwise
// some do, and may have used one, too.
TEST_F(MisansweringCarrierTest, TwiceAnsweredCommandsGoOutOnceAndLeaveOneAnswerEach) {
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    Misanswer(machine, What::Duplicate, 0);
    SendAll(machine, kDoubledCommands);
    AwaitIdle(machine, kDoubledCommands);
    machine.FlushLine();  // the carrier has heard everything,
    std::vector<std::string> frames = machine.Line().Frames(line);
    frames.pop_back();
    machine.FlushLine();  // and the process all answers to it
    machine.Carrier().Faults().Clear();
    const std::size_t timeOuts = machine.Log().Count(kTimedOut, log);
    EXPECT_GE(machine.Log().Count(kUnexpectedAck, log), frames.size());
    EXPECT_LE(machine.Log().Count(kUnexpectedAck, log), frames.size() + timeOuts);
    EXPECT_LE(frames.size(), kDoubledCommands + timeOuts);
    std::vector<std::string> each = frames;
    each.erase(std::unique(each.begin(), each.end()), each.end());
    EXPECT_EQ(each, FramesOf(kDoubledCommands, 1));
    ExpectThatItWorks(machine);
}

}  // namespace
