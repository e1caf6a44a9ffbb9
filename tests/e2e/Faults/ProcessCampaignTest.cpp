// Fifty ends by each of four signals, each followed by a new start at once, in the midst of traffic: one in five at a
// random moment of the start, from its first instant on, the others at one after the process has said that it is ready,
// which each of these has to. The stored configuration is whole whenever somebody looks.
#include <charconv>
#include <csignal>
#include <iostream>
#include <thread>

#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Campaign/Chance.h"
#include "tests/e2e/Faults/CampaignTest.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint64_t kFirstSeed = 5000;
constexpr std::size_t kMachines = 10;
constexpr std::size_t kLives = 5;
constexpr milliseconds kLongestStop{6000};
// A start takes three seconds and a little.
constexpr std::size_t kLongestStartMs = 3500;
constexpr std::size_t kLongestLifeMs = 1500;
constexpr milliseconds kTrafficPeriod{25};
constexpr const char* kPidFile = "/var/hal.pid";

// A machine whose process dies again and again.
class Subject {
public:
    Subject(Machine& machine, int signal, std::uint64_t seed)
        : mMachine(machine),
          mProbe(machine.BusBroker().Socket()),
          mSignal(signal),
          mSeed(seed),
          mChance(seed),
          mShortLife(mChance.Below(kLives)) {
        Begin();
    }

    bool IsOver() const { return mLives == kLives; }

    // One round: traffic, a look at the file, and the end when its time has come.
    void Advance() {
        SCOPED_TRACE("seed " + std::to_string(mSeed) + ", life " + std::to_string(mLives));
        SendTraffic();
        ExpectWholeConfiguration();
        const auto now = steady_clock::now();
        NoteReadiness(now);
        if (!mIsEnding && now >= mEndAt) {
            mMachine.Hal().Signal(mSignal);
            mIsEnding = true;
            mEndAt = now;
        }
        if (mIsEnding && (!mMachine.Hal().IsRunning() || now - mEndAt > kLongestStop)) {
            ExpectProperEnd();
            ++mLives;
            Begin();
        }
    }

    // The life after the last end is a full one: it has met its carrier, hears it and the bus, and stores.
    void ExpectToLive() {
        mMachine.Out().Await("published info");
        mMachine.Carrier().SetHeartbeatPeriod(simulator::Milliseconds(0));
        mMachine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":77})");
        mMachine.FlushBus();
        mMachine.FlushLine();
        EXPECT_EQ(Configuration(), 77U);
    }

    std::size_t EndsWhenReady() const { return mEndsWhenReady; }

