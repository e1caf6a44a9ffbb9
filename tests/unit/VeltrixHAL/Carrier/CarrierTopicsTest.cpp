// The other topics whose messages become commands to the carrier.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/CarrierTopics.h"

#include <fmt/format.h>

#include <filesystem>
#include <limits>
#include <ostream>

namespace {

int sSyncs = 0;

}  // namespace

// The computer that runs the tests has its own files to write.
extern "C" void sync() noexcept {
    ++sSyncs;
}

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class TessimorTopicTest : public CarrierTest {
protected:
    // The nine payload bytes that are sent.
    std::string PayloadFor(TessimorSettings settings) {
        receiveTessimorSettings(&mClient, &settings, 0, mCarrier.get());
        const auto frames = mLine.TakeFrames();
        EXPECT_THAT(frames, SizeIs(1));
        return frames.empty() || frames[0].size() != 50 ? "" : frames[0].substr(18, 26);
    }
};

TEST_F(TessimorTopicTest, IsSentFieldByField) {
    TessimorSettings settings;
    settings.set_is10KHzRawData(true);
    settings.set_currentSensorType(2);
    settings.set_useWireFeedSensor(true);
    settings.set_useGasSensor(false);
    settings.set_gasType(3);
    settings.set_preWeldDataTenthSeconds(20);
    settings.set_postWeldDataTenthSeconds(30);
    settings.set_weldEndRequirementMSecs(1000);
    settings.set_weldStartCurrentThresholdAmps(253.5);
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Printed([&] { receiveTessimorSettings(&mClient, &settings, 0, mCarrier.get()); }),
                ElementsAre("<<<<<< received Tessimor Settings message from VeltrixTessimor >>>>>>>>"));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 31 09 00 2B 1A 01 02 01 00 03 14 1E FF FE B0 9E"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Tessimor Settings sent to Carrier.")));
}

TEST_F(TessimorTopicTest, TheFlagsHaveTheirOwnPlaces) {
    EXPECT_EQ(PayloadFor({}), "00 00 00 00 00 00 00 00 00");
    TessimorSettings rawData;
    rawData.set_is10KHzRawData(true);
    EXPECT_EQ(PayloadFor(rawData), "01 00 00 00 00 00 00 00 00");
    TessimorSettings wireFeed;
    wireFeed.set_useWireFeedSensor(true);
    EXPECT_EQ(PayloadFor(wireFeed), "00 00 01 00 00 00 00 00 00");
    TessimorSettings gas;
    gas.set_useGasSensor(true);
    EXPECT_EQ(PayloadFor(gas), "00 00 00 01 00 00 00 00 00");
}

TEST_F(TessimorTopicTest, NumbersAreCutToAByte) {
    TessimorSettings settings;
    settings.set_currentSensorType(258);
    settings.set_gasType(-1);
    settings.set_preWeldDataTenthSeconds(300);
    settings.set_postWeldDataTenthSeconds(-256);
    EXPECT_EQ(PayloadFor(settings), "00 02 00 00 FF 2C 00 00 00");
}

TEST_F(TessimorTopicTest, TheMessageIsAnnouncedBeforeItIsSent) {
    VeltrixErrorLog::gVerbosity = 2;
    TessimorSettings settings;
    EXPECT_THAT(Printed([&] { receiveTessimorSettings(&mClient, &settings, 0, mCarrier.get()); }),
                ElementsAre("<<<<<< received Tessimor Settings message from VeltrixTessimor >>>>>>>>",
                            "Sending command: 0x31"));
}

struct EndRequirement {
    std::int32_t milliseconds;
    const char* payload;

    friend void PrintTo(const EndRequirement& requirement, std::ostream* out) { *out << requirement.milliseconds; }
};

class EndRequirementTest : public TessimorTopicTest, public testing::WithParamInterface<EndRequirement> {};

TEST_P(EndRequirementTest, IsAtMost255) {
    TessimorSettings settings;
    settings.set_weldEndRequirementMSecs(GetParam().milliseconds);
    EXPECT_EQ(PayloadFor(settings), GetParam().payload);
}

