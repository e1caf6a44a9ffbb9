// The carrier's LEDs: which command shows which state, and when one is sent at all.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Led {
    const char* name;
    ledNames_e led;
    const char* on;
    const char* off;
    bool ledStatusStruct::*remembered;

    friend void PrintTo(const Led& shown, std::ostream* out) { *out << shown.name; }
};

const Led kLeds[] = {
    {"Operator", operatorLED, "0A 17 00 00 29 E0", "0A 18 00 00 63 27", &ledStatusStruct::isOperatorLedOn},
    {"Ethernet", ethernetLED, "0A 1A 00 00 D6 9F", "0A 1B 00 00 8C 43", &ledStatusStruct::isEthernetLedOn},
    {"Wifi", wifiLED, "0A 1D 00 00 5A 9A", "0A 1E 00 00 B5 FE", &ledStatusStruct::isWifiLedOn},
    {"Internet", internetLED, "0A 21 00 00 79 97", "0A 22 00 00 96 F3", &ledStatusStruct::isInternetLedOn},
    {"Usb", usbAccessLED, "0A 24 01 00 59 F2 01 E1 F1", "0A 24 01 00 59 F2 00 F0 78",
     &ledStatusStruct::usbIsBeingAccessed},
};

constexpr const char* kQuery = "0A 20 00 00 23 4B";

class LedTest : public CarrierTest {
protected:
    std::vector<std::string> Sent(ledNames_e led, bool on) {
        mCarrier->SendLedUpdate(led, on);
        return mLine.TakeFrames();
    }
};

class EachLedTest : public LedTest, public testing::WithParamInterface<Led> {};

INSTANTIATE_TEST_SUITE_P(All, EachLedTest, testing::ValuesIn(kLeds));

TEST_P(EachLedTest, IsSwitchedByItsCommandAndNotTwice) {
    const Led& led = GetParam();
    EXPECT_THAT(Sent(led.led, false), IsEmpty());
    EXPECT_THAT(Sent(led.led, true), ElementsAre(led.on));
    EXPECT_THAT(Sent(led.led, true), IsEmpty());
    EXPECT_THAT(Sent(led.led, false), ElementsAre(led.off));
    EXPECT_THAT(Sent(led.led, false), IsEmpty());
}

TEST_P(EachLedTest, IsSentAgainWhileARefreshIsDue) {
    const Led& led = GetParam();
    mCarrier->mForceLEDRefresh = true;
    EXPECT_THAT(Sent(led.led, false), ElementsAre(led.off));
    EXPECT_THAT(Sent(led.led, false), ElementsAre(led.off));
    EXPECT_TRUE(mCarrier->mForceLEDRefresh);
    mCarrier->mForceLEDRefresh = false;
    EXPECT_THAT(Sent(led.led, false), IsEmpty());
}

TEST_P(EachLedTest, IsTriedAgainUntilTheCarrierAccepts) {
    const Led& led = GetParam();
    const auto command = static_cast<std::uint8_t>(std::stoi(std::string(led.on).substr(3, 2), nullptr, 16));
    mLine.AnswerNext(command, FrameBuilder::Nack(13), 3);
    EXPECT_THAT(Sent(led.led, true), ElementsAre(led.on, led.on, led.on));
    EXPECT_FALSE(mCarrier->mOldLedStatus.*led.remembered);
    mLine.AnswerNext(command, CarrierStub::kSilence, 3);
    EXPECT_THAT(Sent(led.led, true), ElementsAre(led.on, led.on, led.on));
    EXPECT_EQ(mClock.ElapsedMs(), 13U + 13U + 3U * 200U) << "two pauses behind refusals, three time-outs";
    EXPECT_THAT(Sent(led.led, true), ElementsAre(led.on));
    EXPECT_TRUE(mCarrier->mOldLedStatus.*led.remembered);
    EXPECT_THAT(Sent(led.led, true), IsEmpty());
}

TEST_P(EachLedTest, IsTriedAgainToBeSwitchedOffUntilTheCarrierAccepts) {
    const Led& led = GetParam();
    EXPECT_THAT(Sent(led.led, true), ElementsAre(led.on));
    const auto command = static_cast<std::uint8_t>(std::stoi(std::string(led.off).substr(3, 2), nullptr, 16));
    mLine.AnswerNext(command, FrameBuilder::Nack(13), 3);
    EXPECT_THAT(Sent(led.led, false), ElementsAre(led.off, led.off, led.off));
    EXPECT_TRUE(mCarrier->mOldLedStatus.*led.remembered);
    EXPECT_THAT(Sent(led.led, false), ElementsAre(led.off));
    EXPECT_FALSE(mCarrier->mOldLedStatus.*led.remembered);
}

TEST_P(EachLedTest, LeavesTheOthersAlone) {
    const Led& led = GetParam();
    Sent(led.led, true);
    for (const Led& other : kLeds) {
        EXPECT_EQ(mCarrier->mOldLedStatus.*other.remembered, other.led == led.led) << other.name;
    }
    EXPECT_FALSE(mCarrier->mOldLedStatus.internetQueried);
}

TEST_F(LedTest, AHeartbeatInBetweenSendsTheSameStateAgain) {
    TestCarrier::runOnce = false;
    HalGlobals::g_TessimorUpdateTimer = 0;
    EXPECT_THAT(Sent(wifiLED, true), ElementsAre("0A 1D 00 00 5A 9A"));
    Receive(FrameBuilder::Frame(9));
    mLine.TakeFrames();
    EXPECT_THAT(Sent(wifiLED, true), ElementsAre("0A 1D 00 00 5A 9A"));
}

