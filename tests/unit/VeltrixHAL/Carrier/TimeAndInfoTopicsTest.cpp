// "time_sync" towards the carrier, and the two topics that ask the process about itself.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/CarrierTopics.h"

#include <limits>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::int64_t kSeconds = 1741064767;  // 2025-03-04T05:06:07Z

class TimeSyncTest : public CarrierTest {
protected:
    void Receive(const DateTime& timestamp, bool isFromCloud = true) {
        TimeSyncType sync;
        sync.set_serverTimestamp(timestamp);
        sync.set_receivedTimeFromCloud(isFromCloud);
        receiveTimeSync(&mClient, &sync, 0, mCarrier.get());
    }
};

TEST_F(TimeSyncTest, TimeFromTheCloudGoesToTheCarrier) {
    EXPECT_THAT(
        Printed([&] { Receive(DateTime(kSeconds, 525)); }),
        ElementsAre("Received time from Core - 2025-03-04T05:06:07.525Z", "Setting STM to time received from CORE"));
    // 25, 3, 4, 5, 6, 7 and no milliseconds.
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 0E 08 00 FE AB 19 03 04 05 06 07 00 00 2D 01"));
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Information("Received 2025-03-04T05:06:07.525Z from Core"),
                            Information("Syncing Carrier to year 25, month 3, day 4. Hour 5, min 6, sec 7")));
}

TEST_F(TimeSyncTest, TheTimeIsAnnouncedBeforeItIsSent) {
    VeltrixErrorLog::gVerbosity = 2;
    EXPECT_THAT(Printed([&] { Receive(DateTime(kSeconds, 525)); }),
                ElementsAre("Received time from Core - 2025-03-04T05:06:07.525Z",
                            "Setting STM to time received from CORE", "Sending command: 0xe"));
}

TEST_F(TimeSyncTest, EverythingIsPrintedAndLoggedBeforeTheTimeIsSent) {
    const auto said =
        SaidBefore(FrameBuilder::Frame(14, {25, 3, 4, 5, 6, 7, 0, 0}), [&] { Receive(DateTime(kSeconds, 525)); });
    EXPECT_THAT(said.printed, ElementsAre("Received time from Core - 2025-03-04T05:06:07.525Z",
                                          "Setting STM to time received from CORE"));
    EXPECT_THAT(said.logged,
                ElementsAre(Information("Received 2025-03-04T05:06:07.525Z from Core"),
                            Information("Syncing Carrier to year 25, month 3, day 4. Hour 5, min 6, sec 7")));
}

TEST_F(TimeSyncTest, TheArrivalIsPrintedBeforeItIsLoggedAndTheSettingBehindItsLog) {
    const auto receive = [&] { Receive(DateTime(kSeconds, 525)); };
    const std::string arrival = "Received time from Core - 2025-03-04T05:06:07.525Z";
    EXPECT_THAT(PrintedBefore("Received 2025-03-04T05:06:07.525Z from Core", receive), ElementsAre(arrival));
    EXPECT_THAT(PrintedBefore("Syncing Carrier to year 25, month 3, day 4. Hour 5, min 6, sec 7", receive),
                ElementsAre(arrival));
}

TEST_F(TimeSyncTest, BelowVerbosityZeroNothingIsPrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { Receive(DateTime(kSeconds)); }), IsEmpty());
    EXPECT_EQ(mLog.Take().size(), 2U);
}

TEST_F(TimeSyncTest, TheMachinesTimeZoneDoesNotMatter) {
    const ScopedVariable elsewhere("TZ", "XYZ-5");
    ::tzset();
    Receive(DateTime(kSeconds));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 0E 08 00 FE AB 19 03 04 05 06 07 00 00 2D 01"));
}