private:
    // The same draws for every life, whatever becomes of it.
    void Begin() {
        mBusBefore.reset();
        mIsEnding = false;
        mWasReady = false;
        const milliseconds startLimit(mChance.Below(kLongestStartMs));
        mLifeLimit = milliseconds(mChance.Below(kLongestLifeMs));
        mMachine.Start();
        mStarted = steady_clock::now();
        mEndAt = mLives == mShortLife ? mStarted + startLimit : steady_clock::time_point::max();
    }

    void NoteReadiness(steady_clock::time_point now) {
        if (mWasReady || mIsEnding) {
            return;
        }
        // What the life before put on the bus may arrive only now: this one is not ready before its pause of 3 s.
        if (!mBusBefore && mMachine.Out().Has("Wait a few moments before using UART")) {
            mBusBefore = mMachine.Bus().Position();
        }
        mWasReady = (mBusBefore && mMachine.Bus().Count("process_ready", *mBusBefore) != 0) ||
                    mMachine.Out().Has("published info");
        if (mLives == mShortLife) {
            return;
        }
        if (mWasReady) {
            mEndAt = now + mLifeLimit;
        } else {
            ASSERT_LT(now - mStarted, kPatience) << "does not start";
            ASSERT_TRUE(mMachine.Hal().IsRunning()) << "did not start";
        }
    }

    void SendTraffic() {
        mProbe.PublishLater("incoming_commands", R"({"arcStartThreshold":)" + std::to_string(++mThreshold) + "}");
        mProbe.PublishLater("system_led_status", mThreshold % 2 == 0 ? R"({"ethernetIsUp":true})" : "{}");
        mProbe.PublishLater("req_hal_info", "{}");
    }

    // The number in the file; nothing when it holds anything but one that is whole.
    std::optional<unsigned int> Configuration() const {
        static const std::string kBefore = "{\n\t\"ArcStartAmps\":\t";
        static const std::string kBehind = "\n}";
        const std::string text = mMachine.Files().Read("/Veltrix/system.config");
        if (text.size() <= kBefore.size() + kBehind.size() || text.rfind(kBefore, 0) != 0) {
            return std::nullopt;
        }
        unsigned int number = 0;
        const char* const end = text.data() + text.size() - kBehind.size();
        const auto result = std::from_chars(text.data() + kBefore.size(), end, number);
        return result.ec == std::errc{} && result.ptr == end && kBehind == end ? std::optional(number) : std::nullopt;
    }

    // One of the values that were sent, or none yet.
    void ExpectWholeConfiguration() {
        if (!mMachine.Files().Exists("/Veltrix/system.config")) {
            EXPECT_FALSE(mHasConfiguration) << "it was there before";
            return;
        }
        mHasConfiguration = true;
        const auto stored = Configuration();
        ASSERT_TRUE(stored.has_value()) << mMachine.Files().Read("/Veltrix/system.config");
        EXPECT_GT(*stored, kFirstThreshold);
        EXPECT_LE(*stored, mThreshold);
    }

    void ExpectProperEnd() {
        const auto status = mMachine.Hal().WaitForExit(milliseconds(0));
        const auto pid = std::to_string(mMachine.Hal().Pid());
        ASSERT_TRUE(status.has_value()) << "still there after six seconds";
        if (mSignal == SIGKILL) {
            EXPECT_EQ(status, -SIGKILL);
        } else if (mWasReady) {
            EXPECT_EQ(status, 0);
            EXPECT_TRUE(mMachine.Out().Has("HAL is down"));
        } else {
            // Before the handlers are there a signal has its own effect.
            EXPECT_THAT(status, testing::AnyOf(testing::Optional(0), testing::Optional(-mSignal)));
        }
        mEndsWhenReady += mWasReady ? 1U : 0U;
        EXPECT_EQ(mMachine.Err().Text().find("terminate"), std::string::npos) << mMachine.Err().Text();
        EXPECT_EQ(mMachine.Err().Text().find("Lock for UART"), std::string::npos) << mMachine.Err().Text();
        const std::string pidFile = mMachine.Files().Read(kPidFile);
        EXPECT_TRUE(pidFile == pid || (!mWasReady && (pidFile.empty() || pidFile == mPidBefore))) << pidFile;
        mPidBefore = pidFile;
        ExpectWholeConfiguration();
    }

    static constexpr unsigned int kFirstThreshold = 1000;

    Machine& mMachine;
    BusProbe mProbe;
    int mSignal;
    std::uint64_t mSeed;
    Chance mChance;
    std::size_t mShortLife;
    std::size_t mLives = 0;
    std::optional<std::size_t> mBusBefore;  // where this life begins to be seen there
    std::size_t mEndsWhenReady = 0;
    bool mWasReady = false;
    bool mIsEnding = false;
    bool mHasConfiguration = false;
    unsigned int mThreshold = kFirstThreshold;
    std::string mPidBefore;
    milliseconds mLifeLimit{0};
    steady_clock::time_point mStarted;
    steady_clock::time_point mEndAt;
};

class ProcessCampaignTest : public CampaignTest, public testing::WithParamInterface<int> {
protected:
    // No machine of any campaign with another signal or another seed draws by the same one.
    static std::uint64_t FirstSeed(std::uint64_t seed) {
        constexpr std::uint64_t kSignals = 16;
        return (kSignals * seed + static_cast<std::uint64_t>(GetParam())) * kMachines;
    }

    void Run(std::uint64_t seed) {
        MachineOptions options;
        options.arguments = {"-f", "-v", "0"};
        options.carrier.heartbeatPeriod = simulator::Milliseconds(40);
        options.carrier.logLimit = 1000;
        std::vector<std::unique_ptr<Subject>> subjects;
        for (std::size_t i = 0; i < kMachines; ++i) {
            Machine& machine = NewMachine(options);
            machine.AddArguments({"-p", machine.Files().Path(kPidFile)});
            subjects.push_back(std::make_unique<Subject>(machine, GetParam(), FirstSeed(seed) + i));
        }
        for (bool isOver = false; !isOver && !HasFatalFailure();) {
            std::this_thread::sleep_for(kTrafficPeriod);
            isOver = true;
            for (const auto& subject : subjects) {
                if (!subject->IsOver()) {
                    subject->Advance();
                    isOver = false;
                }
            }
        }
        std::size_t endsWhenReady = 0;
        for (const auto& subject : subjects) {
            subject->ExpectToLive();
            endsWhenReady += subject->EndsWhenReady();
        }
        std::cout << endsWhenReady << " of " << kMachines * kLives << " ends came after the start" << std::endl;
        EXPECT_GE(endsWhenReady, kMachines * (kLives - 1));
    }
};

TEST_P(ProcessCampaignTest, EndsProperlyAndStartsAgainFiftyTimes) {
    for (const std::uint64_t seed : CampaignSeeds(kFirstSeed, 1)) {
        std::cout << "VELTRIX_CAMPAIGN_SEED=" << seed << std::endl;
        Run(seed);
        ASSERT_FALSE(HasFailure());
        EndMachines();
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, ProcessCampaignTest, testing::Values(SIGTERM, SIGINT, SIGHUP, SIGKILL),
                         [](const auto& test) { return "Signal" + std::to_string(test.param); });

}  // namespace
