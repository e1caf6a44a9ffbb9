// What the carrier's replies mean to whoever waits for them.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <fmt/format.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RepliesTest : public CarrierTest {};

TEST_F(RepliesTest, AnAckIsSuccessWhateverWasSent) {
    for (int sent = 2; sent < 256; ++sent) {
        SCOPED_TRACE(sent);
        EXPECT_EQ(mCarrier->Reply(FrameBuilder::Ack(), static_cast<CommCommands_t>(sent)), commError_None);
    }
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(RepliesTest, OnlyTheAnswersThatCarryValuesAreLookedInto) {
    gCoreEnabled = true;
    // As text, as voltage and as time it would mean something each.
    const Bytes payload = {25, 3, 4, 5};
    for (int sent = 2; sent < 256; ++sent) {
        if (sent == 7 || sent == 8 || sent == 13 || sent == 15 || sent == 37) {
            continue;
        }
        SCOPED_TRACE(sent);
        EXPECT_THAT(Printed([&] { mCarrier->Reply(FrameBuilder::Ack(payload), static_cast<CommCommands_t>(sent)); }),
                    IsEmpty());
    }
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_EQ(mCarrier->mCarrierAppVersion, "");
    EXPECT_EQ(mCarrier->mCarrierBootloaderVersion, "");
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 0.0F);
    EXPECT_THAT(mSystem.ClockSettings(), IsEmpty());
}

TEST_F(RepliesTest, TheAnswerToAdminAccessIsLoggedAsDeprecated) {
    EXPECT_EQ(mCarrier->Reply(FrameBuilder::Ack(), CommCommands_AdminAccess), commError_None);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Deprecated AdminAccess command sent by carrier 0d1")));
}

TEST_F(RepliesTest, NacksAreToldApartByTheirReason) {
    for (int reason = 0; reason < 256; ++reason) {
        SCOPED_TRACE(reason);
        const e_commError expected = reason == 16   ? commError_BusyRetry
                                     : reason == 14 ? commError_CrcFail
                                                    : commError_Nack;
        e_commError result = commError_Unknown;
        const auto printed = Printed([&] {
            result = mCarrier->Reply(FrameBuilder::Nack(static_cast<std::uint8_t>(reason)), CommCommands_EnetUp);
        });
        EXPECT_EQ(result, expected);
        EXPECT_THAT(printed, ElementsAre(fmt::format("Nack received - 0x{:x}", reason)));
        EXPECT_THAT(mLog.Take(), ElementsAre(Information("Nack received - 0d" + std::to_string(reason))));
    }
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(RepliesTest, OnlyTheFirstByteOfANackCounts) {
    EXPECT_EQ(mCarrier->Reply(FrameBuilder::Frame(0, {16, 14, 1}), CommCommands_EnetUp), commError_BusyRetry);
}

TEST_F(RepliesTest, ANackWithoutPayloadHasReasonZero) {
    EXPECT_EQ(mCarrier->Reply(FrameBuilder::Frame(0), CommCommands_EnetUp), commError_Nack);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Nack received - 0d0")));
}

TEST_F(RepliesTest, NackAndCollisionArePrintedFromVerbosityZeroOn) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] {
                    mCarrier->Reply(FrameBuilder::Nack(26), CommCommands_EnetUp);
                    mCarrier->Reply(FrameBuilder::Frame(26), CommCommands_EnetUp);
                }),
                IsEmpty());
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Nack received - 0d26"),
                                         Information("Collision!!! Expected Ack but received 0d26")));
}

TEST_F(RepliesTest, AnyOtherCommandIsACollisionAndAnsweredWithNack) {
    for (int code = 2; code < 256; ++code) {
        SCOPED_TRACE(code);
        e_commError result = commError_Unknown;
        const auto printed = Printed([&] {
            result = mCarrier->Reply(FrameBuilder::Frame(static_cast<std::uint8_t>(code)), CommCommands_EnetUp);
        });
        EXPECT_EQ(result, commError_Collision);
        EXPECT_THAT(printed, ElementsAre(fmt::format("Collision!!! Expected Ack but received 0x{:x}", code)));
        EXPECT_THAT(mLog.Take(),
                    ElementsAre(Information("Collision!!! Expected Ack but received 0d" + std::to_string(code))));
        EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 00 01 00 39 A8 0B 4E AB"));
    }
}

TEST_F(RepliesTest, ACollisionIsPrintedAndLoggedBeforeItIsAnswered) {
    const auto said =
        SaidBefore(FrameBuilder::Nack(11), [&] { mCarrier->Reply(FrameBuilder::Frame(43), CommCommands_EnetUp); });
    EXPECT_THAT(said.printed, ElementsAre("Collision!!! Expected Ack but received 0x2b"));
    EXPECT_THAT(said.logged, ElementsAre(Information("Collision!!! Expected Ack but received 0d43")));
}

TEST_F(RepliesTest, ACommandInPlaceOfAnAckIsRefusedAndEndsNoWait) {
    // The carrier asks for the SD card three times over instead of answering.
    mLine.AnswerNext(26, FrameBuilder::Frame(43), 3);
    EXPECT_EQ(mCarrier->SendCommand(CommCommands_EnetUp, 0, nullptr, 200), commError_Timeout);
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre("0A 1A 00 00 D6 9F", "0A 00 01 00 39 A8 0B 4E AB", "0A 1A 00 00 D6 9F",
                            "0A 00 01 00 39 A8 0B 4E AB", "0A 1A 00 00 D6 9F", "0A 00 01 00 39 A8 0B 4E AB"));
}

}  // namespace
