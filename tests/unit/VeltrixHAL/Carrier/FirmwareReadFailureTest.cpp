// Updates whose file cannot be had.
#include "tests/unit/VeltrixHAL/Carrier/FirmwareFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// From then on every announcement is turned away, until the process starts anew.
class FirmwareReadFailureTest : public FirmwareTest {
protected:
    void ExpectFailed(const std::vector<std::string>& printed, const std::string& logged) {
        EXPECT_THAT(printed, Not(IsEmpty()));
        EXPECT_THAT(mLog.Take(), ElementsAre(Error(logged)));
        EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
        EXPECT_FALSE(mCarrier->mFirmwareUpdateInProgress);
        EXPECT_FALSE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
        EXPECT_TRUE(IsRefused());
        WriteImage({7, 8, 9});
        Announce(kAppFile, 3);
        EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
        EXPECT_TRUE(IsImageThere());
    }

    static constexpr const char* kOpenFailed = "Could not open firmware file. Aborting update";
    static constexpr const char* kReadFailed = "HAL Errlog: Failure reading firmware file. Aborting update";
};

TEST_F(FirmwareReadFailureTest, AFileThatIsNotThere) {
    const auto printed = Printed([&] { Announce(kAppFile, 10); });
    EXPECT_THAT(printed, ElementsAre("Opening update file: /image.bin", kOpenFailed));
    ExpectFailed(printed, kOpenFailed);
}

TEST_F(FirmwareReadFailureTest, AFileThatIsShorterThanAnnounced) {
    WriteImage(Bytes(10, 1));
    const auto printed = Printed([&] { Announce(kAppFile, 20); });
    EXPECT_THAT(printed,
                ElementsAre("Opening update file: /image.bin", "Reading update file: /image.bin",
                            "HAL - Failure reading firmware file. Aborting update", "Read 10 of 20 expected."));
    ExpectFailed(printed, kReadFailed);
}

TEST_F(FirmwareReadFailureTest, AFolder) {
    mFolder.Write("image.bin/file", "");
    const auto printed = Printed([&] { Announce(kAppFile, 20); });
    EXPECT_THAT(printed, ElementsAre("Opening update file: /image.bin", "Reading update file: /image.bin",
                                     "HAL - Failure reading firmware file. Aborting update", "Read 0 of 20 expected."));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error(kReadFailed)));
    EXPECT_TRUE(IsRefused());
}

TEST_F(FirmwareReadFailureTest, BelowVerbosityZeroNothingIsPrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    WriteImage(Bytes(10, 1));
    EXPECT_THAT(Printed([&] { Announce(kAppFile, 20); }), IsEmpty());
    TestCarrier::ResetClassState();
    EXPECT_THAT(Printed([&] {
                    CarrierFileInfo info;
                    info.set_fileSize(5);
                    info.set_fileFullPath(mFolder.Path("gone"));
                    mCarrier->DispatchCarrierFiles(info);
                }),
                IsEmpty());
    EXPECT_THAT(mLog.Take(), ElementsAre(Error(kReadFailed), Error(kOpenFailed)));
}

TEST_F(FirmwareReadFailureTest, LeavesTheFlagsAlone) {
    mCarrier->mFirmwareUpdateInProgress = true;
    HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = true;
    mCarrier->mCarrierIsReadyForFile = true;
    const auto expectUntouched = [&] {
        EXPECT_TRUE(mCarrier->mFirmwareUpdateInProgress);
        EXPECT_TRUE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
        EXPECT_TRUE(mCarrier->mCarrierIsReadyForFile);
    };
    Announce(kAppFile, 10);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error(kOpenFailed)));
    expectUntouched();
    TestCarrier::ResetClassState();
    WriteImage(Bytes(5, 1));
    Announce(kAppFile, 10);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error(kReadFailed)));
    expectUntouched();
}

TEST_F(FirmwareReadFailureTest, BlocksEveryInterfaceOfTheProcess) {
    Announce(kAppFile, 10);
    mLog.Take();
    TestCarrier other(mLine.Port(), mClient);
    CarrierFileInfo info;
    info.set_fileName(kAppFile);
    info.set_fileSize(3);
    info.set_fileFullPath(ImagePath());
    other.DispatchCarrierFiles(info);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Unknown file received or unable to grab mutex")));
}

}  // namespace