INSTANTIATE_TEST_SUITE_P(All, EndRequirementTest,
                         testing::Values(EndRequirement{0, "00 00 00 00 00 00 00 00 00"},
                                         EndRequirement{254, "00 00 00 00 00 00 00 FE 00"},
                                         EndRequirement{255, "00 00 00 00 00 00 00 FF 00"},
                                         EndRequirement{256, "00 00 00 00 00 00 00 FF 00"},
                                         EndRequirement{1000, "00 00 00 00 00 00 00 FF 00"},
                                         EndRequirement{2147483647, "00 00 00 00 00 00 00 FF 00"},
                                         // Below 0 only the low byte is left.
                                         EndRequirement{-1, "00 00 00 00 00 00 00 FF 00"},
                                         EndRequirement{-2, "00 00 00 00 00 00 00 FE 00"}));

struct StartThreshold {
    double amps;
    const char* lastByte;

    friend void PrintTo(const StartThreshold& threshold, std::ostream* out) {
        *out << fmt::format("{}", threshold.amps);
    }
};

class StartThresholdTest : public TessimorTopicTest, public testing::WithParamInterface<StartThreshold> {};

TEST_P(StartThresholdTest, IsRoundedAndAbove254All255) {
    TessimorSettings settings;
    settings.set_weldStartCurrentThresholdAmps(GetParam().amps);
    EXPECT_EQ(PayloadFor(settings), std::string("00 00 00 00 00 00 00 00 ") + GetParam().lastByte);
}

INSTANTIATE_TEST_SUITE_P(
    All, StartThresholdTest,
    testing::Values(StartThreshold{0.0, "00"}, StartThreshold{0.4, "00"}, StartThreshold{0.5, "01"},
                    StartThreshold{10.0, "0A"}, StartThreshold{10.49, "0A"}, StartThreshold{10.5, "0B"},
                    StartThreshold{253.4, "FD"}, StartThreshold{253.5, "FE"}, StartThreshold{254.0, "FE"},
                    StartThreshold{254.1, "FF"}, StartThreshold{300.0, "FF"}, StartThreshold{1e300, "FF"},
                    StartThreshold{std::numeric_limits<double>::infinity(), "FF"}, StartThreshold{-0.4, "00"},
                    StartThreshold{-300.0, "00"}, StartThreshold{-std::numeric_limits<double>::infinity(), "00"},
                    StartThreshold{std::numeric_limits<double>::quiet_NaN(), "00"}));

class FirmwareEndTest : public CarrierTest {
protected:
    std::vector<std::string> PrintedFor(bool wasSuccessful) {
        FirmwareUpdateEnd end;
        end.set_wasUpdateSuccessful(wasSuccessful);
        return Printed([&] { receiveFirmwareEnd(&mClient, &end, 0, mCarrier.get()); });
    }
};

TEST_F(FirmwareEndTest, TheCarrierIsToldOfSuccessAndFailure) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(PrintedFor(true), ElementsAre("<<<<<< Update Complete received by HAL >>>>>>>>"));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 2A 02 00 63 81 05 00 71 FF"));
    EXPECT_THAT(PrintedFor(false), ElementsAre("<<<<<< Update Complete received by HAL >>>>>>>>"));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 2A 02 00 63 81 07 00 42 4F"));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(FirmwareEndTest, TheMessageIsAnnouncedBeforeItIsSent) {
    VeltrixErrorLog::gVerbosity = 2;
    EXPECT_THAT(PrintedFor(true),
                ElementsAre("<<<<<< Update Complete received by HAL >>>>>>>>", "Sending command: 0x2a"));
}

TEST_F(FirmwareEndTest, ASilentCarrierIsTriedThreeTimesFor200Milliseconds) {
    mLine.Answer(42, CarrierStub::kSilence);
    PrintedFor(true);
    EXPECT_EQ(mLine.Count(42), 3U);
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
}

TEST_F(FirmwareEndTest, AFileAnnouncementStartsAnUpdate) {
    CarrierFileInfo info;
    info.set_fileName("unknown");
    info.set_fileFullPath(mFolder.Write("image.bin", "abc"));
    mLine.Answer(2, FrameBuilder::Nack(13));
    receiveFileInfo(&mClient, &info, 0, mCarrier.get());
    EXPECT_EQ(mLine.Count(2), 3U);
}

