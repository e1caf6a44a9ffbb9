// A carrier that answers nothing for a long time, answers late again and again, or answers everything twice.
#include <algorithm>

#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

namespace {

using simulator::ScriptedFault;
using testing::AllOf;
using testing::Each;
using testing::SizeIs;
using What = simulator::ScriptedFault::What;

constexpr const char* kTimedOut = "[info] WaitForResponseToCommand() Timed out after {}";
constexpr const char* kUnexpectedAck = "[warning] Received Ack but not expecting one";
constexpr std::size_t kMuteCommands = 20;  // three attempts of 200 ms each: twelve seconds
constexpr std::size_t kDoubledCommands = 100;

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
    static void AwaitIdle(Machine& machine) {
        const std::size_t from = machine.Bus().Position();
        machine.Bus().Publish("req_delayed_device_settings", "{}");
        machine.Bus().Await("delayed_device_settings", from, {}, std::chrono::minutes(10));
    }
    // Waits that lasted longer than a process needs that is let run.
    static std::size_t CountLongTimeOuts(Machine& machine, std::size_t from) {
        const std::string start = "[info] WaitForResponseToCommand() Timed out after ";
        const std::vector<std::string> lines = machine.Log().Lines();
        std::size_t count = 0;
        for (std::size_t i = from; i < lines.size(); ++i) {
            const bool isOne = lines[i].compare(0, start.size(), start) == 0;
            count += isOne && std::stoul(lines[i].substr(start.size())) > 250 ? 1U : 0U;
        }
        return count;
    }
    static void ExpectThatItWorks(Machine& machine) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish("led_settings", Settings(0xFFFF));
        machine.FlushBus();
        EXPECT_THAT(machine.Line().Frames(line), AllOf(Each(Frame(0xFFFF)), SizeIs(testing::Ge(1U))));
        machine.FlushLine();
    }
};

// More than twelve seconds by VELTRIX_CAMPAIGN_RUNS: 100 of them are twenty minutes.
TEST_F(MisansweringCarrierTest, MuteForAsLongAsItLikesItIsAskedThreeTimesForEachCommand) {
    const std::size_t commands = kMuteCommands * CampaignSeeds(1, 1).size();
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    Misanswer(machine, What::Ignore, 0);
    SendAll(machine, commands);
    machine.Bus().Await("hal_status");
    const std::size_t early = machine.Hal().ResidentKiB();
    AwaitIdle(machine);
    machine.FlushLine();
    std::vector<std::string> frames = machine.Line().Frames(line);
    frames.pop_back();  // the answer to the flush
    EXPECT_EQ(frames, FramesOf(commands, 3));
    EXPECT_EQ(machine.Log().Count(kTimedOut), 3 * commands);
    machine.Bus().AwaitPayload("hal_status", R"({"ready":false})");
    EXPECT_LE(machine.Hal().ResidentKiB(), early + (VELTRIX_IS_SANITIZED ? 16 * 1024 : 256));

    machine.Carrier().Faults().Clear();
    const std::size_t bus = machine.Bus().Position();
    ExpectThatItWorks(machine);
    machine.Bus().AwaitPayload("hal_status", R"({"ready":true})", bus);
}

// The answer to the second attempt comes at once, and the late one to the first when nobody waits for it any more. On a
// computer that is busy otherwise any answer may be late, which costs one more repetition; and a process that was not
// let run during its wait finds the answer, but too late: that is a time-out, and no answer is left over.
TEST_F(MisansweringCarrierTest, HoweverLateAnAnswerIsItCostsOneRepetition) {
    Machine& machine = GreetedMachine();
    std::size_t number = 0;
    for (const int delay : {300, 350, 400, 450, 500, 600, 700, 800, 1000, 1500, 2500}) {
        SCOPED_TRACE(std::to_string(delay) + " ms");
        const std::size_t line = machine.Line().Position();
        const std::size_t log = machine.Log().Position();
        const std::size_t sent = machine.Carrier().SentCount();
        Misanswer(machine, What::Late, 1, simulator::Milliseconds(delay));
        machine.Bus().Publish("led_settings", Settings(++number));
        machine.FlushBus();
        const std::size_t timeOuts = machine.Log().Count(kTimedOut, log);
        const std::size_t frames = std::min<std::size_t>(timeOuts + 1, 3);
        EXPECT_GE(timeOuts, 1U);
        EXPECT_THAT(machine.Line().AwaitFrames(frames, line), AllOf(Each(Frame(number)), SizeIs(frames)));
        ASSERT_TRUE(WaitUntil([&] { return machine.Carrier().SentCount() >= sent + frames; }, kPatience));
        machine.FlushLine();
        const std::size_t leftOver = machine.Log().Count(kUnexpectedAck, log);
        EXPECT_LE(leftOver, timeOuts);
        EXPECT_GE(leftOver + (timeOuts - 1) + CountLongTimeOuts(machine, log), 1U);
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
    AwaitIdle(machine);
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
