// What the carrier sends of its own accord: which commands are answered, with what, and which are only logged.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <set>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::set<int> kKnown = {0, 1, 3, 9, 11, 12, 13, 15, 35, 38, 40, 41, 43, 44};

class DispatchTest : public CarrierTest {
protected:
    // A heartbeat with nothing to do but answer.
    void SkipStartSequence() {
        TestCarrier::runOnce = false;
        HalGlobals::g_TessimorUpdateTimer = 0;
    }
};

TEST_F(DispatchTest, NothingIsSentAtConstruction) {
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_EQ(mLine.Port().ReadCalls(), 0U);
    EXPECT_FALSE(mCarrier->mFirmwareUpdateInProgress);
    EXPECT_FALSE(mCarrier->mCarrierIsReadyForFile);
    EXPECT_FALSE(mCarrier->mForceLEDRefresh);
    EXPECT_FALSE(mCarrier->mIsCarrierAlive);
    EXPECT_EQ(mCarrier->mCarrierHALVersion, 0);
    EXPECT_EQ(mCarrier->mBoardRevision, 0);
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "");
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "");
    EXPECT_EQ(mCarrier->mBusinessUnit, 120);
    EXPECT_EQ(mCarrier->mProductId, 1);
}

TEST_F(DispatchTest, EveryUnknownCommandIsLoggedAndLeftUnanswered) {
    for (int code = 0; code < 256; ++code) {
        if (kKnown.count(code) != 0) {
            continue;
        }
        SCOPED_TRACE(code);
        const auto printed = Printed([&] {
            Receive(FrameBuilder::Frame(static_cast<std::uint8_t>(code), {0x0A, 0x01}));
        });
        EXPECT_THAT(printed, IsEmpty());
        EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
        EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unknown packet received 0d" + std::to_string(code))));
    }
}

TEST_F(DispatchTest, AnUnknownCommandWithoutPayloadIsLoggedToo) {
    Receive(FrameBuilder::Frame(255));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unknown packet received 0d255")));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(DispatchTest, CommandsThatAreOnlyAcknowledged) {
    SkipStartSequence();
    for (const int code : {3, 9, 11, 12, 13, 15, 35, 38}) {
        SCOPED_TRACE(code);
        Receive(FrameBuilder::Frame(static_cast<std::uint8_t>(code)));
        EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC"));
        EXPECT_THAT(LogWith("Unknown packet"), IsEmpty());
    }
}

TEST_F(DispatchTest, SampleDataIsAcknowledgedAndNotUsed) {
    Receive(FrameBuilder::Frame(11, FrameBuilder::Ramp(1000)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC"));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(DispatchTest, ValuesThatComeUnaskedAreNotTaken) {
    gCoreEnabled = true;
    Receive(FrameBuilder::Frame(13, {0x00, 0x00, 0x50, 0x40}));
    Receive(FrameBuilder::Frame(15, {25, 3, 4, 5, 6, 7, 0, 0}));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC", "0A 01 00 00 7A AC"));
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 0.0F);
    EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
    EXPECT_TRUE(TestCarrier::setOnce);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(DispatchTest, AnUnexpectedNackIsPrintedAndLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Nack(4)); }), ElementsAre("Received Nack but not expecting one"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Received Nack but not expecting one")));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(DispatchTest, AnUnexpectedAckIsPrintedAndLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Ack()); }), ElementsAre("Received Ack but not expecting one"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Received Ack but not expecting one")));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(DispatchTest, TheDeprecatedDropbearCommandIsOnlyLogged) {
    EXPECT_THAT(Printed([&] { Receive(FrameBuilder::Frame(41, {1})); }), IsEmpty());
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Deprecated Dropbear command called by carrier: 0d41")));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(DispatchTest, ACommsTestWithoutPayloadIsAnsweredWithoutPayload) {
    Receive({0x0A, 0x28, 0x00, 0x00, 0xE5, 0x89});
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC"));
}

TEST_F(DispatchTest, ACommsTestOfOneByteComesBack) {
    Receive(FrameBuilder::Frame(40, {0x0A}));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(Hex(FrameBuilder::Frame(1, {0x0A}))));
}

TEST_F(DispatchTest, ACommsTestComesBackByteForByteInFramesOf1024) {
    const std::vector<std::pair<std::size_t, std::size_t>> kSizesAndFrames = {
        {1023, 1}, {1024, 1}, {1025, 2}, {2048, 2}, {65528, 64}};
    for (const auto& [size, frames] : kSizesAndFrames) {
        SCOPED_TRACE(size);
        const Bytes payload = FrameBuilder::Ramp(size, 3);
        Receive(FrameBuilder::Frame(40, payload));
        Bytes echoed;
        std::size_t count = 0;
        for (const Bytes& frame : mLine.Port().TakeWrites()) {
            ASSERT_GT(frame.size(), 8U);
            const Bytes piece(frame.begin() + 6, frame.end() - 2);
            EXPECT_LE(piece.size(), 1024U);
            EXPECT_EQ(frame, FrameBuilder::Frame(1, piece));
            echoed.insert(echoed.end(), piece.begin(), piece.end());
            ++count;
        }
        EXPECT_EQ(count, frames);
        EXPECT_EQ(echoed, payload);
    }
}

TEST_F(DispatchTest, EachReceivedFrameMarksTheCarrierAlive) {
    Receive(FrameBuilder::Frame(200));
    EXPECT_TRUE(mCarrier->mIsCarrierAlive);
}

}  // namespace