// "incoming_commands": the sensor goes to the carrier, the threshold into the configuration.
class IncomingCommandsTest : public CarrierTest {
protected:
    IncomingCommandsTest() { std::filesystem::create_directory(mFolder.Path("Veltrix")); }

    void Receive(bool hasSensor, std::int32_t sensor, double threshold) {
        IncomingCommands commands;
        commands.set_currentSensorTypeReceived(hasSensor);
        commands.set_currentSensorType(sensor);
        commands.set_arcStartThreshold(threshold);
        receiveIncomingCommands(&mClient, &commands, 0, mCarrier.get());
    }

    bool IsStored() const { return mFolder.Exists("Veltrix/system.config"); }
};

TEST_F(IncomingCommandsTest, ASensorIsSentOnlyWhenOneWasReceived) {
    Receive(false, 2, 0);
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    Receive(true, 2, 0);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 27 01 00 B6 96 02 D3 6A"));
    EXPECT_FALSE(IsStored());
}

TEST_F(IncomingCommandsTest, SensorAndThresholdMayComeTogether) {
    Receive(true, 2, 25);
    EXPECT_THAT(mLine.TakeFrames(), SizeIs(1));
    EXPECT_EQ(mFolder.Read("Veltrix/system.config"), "{\n\t\"ArcStartAmps\":\t25\n}");
    const LogLine notPublished = Warning("Could not publish device_settings. Transport endpoint is not connected");
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Sensor config 2 sent"), notPublished,
                                         Information("ArcThreshold set to 25"), notPublished));
}

TEST_F(IncomingCommandsTest, AThresholdIsStoredAlsoWhenTheCarrierRefusedTheSensor) {
    mLine.Answer(39, FrameBuilder::Nack(13));
    Receive(true, 2, 25);
    EXPECT_TRUE(IsStored());
}

struct ArcStart {
    double amps;
    int stored;  // -1: nothing

    friend void PrintTo(const ArcStart& threshold, std::ostream* out) { *out << fmt::format("{}", threshold.amps); }
};

class ArcStartTest : public IncomingCommandsTest, public testing::WithParamInterface<ArcStart> {};

TEST_P(ArcStartTest, IsCutTo16BitsAndStoredUnlessZero) {
    Receive(false, 0, GetParam().amps);
    EXPECT_EQ(IsStored(), GetParam().stored >= 0);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, GetParam().stored >= 0 ? GetParam().stored : 10);
    EXPECT_THAT(LogWith("ArcThreshold"), SizeIs(GetParam().stored >= 0 ? 1 : 0));
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, ArcStartTest,
                         testing::Values(ArcStart{0.0, -1}, ArcStart{0.99, -1}, ArcStart{1.0, 8}, ArcStart{5.0, 8},
                                         ArcStart{8.0, 8}, ArcStart{12.9, 12}, ArcStart{2000.0, 2000},
                                         ArcStart{3000.0, 3000}, ArcStart{65535.0, 65535}, ArcStart{65536.0, -1},
                                         ArcStart{65537.0, 8}, ArcStart{65556.0, 20}, ArcStart{4294967295.0, 65535},
                                         ArcStart{4294967296.0, 65535}, ArcStart{1e300, 65535},
                                         ArcStart{std::numeric_limits<double>::infinity(), 65535}, ArcStart{-1.0, -1},
                                         ArcStart{-1e300, -1}, ArcStart{std::numeric_limits<double>::quiet_NaN(), -1}));

class AdminAccessTopicTest : public CarrierOnBusTest {
protected:
    void Receive(const std::string& expiry) {
        AdminAccessSettings settings;
        settings.set_expiryDate(expiry);
        settings.set_enableConsole(true);
        receiveAdminAccessStatus(&mClient, &settings, 0, mCarrier.get());
    }

    void ExpectNoRestart() {
        EXPECT_THAT(mSystem.ShellCommands(), IsEmpty());
        EXPECT_THAT(Published("power_down_status"), IsEmpty());
        EXPECT_THAT(LogWith("Rebooting"), IsEmpty());
    }
};

