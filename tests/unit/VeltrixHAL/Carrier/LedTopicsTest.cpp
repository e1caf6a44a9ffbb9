// "system_led_status" and "led_settings": what other processes want shown.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/CarrierTopics.h"

#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

SystemLedStatus AllStates(bool on) {
    SystemLedStatus status;
    status.set_ethernetIsUp(on);
    status.set_wifiIsUp(on);
    status.set_operatorIsUp(on);
    status.set_internetIsUp(on);
    status.set_internetQueried(on);
    status.set_isAccessingUSB(on);
    return status;
}

class SystemLedStatusTest : public CarrierTest {
protected:
    std::vector<std::string> SentFor(SystemLedStatus status) {
        receiveSystemLedStatus(&mClient, &status, 0, mCarrier.get());
        return mLine.TakeFrames();
    }
};

TEST_F(SystemLedStatusTest, AllOnIsSentInThisOrder) {
    EXPECT_THAT(SentFor(AllStates(true)), ElementsAre("0A 1A 00 00 D6 9F",             // ethernet
                                                      "0A 1D 00 00 5A 9A",             // Wi-Fi
                                                      "0A 17 00 00 29 E0",             // operator
                                                      "0A 20 00 00 23 4B",             // internet query
                                                      "0A 21 00 00 79 97",             // internet
                                                      "0A 24 01 00 59 F2 01 E1 F1"));  // USB
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

struct State {
    void (SystemLedStatus::*set)(bool);
    const char* frame;

    friend void PrintTo(const State& state, std::ostream* out) { *out << state.frame; }
};

class OneStateTest : public SystemLedStatusTest, public testing::WithParamInterface<State> {};

TEST_P(OneStateTest, HasItsOwnCommand) {
    SystemLedStatus status;
    (status.*GetParam().set)(true);
    EXPECT_THAT(SentFor(status), ElementsAre(GetParam().frame));
}

INSTANTIATE_TEST_SUITE_P(All, OneStateTest,
                         testing::Values(State{&SystemLedStatus::set_ethernetIsUp, "0A 1A 00 00 D6 9F"},
                                         State{&SystemLedStatus::set_wifiIsUp, "0A 1D 00 00 5A 9A"},
                                         State{&SystemLedStatus::set_operatorIsUp, "0A 17 00 00 29 E0"},
                                         State{&SystemLedStatus::set_internetQueried, "0A 20 00 00 23 4B"},
                                         State{&SystemLedStatus::set_internetIsUp, "0A 21 00 00 79 97"},
                                         State{&SystemLedStatus::set_isAccessingUSB, "0A 24 01 00 59 F2 01 E1 F1"}));

TEST_F(SystemLedStatusTest, AllOffIsSentOnlyWhileARefreshIsDue) {
    EXPECT_THAT(SentFor(AllStates(false)), IsEmpty());
    mCarrier->mForceLEDRefresh = true;
    EXPECT_THAT(SentFor(AllStates(false)), ElementsAre("0A 1B 00 00 8C 43", "0A 1E 00 00 B5 FE", "0A 18 00 00 63 27",
                                                       "0A 22 00 00 96 F3", "0A 24 01 00 59 F2 00 F0 78"));
    EXPECT_FALSE(mCarrier->mForceLEDRefresh);
    EXPECT_THAT(SentFor(AllStates(false)), IsEmpty());
}

TEST_F(SystemLedStatusTest, OnlyChangesAreSent) {
    SentFor(AllStates(true));
    SystemLedStatus status = AllStates(true);
    status.set_internetQueried(false);
    EXPECT_THAT(SentFor(status), IsEmpty());
    status.set_wifiIsUp(false);
    EXPECT_THAT(SentFor(status), ElementsAre("0A 1E 00 00 B5 FE"));
}

TEST_F(SystemLedStatusTest, EachQuerySendsTheInternetStateAgain) {
    SentFor(AllStates(true));
    EXPECT_THAT(SentFor(AllStates(true)), ElementsAre("0A 20 00 00 23 4B", "0A 21 00 00 79 97"));
}

TEST_F(SystemLedStatusTest, TheRefreshIsOverEvenWhenTheCarrierRefused) {
    mCarrier->mForceLEDRefresh = true;
    for (const std::uint8_t command : Bytes{24, 27, 30, 34, 36}) {
        mLine.Answer(command, FrameBuilder::Nack(13));
    }
    SentFor(AllStates(false));
    EXPECT_FALSE(mCarrier->mForceLEDRefresh);
}

TEST_F(SystemLedStatusTest, OnesNotForTheCarrierAreOnlyNoted) {
    SystemLedStatus status = AllStates(true);
    status.set_doNotSendToCarrier(true);
    EXPECT_THAT(SentFor(status), IsEmpty());
    EXPECT_TRUE(mCarrier->mForceLEDRefresh);
    EXPECT_TRUE(mCarrier->mOldLedStatus.isWifiLedOn);
    // The refresh sends everything although the states are those noted.
    EXPECT_EQ(SentFor(AllStates(true)).size(), 6U);
}

TEST_F(SystemLedStatusTest, OnesNotForTheCarrierAreNotedDuringAnUpdateToo) {
    mCarrier->mFirmwareUpdateInProgress = true;
    SystemLedStatus status = AllStates(true);
    status.set_doNotSendToCarrier(true);
    EXPECT_THAT(SentFor(status), IsEmpty());
    EXPECT_TRUE(mCarrier->mOldLedStatus.isWifiLedOn);
}

TEST_F(SystemLedStatusTest, DuringAnUpdateTheyAreDroppedWithoutAWord) {
    mCarrier->mFirmwareUpdateInProgress = true;
    mCarrier->mForceLEDRefresh = true;
    EXPECT_THAT(Printed([&] { EXPECT_THAT(SentFor(AllStates(true)), IsEmpty()); }), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_TRUE(mCarrier->mForceLEDRefresh);
    EXPECT_FALSE(mCarrier->mOldLedStatus.isWifiLedOn);
}

TEST_F(SystemLedStatusTest, WhatHoldsBackTheLedSettingsDoesNotHoldThemBack) {
    HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = true;
    EXPECT_EQ(SentFor(AllStates(true)).size(), 6U);
}

class LedSettingsTopicTest : public CarrierTest {
protected:
    std::vector<std::string> SentFor(LedSettings settings) {
        mCarrier->mCarrierHALVersion = 8;
        receiveLedSettings(&mClient, &settings, 0, mCarrier.get());
        return mLine.TakeFrames();
    }

    static LedSettings OneToNine() {
        LedSettings settings;
        settings.set_cloudGreenLed(1);
        settings.set_cloudYellowLed(2);
        settings.set_wifiGreenLed(3);
        settings.set_wifiYellowLed(4);
        settings.set_ethernetGreenLed(5);
        settings.set_ethernetYellowLed(6);
        settings.set_usbGreenLed(7);
        settings.set_opIDGreenLed(8);
        settings.set_opIDYellowLed(9);
        return settings;
    }
};

TEST_F(LedSettingsTopicTest, AreSentInTheirOrder) {
    EXPECT_THAT(SentFor(OneToNine()), ElementsAre("0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D"));
}

TEST_F(LedSettingsTopicTest, EachIsCutToAByte) {
    LedSettings settings;
    settings.set_cloudGreenLed(256);
    settings.set_cloudYellowLed(-1);
    settings.set_wifiGreenLed(300);
    settings.set_opIDYellowLed(265);
    EXPECT_THAT(SentFor(settings), ElementsAre("0A 30 09 00 71 C6 00 FF 2C 00 00 00 00 00 09 0C 16"));
}

TEST_F(LedSettingsTopicTest, AreDroppedWhileAFileGoesToTheCarrier) {
    HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = true;
    EXPECT_THAT(SentFor(OneToNine()), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = false;
    EXPECT_THAT(SentFor(OneToNine()), testing::SizeIs(1));
}

TEST_F(LedSettingsTopicTest, WhatHoldsBackTheStatesDoesNotHoldThemBack) {
    mCarrier->mFirmwareUpdateInProgress = true;
    EXPECT_THAT(SentFor(OneToNine()), ElementsAre("0A 30 09 00 71 C6 01 02 03 04 05 06 07 08 09 FD 7D"));
}

}  // namespace
