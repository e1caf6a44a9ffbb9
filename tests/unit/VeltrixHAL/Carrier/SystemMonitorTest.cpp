// The check-in with the system monitor, announced power-downs, and the health of the Tessimor process.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/SystemMonitor.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <memory>
#include <mutex>
#include <ostream>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const LogLine kRxFailed = Error("Did not check in because Rx failed");
const LogLine kTxFailed = Error("Did not check in because Tx failed");

class CheckInTest : public CarrierTest {
protected:
    void CheckInWith(std::uint32_t word) {
        HalGlobals::gProcessHealth = word;
        CheckIn(mClient, mHealth);
    }

    SystemHealth mHealth;
};

struct Word {
    std::uint32_t value;
    bool isRxMissing;
    bool isTxMissing;

    friend void PrintTo(const Word& word, std::ostream* out) { *out << word.value; }
};

class UnhealthyWordTest : public CheckInTest, public testing::WithParamInterface<Word> {};

TEST_P(UnhealthyWordTest, IsReportedAndGathersOn) {
    CheckInWith(GetParam().value);
    std::vector<LogLine> expected;
    if (GetParam().isRxMissing) {
        expected.push_back(kRxFailed);
    }
    if (GetParam().isTxMissing) {
        expected.push_back(kTxFailed);
    }
    EXPECT_EQ(mLog.Take(), expected);
    EXPECT_EQ(HalGlobals::gProcessHealth, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(All, UnhealthyWordTest,
                         testing::Values(Word{0, true, true}, Word{16, true, false}, Word{32, false, true},
                                         Word{15, true, true}, Word{31, true, false}, Word{47, false, true}));

struct Healthy {
    std::uint32_t value;
    std::uint32_t code;

    friend void PrintTo(const Healthy& word, std::ostream* out) { *out << word.value; }
};

class HealthyWordTest : public CarrierOnBusTest, public testing::WithParamInterface<Healthy> {};

TEST_P(HealthyWordTest, IsPublishedWithTheProcessesBitAndForgotten) {
    SystemHealth health;
    health.set_processName("HAL");
    HalGlobals::gProcessHealth = GetParam().value;
    CheckIn(mClient, health);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U);
    const auto published = OnlyOn<SystemHealth>("system_health");
    EXPECT_EQ(published.get_processName(), "HAL");
    EXPECT_EQ(published.get_code(), GetParam().code);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

// 64 and more count by their number, whatever their bits.
INSTANTIATE_TEST_SUITE_P(All, HealthyWordTest,
                         testing::Values(Healthy{48, 0x230}, Healthy{63, 0x23F}, Healthy{64, 0x240},
                                         Healthy{0x80000000U, 0x80000200U}));

// A frame that leaves between the two questions counts for the second.
TEST_F(CheckInTest, TheSentBitIsReadAgainAfterTheFirstMessage) {
    class SendingSink : public spdlog::sinks::base_sink<std::mutex> {
        void sink_it_(const spdlog::details::log_msg& /*message*/) override {
            HalGlobals::gProcessHealth |= HalGlobals::kHealthFramePrepared;
        }
        void flush_() override {}
    };
    VeltrixErrorLog::gRotatingLogger->sinks().push_back(std::make_shared<SendingSink>());
    CheckInWith(0);
    VeltrixErrorLog::gRotatingLogger->sinks().pop_back();
    EXPECT_THAT(mLog.Take(), ElementsAre(kRxFailed));
}

TEST_F(CheckInTest, BitsOfTwoPeriodsCountTogether) {
    CheckInWith(16);
    HalGlobals::gProcessHealth |= 32U;
    mLog.Take();
    CheckIn(mClient, mHealth);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U);
}

TEST_F(CheckInTest, WithoutTheBusTheWordIsForgottenAllTheSame) {
    CheckInWith(48);
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(CheckInTest, WhileStoppingNothingIsSaidOrForgotten) {
    gKeepRunning = false;
    CheckInWith(48);
    EXPECT_EQ(HalGlobals::gProcessHealth, 48U);
    CheckInWith(0);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(CheckInTest, WithoutALogLinesOfLevelThreeTakeTheMessagesPlace) {
    VeltrixErrorLog::gRotatingLogger = nullptr;
    const auto printed = Printed([&] { CheckInWith(0); });
    ASSERT_THAT(printed, SizeIs(2));
    EXPECT_THAT(printed, Each(testing::MatchesRegex("Rotating logger is nullptr - level: 3 - logged at "
                                                    "SystemMonitor\\.cpp:[0-9]+")));
}

TEST_F(CheckInTest, TheThreadChecksInEveryFiveSecondsUntilTheStop) {
    mClock.At(12'000, [] { gKeepRunning = false; });
    systemMonitorCheckInHandler(&mClient);
    EXPECT_THAT(mClock.Sleeps(), ElementsAre(5'000'000U, 5'000'000U, 5'000'000U));
    // The last period ended in the stop.
    EXPECT_THAT(mLog.Take(), ElementsAre(kRxFailed, kTxFailed, kRxFailed, kTxFailed));
}

TEST_F(CheckInTest, TheThreadEndsAtOnceWhenTheProcessHasStopped) {
    gKeepRunning = false;
    systemMonitorCheckInHandler(&mClient);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
}

class CheckInOnBusTest : public CarrierOnBusTest {};

TEST_F(CheckInOnBusTest, TheThreadPublishesAsHal) {
    HalGlobals::gProcessHealth = 48;
    mClock.At(5'001, [] { gKeepRunning = false; });
    systemMonitorCheckInHandler(&mClient);
    const auto published = OnlyOn<SystemHealth>("system_health");
    EXPECT_EQ(published.get_processName(), "HAL");
    EXPECT_EQ(published.get_code(), 0x230U);
}

TEST_F(CheckInOnBusTest, TheLinkItselfMakesTheProcessHealthy) {
    mCarrier->SendCommand(CommCommands_EnetUp, 0, nullptr, 200);
    mCarrier->Process();
    SystemHealth health;
    CheckIn(mClient, health);
    EXPECT_EQ(OnlyOn<SystemHealth>("system_health").get_code(), 0x230U);
}

class PowerDownTest : public CarrierTest {};

TEST_F(PowerDownTest, StopsTheProcessTwoSecondsLater) {
    PowerDownStatus status;
    status.set_isPoweringDown(true);
    status.set_nameOfCaller("Other {}");
    status.set_reasonForPowerdown("why not %s");
    bool wasRunning = false;
    mClock.At(1'999, [&] {
        wasRunning = gKeepRunning;
        EXPECT_THAT(mLog.Take(), ElementsAre(Information("Powerdown received from Other {} - why not %s.")));
    });
    receivePowerDownStatus(nullptr, &status, 0, nullptr);
    EXPECT_TRUE(wasRunning);
    EXPECT_FALSE(gKeepRunning);
    EXPECT_THAT(mClock.Sleeps(), ElementsAre(2'000'000U));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(PowerDownTest, StopsTheProcessWhateverTheMessageSays) {
    PowerDownStatus status;
    receivePowerDownStatus(nullptr, &status, 0, nullptr);
    EXPECT_FALSE(gKeepRunning);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Powerdown received from  - .")));
}

struct Code {
    std::uint32_t value;
    bool isTessimor;

    friend void PrintTo(const Code& code, std::ostream* out) { *out << code.value; }
};

class TessimorHealthTest : public testing::TestWithParam<Code> {
protected:
    const GlobalsGuard mGlobals;
};

TEST_P(TessimorHealthTest, IsToldByTheLowSixteenBits) {
    HalGlobals::g_TessimorUpdateTimer = 1;
    SystemHealth health;
    health.set_processName("anything");
    health.set_code(GetParam().value);
    const std::time_t before = std::time(nullptr);
    receiveSystemHealth(nullptr, &health, 0, nullptr);
    if (GetParam().isTessimor) {
        EXPECT_GE(HalGlobals::g_TessimorUpdateTimer, before);
        EXPECT_LE(HalGlobals::g_TessimorUpdateTimer, std::time(nullptr));
    } else {
        EXPECT_EQ(HalGlobals::g_TessimorUpdateTimer, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(All, TessimorHealthTest,
                         testing::Values(Code{0x0FFF, false}, Code{0x1000, true}, Code{0x11000, true},
                                         Code{0x10FFF, false}, Code{0xFFFF, true}, Code{0x230, false}, Code{0, false},
                                         Code{0xFFFF0000U, false}, Code{0xFFFFFFFFU, true}));

}  // namespace