TEST_F(AdminAccessTopicTest, AccessThatTheCarrierAcceptedRestartsTheModule) {
    EXPECT_THAT(Printed([&] { Receive("2025-12-31T23:59:58.999Z"); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 25 0A 00 E7 86 19 0C 1F 17 3B 3A E7 03 01 00 4B 8B"));
    EXPECT_THAT(LogWith("R"), Contains(Warning("Rebooting system due to admin access request...")));
    EXPECT_THAT(mSystem.ShellCommands(), ElementsAre("shutdown -r now &"));
    const auto status = OnlyOn<PowerDownStatus>("power_down_status");
    EXPECT_TRUE(status.get_isPoweringDown());
    EXPECT_EQ(status.get_nameOfCaller(), "HAL");
    EXPECT_EQ(status.get_reasonForPowerdown(), "Admin access status has been set");
    EXPECT_TRUE(gKeepRunning);
}

TEST_F(AdminAccessTopicTest, FilesAreSafeBeforeTheRestartAndItIsAnnouncedAfterwards) {
    sSyncs = 0;
    mSystem.WhenCommanded([this] {
        EXPECT_THAT(LogWith("Rebooting"), SizeIs(1));
        EXPECT_EQ(sSyncs, 1);
        EXPECT_THAT(Published("power_down_status"), IsEmpty());
    });
    Receive("2025-12-31T23:59:58.999Z");
    EXPECT_THAT(mSystem.ShellCommands(), SizeIs(1));
    EXPECT_EQ(sSyncs, 1);
    EXPECT_THAT(Published("power_down_status"), SizeIs(1));
}

TEST_F(AdminAccessTopicTest, ARestartThatFailsIsLoggedAndAnnouncedAllTheSame) {
    mSystem.SetShellResult(false);
    Receive("2025-12-31T23:59:58.999Z");
    EXPECT_THAT(LogWith("restart"),
                ElementsAre(Warning("The restart for the admin access request could not be issued")));
    EXPECT_THAT(Published("power_down_status"), SizeIs(1));
}

TEST_F(AdminAccessTopicTest, AccessThatTheCarrierRefusedLeavesTheModuleRunning) {
    mLine.Answer(37, FrameBuilder::Nack(13));
    Receive("2025-12-31T23:59:58.999Z");
    EXPECT_EQ(mLine.Count(37), 3U);
    ExpectNoRestart();
}

TEST_F(AdminAccessTopicTest, AnEmptyExpiryLeavesTheModuleRunning) {
    Receive("");
    EXPECT_THAT(mLog.Take(), IsEmpty());
    ExpectNoRestart();
}

TEST_F(AdminAccessTopicTest, AnExpiryThatIsNoTimeIsLoggedAndTheNextMessageWorks) {
    for (const std::string expiry : {"never", "2025", "{}%s"}) {
        EXPECT_NO_THROW(Receive(expiry));
        const auto lines = mLog.Take();
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines[0].level, LogLevel::Error);
        EXPECT_EQ(lines[0].text.find("Admin access expiry date is no time: \"" + expiry + "\" ("), 0U) << lines[0];
    }
    ExpectNoRestart();
    Receive("2025-12-31T23:59:58.999Z");
    EXPECT_THAT(mSystem.ShellCommands(), SizeIs(1));
}

class AdminAccessWithoutBusTest : public CarrierTest {};

TEST_F(AdminAccessWithoutBusTest, TheModuleRestartsAllTheSame) {
    AdminAccessSettings settings;
    settings.set_expiryDate("2025-12-31T23:59:58.999Z");
    settings.set_enableConsole(true);
    receiveAdminAccessStatus(&mClient, &settings, 0, mCarrier.get());
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("Deprecated AdminAccess command sent by carrier 0d1"),
                            Warning("Admin access info sent to Carrier. Console: true, SSH: false"),
                            Warning("Rebooting system due to admin access request..."),
                            Warning("Could not publish power_down_status. Transport endpoint is not connected")));
    EXPECT_THAT(mSystem.ShellCommands(), ElementsAre("shutdown -r now &"));
}

class DeviceSettingsRequestTest : public CarrierOnBusTest {};

TEST_F(DeviceSettingsRequestTest, AVoltageThatIsNoNumberIsLeftOut) {
    HalGlobals::g_batteryVoltage = std::numeric_limits<float>::quiet_NaN();
    receiveDeviceSettingsRequest(&mClient, nullptr, 0, nullptr);
    EXPECT_THAT(Published("delayed_device_settings"), ElementsAre("{}"));
}

}  // namespace
