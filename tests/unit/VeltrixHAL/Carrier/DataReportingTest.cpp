// The carrier's data reporting follows the health of the Tessimor process, heartbeat by heartbeat.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kEnable = "0A 0A 01 00 4A D2 01 E1 F1";
constexpr const char* kDisable = "0A 0A 01 00 4A D2 00 F0 78";

class DataReportingTest : public CarrierTest {
protected:
    DataReportingTest() {
        TestCarrier::runOnce = false;
        VeltrixErrorLog::gVerbosity = -1;
    }

    // A heartbeat `age` seconds after the last health message.
    void ReceiveAt(std::time_t age) {
        HalGlobals::g_TessimorUpdateTimer = std::time(nullptr) - age;
        Receive(FrameBuilder::Frame(9));
    }
    // The same; returns what it printed.
    std::vector<std::string> Beat(std::time_t age) {
        return Printed([&] { ReceiveAt(age); });
    }

    // Whether it is on after that, judged within one second of the clock.
    bool IsOnAt(std::time_t age, bool wasOn) {
        std::time_t before = 0;
        do {
            TestCarrier::dataReportingEnabled = wasOn;
            before = std::time(nullptr);
            Beat(age);
        } while (std::time(nullptr) != before);
        return TestCarrier::dataReportingEnabled;
    }
};

TEST_F(DataReportingTest, IsSwitchedOnWhileTheHealthIsFresh) {
    EXPECT_THAT(Beat(-60), ElementsAre("**** Enable data reporting ****"));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kEnable));
    EXPECT_TRUE(TestCarrier::dataReportingEnabled);
}

TEST_F(DataReportingTest, IsSwitchedOnOnlyOnce) {
    Beat(-60);
    mLine.TakeFrames();
    EXPECT_THAT(Beat(-60), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(DataReportingTest, IsSwitchedOffWhenTheHealthHasAged) {
    Beat(-60);
    mLine.TakeFrames();
    EXPECT_THAT(Beat(60), ElementsAre("**** Disable data reporting ****"));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kDisable));
    EXPECT_FALSE(TestCarrier::dataReportingEnabled);
    EXPECT_THAT(Beat(60), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(DataReportingTest, IsPrintedBeforeTheCarrierIsTold) {
    VeltrixErrorLog::gVerbosity = 2;
    EXPECT_THAT(SaidBefore(FrameBuilder::Frame(10, {1}), [&] { ReceiveAt(-60); }).printed,
                ElementsAre("Sending command: 0x1", "**** Enable data reporting ****", "Sending command: 0xa"));
    EXPECT_THAT(SaidBefore(FrameBuilder::Frame(10, {0}), [&] { ReceiveAt(60); }).printed,
                ElementsAre("Sending command: 0x1", "**** Disable data reporting ****", "Sending command: 0xa"));
}

TEST_F(DataReportingTest, StaysOffWithoutHealth) {
    EXPECT_THAT(Beat(60), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(DataReportingTest, IsWantedBelowTwoSeconds) {
    for (const bool wasOn : {false, true}) {
        SCOPED_TRACE(wasOn);
        EXPECT_TRUE(IsOnAt(0, wasOn));
        EXPECT_TRUE(IsOnAt(1, wasOn));
        EXPECT_FALSE(IsOnAt(2, wasOn));
        EXPECT_FALSE(IsOnAt(3, wasOn));
    }
}

TEST_F(DataReportingTest, SurvivesTheLargestAge) {
    HalGlobals::g_TessimorUpdateTimer = 0;
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Frame(9)); }), IsEmpty());
    EXPECT_FALSE(TestCarrier::dataReportingEnabled);
}

TEST_F(DataReportingTest, CountsAsSwitchedAlthoughTheCarrierRefused) {
    mLine.AnswerNext(10, FrameBuilder::Nack(0), 3);
    Beat(-60);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kEnable, kEnable, kEnable));
    EXPECT_TRUE(TestCarrier::dataReportingEnabled);
    EXPECT_THAT(Beat(-60), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(DataReportingTest, CountsAsSwitchedOffAlthoughTheCarrierWasSilent) {
    Beat(-60);
    mLine.TakeFrames();
    mLine.Answer(10, CarrierStub::kSilence);
    Beat(60);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kDisable, kDisable, kDisable));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
    EXPECT_FALSE(TestCarrier::dataReportingEnabled);
    Beat(60);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(DataReportingTest, IsSwitchedAfterTheStartSequence) {
    TestCarrier::runOnce = true;
    Beat(-60);
    const auto frames = mLine.TakeFrames();
    ASSERT_GT(frames.size(), 2U);
    EXPECT_EQ(frames.back(), kEnable);
    EXPECT_EQ(frames[frames.size() - 2], "0A 0F 00 00 6A B7");
}

}  // namespace