TEST_F(TimeSyncTest, OtherTimeIsIgnored) {
    EXPECT_THAT(Printed([&] { Receive(DateTime(kSeconds), false); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(TimeSyncTest, ASilentCarrierIsTriedThreeTimesFor200Milliseconds) {
    mLine.Answer(14, CarrierStub::kSilence);
    Receive(DateTime(kSeconds));
    EXPECT_EQ(mLine.Count(14), 3U);
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
}

TEST_F(TimeSyncTest, TheCarriersYearsAreThoseOfOneByte) {
    Receive(DateTime(946684800));  // 2000-01-01T00:00:00Z
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 0E 08 00 FE AB 00 01 01 00 00 00 00 00 18 8D"));
    Receive(DateTime(9025257599));  // 2255-12-31T23:59:59Z
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 0E 08 00 FE AB FF 0C 1F 17 3B 3B 00 00 18 8A"));
}

struct OtherYear {
    std::int64_t seconds;
    const char* text;

    friend void PrintTo(const OtherYear& year, std::ostream* out) { *out << year.text; }
};

class OtherYearTest : public TimeSyncTest, public testing::WithParamInterface<OtherYear> {};

TEST_P(OtherYearTest, IsAWarningAndNotPassedOn) {
    EXPECT_THAT(Printed([&] { Receive(DateTime(GetParam().seconds)); }),
                ElementsAre(std::string("Received time from Core - ") + GetParam().text));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_THAT(mLog.Take(), ElementsAre(Information(std::string("Received ") + GetParam().text + " from Core"),
                                         Warning(std::string("Time ") + GetParam().text +
                                                 " from Core is outside the carrier's years and is not passed on")));
}

// The epoch is what a message without a timestamp holds.
INSTANTIATE_TEST_SUITE_P(
    All, OtherYearTest,
    testing::Values(OtherYear{0, "1970-01-01T00:00:00.000Z"}, OtherYear{946684799, "1999-12-31T23:59:59.000Z"},
                    OtherYear{9025257600, "2256-01-01T00:00:00.000Z"}, OtherYear{-1, "1969-12-31T23:59:59.000Z"},
                    OtherYear{std::numeric_limits<std::int64_t>::max(), "9999-12-31T23:59:59.999Z"}));

HALInfo Identity() {
    HALInfo info;
    info.set_serialNumber("S1");
    info.set_machineType("M2");
    info.set_revisionNumber(3);
    return info;
}

class InfoTopicsTest : public CarrierTest {};
class InfoTopicsOnBusTest : public CarrierOnBusTest {};

TEST_F(InfoTopicsOnBusTest, ARequestForTheIdentityIsAnswered) {
    HALInfo info = Identity();
    RequestType request;
    receiveHalInfoRequest(&mClient, &request, 0, &info);
    EXPECT_THAT(Published("hal_info"), ElementsAre(R"({"serialNumber":"S1","machineType":"M2","revisionNumber":3})"));
}

TEST_F(InfoTopicsTest, AnIdentityThatCannotBePublishedIsPrintedAndLogged) {
    ConsoleCapture errors(STDERR_FILENO);
    EXPECT_EQ(PublishIdentity(mClient, Identity()), -107);
    EXPECT_THAT(errors.Take(), MatchesRegex("\\[ERROR \\(-107\\)\\] in CarrierTopics\\.cpp@ line [0-9]+: An error "
                                            "occurred while publishing HAL identity data\\.\n"
                                            "Transport endpoint is not connected\n"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("An error occurred while publishing HAL identity data. Transport "
                                               "endpoint is not connected")));
}

TEST_F(InfoTopicsOnBusTest, ARequestForTheDeviceSettingsIsAnsweredWithTheBatteryAlone) {
    HalGlobals::g_batteryVoltage = 3.5F;
    RequestType request;
    receiveDeviceSettingsRequest(&mClient, &request, 0, nullptr);
    EXPECT_THAT(Published("delayed_device_settings"), ElementsAre(R"({"batteryVoltage":3.5})"));
}

TEST_F(InfoTopicsOnBusTest, BeforeTheFirstReadingTheBatteryIsAtZero) {
    RequestType request;
    receiveDeviceSettingsRequest(&mClient, &request, 0, nullptr);
    const auto settings = OnlyOn<DeviceSettings>("delayed_device_settings");
    EXPECT_TRUE(settings.has_batteryVoltage());
    EXPECT_EQ(settings.get_batteryVoltage(), 0.0);
}

TEST_F(InfoTopicsTest, DeviceSettingsThatCannotBePublishedAreAWarning) {
    RequestType request;
    receiveDeviceSettingsRequest(&mClient, &request, 0, nullptr);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Warning("Could not publish delayed_device_settings. Transport endpoint is not connected")));
}

}  // namespace
