// Sensor settings of the Tessimor process, and a server's choice of current sensor.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <ostream>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kTessimor = "0A 31 09 00 2B 1A 01 02 01 00 03 14 1E FF FE B0 9E";

class TessimorSettingsTest : public CarrierTest {
protected:
    void Send() { mCarrier->SendTessimorSettings(1, 2, 1, 0, 3, 20, 30, 255, 254); }
};

TEST_F(TessimorSettingsTest, AreNineBytesInTheirOrder) {
    EXPECT_THAT(Printed([&] { Send(); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kTessimor));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Tessimor Settings sent to Carrier.")));
}

TEST_F(TessimorSettingsTest, EachValueHasItsOwnPlace) {
    mCarrier->SendTessimorSettings(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 31 09 00 2B 1A 01 02 03 04 05 06 07 08 09 FD 7D"));
}

TEST_F(TessimorSettingsTest, ASilentCarrierIsReportedAfterThreeTimes200Milliseconds) {
    mLine.Answer(49, CarrierStub::kSilence);
    Send();
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kTessimor, kTessimor, kTessimor));
    EXPECT_THAT(LogWith("Tessimor"), ElementsAre(Warning("Failed to send Tessimor Settings to Carrier")));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
}

TEST_F(TessimorSettingsTest, ARefusalIsReported) {
    mLine.Answer(49, FrameBuilder::Nack(3));
    Send();
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kTessimor, kTessimor, kTessimor));
    EXPECT_THAT(LogWith("Tessimor"), ElementsAre(Warning("Failed to send Tessimor Settings to Carrier")));
}

TEST_F(TessimorSettingsTest, ARefusalThatIsRepeatedWithSuccessIsNoFailure) {
    mLine.AnswerNext(49, FrameBuilder::Nack(3), 2);
    Send();
    EXPECT_THAT(LogWith("Tessimor"), ElementsAre(Information("Tessimor Settings sent to Carrier.")));
}

IncomingCommands Sensor(std::int32_t type) {
    IncomingCommands commands;
    commands.set_currentSensorTypeReceived(true);
    commands.set_currentSensorType(type);
    return commands;
}

class ServerCommandsTest : public CarrierTest {
protected:
    bool Send(std::int32_t type) {
        IncomingCommands commands = Sensor(type);
        return mCarrier->SendServerCommands(commands);
    }
};

struct SensorType {
    std::int32_t asked;
    const char* frame;
    std::int32_t published;
    const char* logged;

    friend void PrintTo(const SensorType& type, std::ostream* out) { *out << type.asked; }
};

class SensorTypeTest : public CarrierOnBusTest, public testing::WithParamInterface<SensorType> {};

TEST_P(SensorTypeTest, IsCutToAByteSentAndPublishedPlusOne) {
    IncomingCommands commands = Sensor(GetParam().asked);
    EXPECT_TRUE(mCarrier->SendServerCommands(commands));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(GetParam().frame));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information(GetParam().logged)));
    const auto settings = OnlyOn<DeviceSettings>("device_settings");
    EXPECT_EQ(settings.get_currentSensorConfig(), GetParam().published);
    ASSERT_TRUE(settings.has_timestamp());
    ExpectNow(settings.get_timestamp());
    EXPECT_FALSE(settings.has_batteryVoltage());
    EXPECT_FALSE(settings.has_arcStartThreshold());
}

INSTANTIATE_TEST_SUITE_P(All, SensorTypeTest,
                         testing::Values(SensorType{2, "0A 27 01 00 B6 96 02 D3 6A", 3, "Sensor config 2 sent"},
                                         SensorType{0, "0A 27 01 00 B6 96 00 F0 78", 1, "Sensor config 0 sent"},
                                         SensorType{255, "0A 27 01 00 B6 96 FF FF 00", 256, "Sensor config 255 sent"},
                                         SensorType{258, "0A 27 01 00 B6 96 02 D3 6A", 3, "Sensor config 2 sent"},
                                         SensorType{-1, "0A 27 01 00 B6 96 FF FF 00", 256, "Sensor config 255 sent"}));

class ServerCommandsOnBusTest : public CarrierOnBusTest {};

TEST_F(ServerCommandsOnBusTest, ARefusalIsReportedAndNothingPublished) {
    mLine.Answer(39, FrameBuilder::Nack(13));
    IncomingCommands commands = Sensor(2);
    EXPECT_FALSE(mCarrier->SendServerCommands(commands));
    EXPECT_EQ(mLine.Count(39), 3U);
    EXPECT_THAT(LogWith("Sensor"), ElementsAre(Information("Sensor config 2 send failed")));
    EXPECT_THAT(Published("device_settings"), IsEmpty());
    mLine.Answer(39, FrameBuilder::Ack());
    EXPECT_TRUE(mCarrier->SendServerCommands(commands)) << "a refusal holds nothing up";
}

TEST_F(ServerCommandsTest, ASilentCarrierIsReportedAfterThreeTimes200Milliseconds) {
    mLine.Answer(39, CarrierStub::kSilence);
    EXPECT_FALSE(Send(2));
    EXPECT_EQ(mLine.Count(39), 3U);
    EXPECT_THAT(LogWith("Sensor"), ElementsAre(Information("Sensor config 2 send failed")));
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
}

TEST_F(ServerCommandsTest, WithoutTheBusASentCommandIsASuccess) {
    EXPECT_TRUE(Send(2));
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Information("Sensor config 2 sent"),
                            Warning("Could not publish device_settings. Transport endpoint is not connected")));
}

TEST_F(ServerCommandsTest, ASecondCallerIsRefusedWithoutAWordWhileTheFirstIsSending) {
    bool isSecondAccepted = true;
    std::vector<LogLine> loggedForSecond;
    mLine.Watch([&](const Bytes&) {
        mLog.Take();
        std::thread([&] { isSecondAccepted = Send(3); }).join();
        loggedForSecond = mLog.Take();
    });
    EXPECT_TRUE(Send(2));
    EXPECT_FALSE(isSecondAccepted);
    EXPECT_THAT(loggedForSecond, IsEmpty());
    EXPECT_EQ(mLine.Count(39), 1U);
    mLine.Watch(nullptr);
    EXPECT_TRUE(Send(3));
}

}  // namespace
