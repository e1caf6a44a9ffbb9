// Power failures and reset requests of the carrier, and its question for an SD card.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <filesystem>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const CarrierStub::Bytes kPowerFail = {0x0A, 0x0C, 0x00, 0x00, 0x85, 0xD3};
const CarrierStub::Bytes kReset = {0x0A, 0x26, 0x00, 0x00, 0xF5, 0x92};
const CarrierStub::Bytes kSdCard = {0x0A, 0x2B, 0x00, 0x00, 0x0A, 0xED};
constexpr const char* kNoBroker = "Could not publish power_down_status on /bus. No such file or directory";

class PowerTest : public CarrierTest {};

class PowerOnBusTest : public CarrierOnBusTest {
protected:
    void ExpectAnnounced(const std::string& reason) {
        const auto status = OnlyOn<PowerDownStatus>("power_down_status");
        EXPECT_TRUE(status.get_isPoweringDown());
        EXPECT_EQ(status.get_nameOfCaller(), "HAL");
        EXPECT_EQ(status.get_reasonForPowerdown(), reason);
    }

    // How many power-downs were on the bus when the carrier got its first Ack.
    void CountAtAck() {
        mLine.Watch([this](const Bytes&) {
            if (mLine.Count(1) == 1) {
                mAnnouncedAtAck = Published("power_down_status").size();
                mCommandsAtAck = mSystem.ShellCommands().size();
            }
        });
    }

    std::size_t mAnnouncedAtAck = 99;
    std::size_t mCommandsAtAck = 99;
};

TEST_F(PowerOnBusTest, APowerFailIsAnnouncedAndThenAcknowledged) {
    CountAtAck();
    EXPECT_THAT(Printed([&] { Receive(kPowerFail); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC"));
    ExpectAnnounced("Carrier indicated a power fail");
    EXPECT_EQ(mAnnouncedAtAck, 1U);
    EXPECT_THAT(mSystem.ShellCommands(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_TRUE(gKeepRunning);
}

TEST_F(PowerTest, APowerFailIsAcknowledgedAlsoWithoutABroker) {
    Receive(kPowerFail);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning(kNoBroker)));
}

TEST_F(PowerOnBusTest, AResetRequestIsAcknowledgedFirstThenCarriedOutThenAnnounced) {
    CountAtAck();
    EXPECT_THAT(Printed([&] { Receive(kReset); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC"));
    EXPECT_EQ(mAnnouncedAtAck, 0U);
    EXPECT_EQ(mCommandsAtAck, 0U);
    EXPECT_THAT(mSystem.ShellCommands(), ElementsAre("shutdown -r now &"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Received Reset Command from Carrier. Restarting system...")));
    ExpectAnnounced("Received a reset request from Carrier");
}

TEST_F(PowerTest, AResetRequestIsLoggedBeforeItIsCarriedOut) {
    std::vector<LogLine> logged;
    mSystem.WhenCommanded([&] { logged = mLog.Take(); });
    Receive(kReset);
    EXPECT_THAT(logged, ElementsAre(Warning("Received Reset Command from Carrier. Restarting system...")));
}

TEST_F(PowerOnBusTest, ARestartThatFailsIsReportedAndAnnouncedAllTheSame) {
    mSystem.SetShellResult(false);
    EXPECT_THAT(Printed([&] { Receive(kReset); }), ElementsAre("Failure issuing system shutdown/reset"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Received Reset Command from Carrier. Restarting system..."),
                                         Warning("Failure issuing system shutdown/reset")));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    ExpectAnnounced("Received a reset request from Carrier");
}

TEST_F(PowerTest, ARestartThatFailsIsPrintedBeforeItIsLogged) {
    mSystem.SetShellResult(false);
    EXPECT_THAT(PrintedBefore("Failure issuing system shutdown/reset", [&] { Receive(kReset); }),
                ElementsAre("Failure issuing system shutdown/reset"));
}

TEST_F(PowerTest, BelowVerbosityZeroARestartThatFailsIsOnlyLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    mSystem.SetShellResult(false);
    EXPECT_THAT(Printed([&] { Receive(kReset); }), IsEmpty());
    // The order of what follows the Ack.
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Received Reset Command from Carrier. Restarting system..."),
                                         Warning("Failure issuing system shutdown/reset"), Warning(kNoBroker)));
}

TEST_F(PowerTest, AResetRequestIsCarriedOutAlsoWithoutABroker) {
    Receive(kReset);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_THAT(mSystem.ShellCommands(), ElementsAre("shutdown -r now &"));
    EXPECT_THAT(LogWith("publish"), ElementsAre(Warning(kNoBroker)));
}

constexpr const char* kMounted = "0A 2B 01 00 13 35 01 E1 F1";
constexpr const char* kNotMounted = "0A 2B 01 00 13 35 00 F0 78";

TEST_F(PowerTest, WithoutAMediaFolderNoCardIsMounted) {
    EXPECT_THAT(Printed([&] { Receive(kSdCard); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC", kNotMounted));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(PowerTest, AnEmptyMediaFolderHoldsNoCard) {
    std::filesystem::create_directories(mFolder.Path("run/media"));
    Receive(kSdCard);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kNotMounted));
}

struct Entry {
    const char* name;
    bool isCard;

    friend void PrintTo(const Entry& entry, std::ostream* out) { *out << entry.name; }
};

class SdCardTest : public PowerTest, public testing::WithParamInterface<Entry> {};

TEST_P(SdCardTest, IsAnyFolderWhoseNameContainsTheDevice) {
    std::filesystem::create_directories(mFolder.Path("run/media/") + GetParam().name);
    Receive(kSdCard);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), GetParam().isCard ? kMounted : kNotMounted));
}

INSTANTIATE_TEST_SUITE_P(All, SdCardTest,
                         testing::Values(Entry{"mmcblk0p1", true}, Entry{"xmmcblk0p1", true}, Entry{"mmcblk", true},
                                         Entry{"sda1-mmcblk", true}, Entry{".mmcblk1", true}, Entry{"mmcbl", false},
                                         Entry{"MMCBLK0", false}, Entry{"sda1", false}, Entry{"mmc-blk", false},
                                         Entry{"folder/mmcblk0", false}));

TEST_F(PowerTest, ACardIsFoundAmongOthersAndMayBeAFile) {
    for (const char* const name : {"sda1", "sdb1", "mmcblk0p1", "usb"}) {
        mFolder.Write(std::string("run/media/") + name, "");
    }
    Receive(kSdCard);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kMounted));
}

TEST_F(PowerTest, AMediaFolderThatIsAFileHoldsNoCard) {
    mFolder.Write("run/media", "mmcblk0");
    Receive(kSdCard);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kNotMounted));
}

TEST_F(PowerTest, AnSdCardAnswerThatTheCarrierRefusesIsNotReported) {
    mLine.Answer(43, CarrierStub::kSilence);
    Receive(kSdCard);
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex(), kNotMounted, kNotMounted, kNotMounted));
    EXPECT_THAT(LogWith("card"), IsEmpty());
    EXPECT_THAT(LogWith("SD"), IsEmpty());
}

}  // namespace
