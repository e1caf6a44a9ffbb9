// The voltage of the machine's backup battery.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <cmath>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <typename Fixture>
class BatteryTestOf : public Fixture {
protected:
    void Answer(const CarrierStub::Bytes& payload) {
        this->mCarrier->Reply(FrameBuilder::Ack(payload), CommCommands_GetVBat);
    }
};

class BatteryTest : public BatteryTestOf<CarrierTest> {};
class BatteryOnBusTest : public BatteryTestOf<CarrierOnBusTest> {};

TEST_F(BatteryOnBusTest, IsKeptPrintedAndPublished) {
    EXPECT_THAT(Printed([&] { Answer({0x00, 0x00, 0x50, 0x40}); }), ElementsAre("Battery voltage = 3.25"));
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 3.25F);
    const auto settings = OnlyOn<DeviceSettings>("device_settings");
    EXPECT_EQ(settings.get_batteryVoltage(), 3.25);
    ASSERT_TRUE(settings.has_timestamp());
    ExpectNow(settings.get_timestamp());
    EXPECT_FALSE(settings.has_currentSensorConfig());
    EXPECT_FALSE(settings.has_arcStartThreshold());
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(BatteryOnBusTest, ZeroAndNegativeVoltagesArePublishedToo) {
    Answer({0x00, 0x00, 0x00, 0x00});
    Answer({0x00, 0x00, 0xC0, 0xBF});
    const auto payloads = Published("device_settings");
    ASSERT_EQ(payloads.size(), 2U);
    DeviceSettings settings;
    settings.FromJson(payloads[0]);
    EXPECT_TRUE(settings.has_batteryVoltage());
    EXPECT_EQ(settings.get_batteryVoltage(), 0.0);
    settings.FromJson(payloads[1]);
    EXPECT_EQ(settings.get_batteryVoltage(), -1.5);
    EXPECT_EQ(HalGlobals::g_batteryVoltage, -1.5F);
}

TEST_F(BatteryTest, IsPrintedAsTheStreamsPrintIt) {
    EXPECT_THAT(Printed([&] { Answer({0xC3, 0xF5, 0x48, 0x40}); }), ElementsAre("Battery voltage = 3.14"));
    EXPECT_THAT(Printed([&] { Answer({0x38, 0xB4, 0x96, 0x49}); }), ElementsAre("Battery voltage = 1.23457e+06"));
    EXPECT_THAT(Printed([&] { Answer({0x00, 0x00, 0x40, 0x40}); }), ElementsAre("Battery voltage = 3"));
}

TEST_F(BatteryTest, BelowVerbosityZeroNothingIsPrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { Answer({0x00, 0x00, 0x50, 0x40}); }), IsEmpty());
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 3.25F);
}

TEST_F(BatteryOnBusTest, AnAnswerOfAnotherLengthIsRefused) {
    HalGlobals::g_batteryVoltage = 2.5F;
    for (const std::size_t length : {0U, 1U, 2U, 3U, 5U, 8U}) {
        SCOPED_TRACE(length);
        EXPECT_THAT(Printed([&] { Answer(CarrierStub::Bytes(length, 0x40)); }), IsEmpty());
        EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to process VBat")));
    }
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 2.5F);
    EXPECT_THAT(Published("device_settings"), IsEmpty());
}

// JSON has no such numbers: the message goes out with its time alone.
TEST_F(BatteryOnBusTest, WhatIsNoVoltageIsKeptAndLeftOutOfTheMessage) {
    EXPECT_THAT(Printed([&] { Answer({0x00, 0x00, 0xC0, 0x7F}); }), ElementsAre("Battery voltage = nan"));
    EXPECT_TRUE(std::isnan(HalGlobals::g_batteryVoltage));
    EXPECT_THAT(Printed([&] { Answer({0x00, 0x00, 0x80, 0x7F}); }), ElementsAre("Battery voltage = inf"));
    EXPECT_THAT(Printed([&] { Answer({0x00, 0x00, 0x80, 0xFF}); }), ElementsAre("Battery voltage = -inf"));
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(Published("device_settings"), testing::Each(testing::MatchesRegex("\\{\"timestamp\":\"[^\"]+\"\\}")));
    EXPECT_EQ(Published("device_settings").size(), 3U);
}

TEST_F(BatteryTest, IsKeptAndPrintedBeforeItIsPublished) {
    float keptBefore = 0.0F;
    std::vector<std::string> printedBefore;
    ConsoleCapture console;
    const LogWatch publication([&](const std::string&) {
        keptBefore = HalGlobals::g_batteryVoltage;
        printedBefore = Lines(console.Take());
    });
    Answer({0x00, 0x00, 0x50, 0x40});
    EXPECT_EQ(keptBefore, 3.25F);
    EXPECT_THAT(printedBefore, ElementsAre("Battery voltage = 3.25"));
}

TEST_F(BatteryTest, WithoutABrokerTheValueIsKeptAndTheFailureAWarning) {
    Answer({0x00, 0x00, 0x50, 0x40});
    EXPECT_EQ(HalGlobals::g_batteryVoltage, 3.25F);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Warning("Could not publish device_settings on /bus. No such file or directory")));
}

}  // namespace