TEST_F(LedTest, AnInternetQueryIsSentEveryTime) {
    EXPECT_THAT(Sent(internetQuery, true), ElementsAre(kQuery));
    EXPECT_THAT(Sent(internetQuery, true), ElementsAre(kQuery));
    EXPECT_FALSE(mCarrier->mOldLedStatus.internetQueried);
}

TEST_F(LedTest, NoInternetQueryIsNothingToSend) {
    mCarrier->mForceLEDRefresh = true;
    mCarrier->mOldLedStatus.isInternetLedOn = true;
    EXPECT_THAT(Sent(internetQuery, false), IsEmpty());
    EXPECT_TRUE(mCarrier->mOldLedStatus.isInternetLedOn);
}

TEST_F(LedTest, AnInternetQueryForgetsTheInternetState) {
    Sent(internetLED, true);
    EXPECT_THAT(Sent(internetLED, true), IsEmpty());
    Sent(internetQuery, true);
    EXPECT_THAT(Sent(internetLED, true), ElementsAre("0A 21 00 00 79 97"));
}

TEST_F(LedTest, AnInternetQueryThatFailedForgetsTheInternetStateToo) {
    Sent(internetLED, true);
    mLine.AnswerNext(32, FrameBuilder::Nack(13), 3);
    EXPECT_THAT(Sent(internetQuery, true), ElementsAre(kQuery, kQuery, kQuery));
    EXPECT_FALSE(mCarrier->mOldLedStatus.isInternetLedOn);
}

TEST_F(LedTest, AnInternetQueryThatIsNotAnsweredTakesThreeTimes200Milliseconds) {
    mLine.AnswerNext(32, CarrierStub::kSilence, 3);
    EXPECT_THAT(Sent(internetQuery, true), ElementsAre(kQuery, kQuery, kQuery));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
}

TEST_F(LedTest, AnLedThatDoesNotExistIsNothingToSend) {
    mCarrier->mForceLEDRefresh = true;
    EXPECT_THAT(Sent(static_cast<ledNames_e>(6), true), IsEmpty());
}

struct LocalState {
    const char* name;
    void (SystemLedStatus::*set)(bool);
    bool ledStatusStruct::*remembered;
};

TEST_F(LedTest, LocalStatesAreTakenWithoutSending) {
    const LocalState kStates[] = {
        {"ethernet", &SystemLedStatus::set_ethernetIsUp, &ledStatusStruct::isEthernetLedOn},
        {"wifi", &SystemLedStatus::set_wifiIsUp, &ledStatusStruct::isWifiLedOn},
        {"operator", &SystemLedStatus::set_operatorIsUp, &ledStatusStruct::isOperatorLedOn},
        {"internet", &SystemLedStatus::set_internetIsUp, &ledStatusStruct::isInternetLedOn},
        {"query", &SystemLedStatus::set_internetQueried, &ledStatusStruct::internetQueried},
        {"usb", &SystemLedStatus::set_isAccessingUSB, &ledStatusStruct::usbIsBeingAccessed},
    };
    for (const LocalState& only : kStates) {
        SystemLedStatus status;
        (status.*only.set)(true);
        mCarrier->UpdateLocalLEDStates(&status);
        for (const LocalState& state : kStates) {
            EXPECT_EQ(mCarrier->mOldLedStatus.*state.remembered, &state == &only) << only.name << ' ' << state.name;
        }
    }
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

TEST_F(LedTest, ALocalStateCountsAsShownByTheCarrier) {
    SystemLedStatus status;
    status.set_wifiIsUp(true);
    mCarrier->UpdateLocalLEDStates(&status);
    EXPECT_THAT(Sent(wifiLED, true), IsEmpty());
    EXPECT_THAT(Sent(wifiLED, false), ElementsAre("0A 1E 00 00 B5 FE"));
}

TEST(LedNamesTest, AreTheseNumbers) {
    EXPECT_EQ(static_cast<int>(operatorLED), 0);
    EXPECT_EQ(static_cast<int>(ethernetLED), 1);
    EXPECT_EQ(static_cast<int>(wifiLED), 2);
    EXPECT_EQ(static_cast<int>(internetLED), 3);
    EXPECT_EQ(static_cast<int>(internetQuery), 4);
    EXPECT_EQ(static_cast<int>(usbAccessLED), 5);
}

class LedSettingsTest : public LedTest {
protected:
    std::vector<std::string> SentTo(std::uint16_t halVersion) {
        mCarrier->mCarrierHALVersion = halVersion;
        mCarrier->SendStrovanelLedSettings(1, 2, 3, 4, 5, 6, 7, 8, 9);
        return mLine.TakeFrames();
    }
};

TEST_F(LedSettingsTest, CarriersFromVersionSixOnGetAllNine) {
    for (const std::uint16_t version : {std::uint16_t{6}, std::uint16_t{7}, std::uint16_t{8}, std::uint16_t{65535}}) {
        EXPECT_THAT(SentTo(version), ElementsAre("0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D")) << version;
    }
}

TEST_F(LedSettingsTest, OlderCarriersGetSeven) {
    for (const std::uint16_t version : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{5}}) {
        EXPECT_THAT(SentTo(version), ElementsAre("0A 30 07 00 EB D6 01 02 03 04 05 06 07 6D 01")) << version;
    }
}

TEST_F(LedSettingsTest, ARefusalIsNotReported) {
    mLine.AnswerNext(48, FrameBuilder::Nack(0), 3);
    EXPECT_THAT(SentTo(8), testing::SizeIs(3));
    EXPECT_THAT(mLog.Take(), testing::Each(Information("Nack received - 0d0")));
}

TEST_F(LedSettingsTest, ASilentCarrierTakesThreeTimes200Milliseconds) {
    mLine.Answer(48, CarrierStub::kSilence);
    EXPECT_THAT(SentTo(8), testing::SizeIs(3));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
}

}  // namespace
