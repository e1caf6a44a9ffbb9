#include "tests/e2e/Campaign/Soak/Soak.h"

#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <thread>

#include "tests/e2e/Campaign/Soak/Growth.h"
#include "tests/e2e/Harness/ResidentMemory.h"
#include "tests/support/WaitUntil.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kStep{20};
constexpr seconds kSamplePeriod{10};
// A line that loses the start of an update costs the process three times 30 s, in which everything else waits.
constexpr seconds kLongestRest{240};
constexpr seconds kLongestTransient{5};
constexpr std::size_t kStepsPerUpdate = 500;  // about every ten seconds
constexpr milliseconds kHeartbeatPeriod{1000};
constexpr unsigned int kBaud = 115200;
// What is remembered of the line: no more than a look needs, however long the run.
constexpr std::size_t kFramesKept = 5000;
constexpr std::size_t kCommandsKept = 500;
constexpr std::size_t kImagesKept = 4;

Machine& Ready(Machine& machine) {
    machine.Boot();
    machine.Greet();
    return machine;
}

simulator::FaultRates RatesOf(double percent) {
    simulator::FaultRates rates;
    rates.drop = rates.corrupt = rates.cut = rates.duplicate = rates.delay = rates.noise = percent / 100 / 6;
    return rates;
}

std::size_t CountRetries(const std::string& output) {
    static const std::string said = " retry attempts remaining\n";
    std::size_t count = 0;
    for (std::size_t at = 0; (at = output.find(said, at)) != std::string::npos; at += said.size()) {
        ++count;
    }
    return count;
}

void SetLoss(Machine& machine, double percent) {
    for (const auto direction : {simulator::Direction::Received, simulator::Direction::Sent}) {
        machine.Carrier().Faults().SetRates(direction, RatesOf(percent));
    }
}

}  // namespace

MachineOptions Soak::MachineFor(const SoakOptions& options) {
    MachineOptions machine = BusyLife::MachineFor(options.seed);
    machine.carrier.heartbeatPeriod = kHeartbeatPeriod;
    machine.carrier.baud = kBaud;
    machine.carrier.logLimit = kFramesKept;
    machine.carrier.ownCommands.remembered = kCommandsKept;
    machine.carrier.firmware.keptImages = kImagesKept;
    return machine;
}

Soak::Soak(const SoakOptions& options)
    : mOptions(options), mMachine(MachineFor(options)), mLife(Ready(mMachine), {options.seed, kStepsPerUpdate}) {
    mLastSeen = FiguresOf(mMachine.Hal().Pid()).value_or(ProcessFigures{});
    if (!options.csvFile.empty()) {
        mCsv.open(options.csvFile, std::ios::trunc);
        if (!mCsv) {
            throw std::runtime_error("cannot write " + options.csvFile);
        }
        WriteCsvHeader(mCsv);
    }
}

bool Soak::Run(const std::function<bool()>& isToEnd) {
    mStart = Clock::now();
    SetLoss(mMachine, mOptions.lossPercent);
    Live(isToEnd);
    return End();
}

void Soak::Live(const std::function<bool()>& isToEnd) {
    const auto end =
        mStart + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(mOptions.minutes * 60));
    auto nextSample = mStart + kSamplePeriod;
    while (Clock::now() < end && !isToEnd() && mMachine.Hal().IsRunning()) {
        mLife.Step();
        std::this_thread::sleep_for(kStep);
        if (Clock::now() >= nextSample) {
            Sample();
            nextSample += kSamplePeriod;
            mMachine.ReconnectBus();  // forgets what was seen of the bus
        }
    }
}

void Soak::Sample() {
    mLastSeen = FiguresOf(mMachine.Hal().Pid()).value_or(mLastSeen);
    mRetries += CountRetries(mMachine.Out().Take());
    const simulator::CarrierStatistics line = mMachine.Carrier().Statistics();
    SoakSample sample;
    sample.elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - mStart);
    sample.framesFromModule = line.framesReceived;
    sample.framesToModule = line.framesSent;
    sample.busMessages = mLife.Bus().Sent();
    sample.errors = mLife.Carrier().Errors();
    sample.errorsAcknowledged = mLife.Carrier().ErrorsAcknowledged();
    sample.retries = mRetries;
    sample.updates = mLife.Firmware().Done();
    sample.updatesFailed = mLife.Firmware().Kept();
    sample.process = mLastSeen;
    sample.watcher = FiguresOf(getpid()).value_or(ProcessFigures{});
    const SoakSample before = mSamples.empty() ? SoakSample{} : mSamples.back();
    const double span = static_cast<double>((sample.elapsed - before.elapsed).count()) / 1000;
    // Ticks are too coarse for less than that.
    sample.cpuPercent = before.cpuPercent;
    if (span >= 1) {
        sample.cpuPercent = 100 * (mLastSeen.cpuSeconds - before.process.cpuSeconds) / span;
    }
    mSamples.push_back(sample);
    WriteLine(std::cout, sample);
    if (mCsv.is_open()) {
        WriteCsv(mCsv, sample);
    }
}

// Over a clean line again: what was begun ends, a heartbeat is acknowledged, and settings reach the carrier.
bool Soak::DoesAnswer() {
    SetLoss(mMachine, 0);
    if (!mLife.Rest(kLongestRest)) {
        std::cout << "the process does not come to rest" << std::endl;
        return false;
    }
    const auto heartbeat = mMachine.Carrier().WaitForOutcome(mMachine.Carrier().SendHeartbeat(), kLongestRest);
    if (!heartbeat || heartbeat->state != simulator::OwnCommand::State::Acked) {
        std::cout << "the last heartbeat was not acknowledged" << std::endl;
        return false;
    }
    const simulator::Bytes wanted = {0, 0, 0, 0, 0, 0, 0, 0, 77};
    mMachine.Bus().Publish("led_settings", R"({"opIDYellowLed":77})");
    if (!mMachine.Carrier().WaitForFrame(simulator::command::kSetStrovanelLedSettings, wanted, kPatience)) {
        std::cout << "the last LED settings did not arrive" << std::endl;
        return false;
    }
    return true;
}

// A file that is open for a moment only is no growth.
std::string Soak::AwaitNoGrowth() {
    const std::optional<ProcessFigures> before = AfterWarmUp(mSamples);
    std::string grown;
    WaitUntil(
        [&] {
            const std::optional<ProcessFigures> now = FiguresOf(mMachine.Hal().Pid());
            grown = before && now ? ForbiddenGrowth(*before, *now, kIsResidentMemoryItsOwn) : "";
            return grown.empty();
        },
        kLongestTransient);
    return grown;
}

bool Soak::End() {
    const bool isAlive = mMachine.Hal().IsRunning();
    const bool doesAnswer = isAlive && DoesAnswer();
    const std::string grown = AwaitNoGrowth();
    Sample();
    std::cout << GrowthText(mSamples) << std::endl;
    if (!grown.empty()) {
        std::cout << "more than after the warm-up: " << grown << std::endl;
    }
    const std::optional<int> status = isAlive ? mMachine.Stop() : mMachine.Hal().WaitForExit();
    std::cout << (isAlive ? "stopped" : "the process has ended by itself,") << " with status "
              << (status ? std::to_string(*status) : "(still running)")
              << ", images that nobody made: " << mLife.Firmware().Wrong() << std::endl;
    return doesAnswer && grown.empty() && status == 0 && mLife.Firmware().Wrong() == 0;
}
