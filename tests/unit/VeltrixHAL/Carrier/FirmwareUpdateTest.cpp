// Whole updates: what is sent, said and done when all goes well, and how files are read.
#include "tests/unit/VeltrixHAL/Carrier/FirmwareFixture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class FirmwareUpdateTest : public FirmwareTest {};

TEST_F(FirmwareUpdateTest, AnApplicationGoesThroughAllPhases) {
    Update(kAppFile);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 2A 02 00 63 81 02 00 3C F7",               // phase 2
                                                Hex(FrameBuilder::Frame(2, {2, 3, 0, 0, 0})),  // start
                                                Hex(FrameBuilder::Frame(4, {7, 8, 9})),        // packet
                                                "0A 05 00 00 19 CD",                           // end
                                                "0A 2A 02 00 63 81 03 00 25 2F",               // phase 3
                                                "0A 06 01 00 EF 71 02 D3 6A",                  // apply
                                                "0A 2A 02 00 63 81 04 00 68 27"));             // phase 4
    EXPECT_FALSE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareUpdateTest, ABootLoaderIsAnnouncedOnlyAtTheBeginning) {
    Update(kBootFile);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 2A 02 00 63 81 01 00 16 9F",               //
                                                Hex(FrameBuilder::Frame(2, {3, 3, 0, 0, 0})),  //
                                                Hex(FrameBuilder::Frame(4, {7, 8, 9})),        //
                                                "0A 05 00 00 19 CD",                           //
                                                Hex(FrameBuilder::Frame(6, {3}))));
    EXPECT_FALSE(IsImageThere());
}

TEST_F(FirmwareUpdateTest, EveryNameHasItsDestination) {
    const std::vector<std::pair<std::string, std::uint8_t>> kDestinations = {{"PreBoot.hex", 1},
                                                                             {"VeltrixBoot.hex", 1},
                                                                             {"VeltrixBoot_CRC.bin", 3},
                                                                             {"VeltrixApp.hex", 0},
                                                                             {"VeltrixApp_CRC.bin", 2}};
    for (const auto& [name, destination] : kDestinations) {
        SCOPED_TRACE(name);
        Update(name);
        const auto frames = mLine.TakeFrames();
        EXPECT_THAT(frames, Contains(Hex(FrameBuilder::Frame(2, {destination, 3, 0, 0, 0}))));
        EXPECT_THAT(frames, Contains(Hex(FrameBuilder::Frame(6, {destination}))));
        const auto phases = name.find("App") == std::string::npos ? 1U : 3U;
        EXPECT_EQ(std::count_if(frames.begin(), frames.end(),
                                [](const std::string& frame) { return frame.substr(3, 2) == "2A"; }),
                  phases);
    }
}

TEST_F(FirmwareUpdateTest, SaysWhatItDoes) {
    EXPECT_THAT(
        Update(kAppFile),
        ElementsAre("Opening update file: /image.bin", "Reading update file: /image.bin",
                    "Initiating VeltrixApp_CRC.bin transfer of size 3",
                    " ---> Sending LED udpates status indication <--- ",
                    " ---> LED udpates status indication sent <--- ", "Sending file", "Finalizing file transfer",
                    "Firmware apply command sent. Waiting for carrier to restart... ",
                    "Carrier connected after firmware update", "Removing /image.bin", "Updating VeltrixApp_CRC.bin"));
    EXPECT_THAT(UpdateLog(), ElementsAre(Information("Initiating VeltrixApp_CRC.bin transfer of size 3"),
                                         Information("Sending file"), Information("Finalizing file transfer"),
                                         Information("Firmware apply command sent. Waiting for carrier to restart..."),
                                         Information("Carrier connected after firmware update")));
}

TEST_F(FirmwareUpdateTest, BelowVerbosityZeroOnlyTheMilestonesArePrinted) {
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_THAT(Update(kAppFile), ElementsAre("Sending file", "Finalizing file transfer",
                                              "Firmware apply command sent. Waiting for carrier to restart... "));
    EXPECT_EQ(UpdateLog().size(), 5U);
}

TEST_F(FirmwareUpdateTest, ALargeFileArrivesWholeInFramesOf1024) {
    const Bytes image = FrameBuilder::Ramp(70000, 5);
    WriteImage(image);
    Announce(kBootFile, 70000);
    Bytes received;
    for (const Bytes& frame : mLine.Port().TakeWrites()) {
        if (frame[1] == kStart) {
            EXPECT_EQ(Hex(frame), "0A 02 05 00 EB 70 03 70 11 01 00 4E 6F");
        } else if (frame[1] == kPacket) {
            received.insert(received.end(), frame.begin() + 6, frame.end() - 2);
        }
    }
    EXPECT_EQ(mLine.Count(kPacket), 69U);  // 68 x 1024 + 368
    EXPECT_EQ(received, image);
}

TEST_F(FirmwareUpdateTest, TrafficIsHeldBackFromTheFirstFrameToTheLast) {
    mOnFrame = [&](const Bytes& frame) {
        EXPECT_TRUE(mCarrier->mFirmwareUpdateInProgress) << Hex(frame);
        EXPECT_TRUE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer) << Hex(frame);
    };
    Update();
    EXPECT_EQ(mLine.Count(kApply), 1U);
    ExpectAtRest();
}

TEST_F(FirmwareUpdateTest, ASecondAnnouncementDuringATransferIsRefused) {
    bool isRefused = false;
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kPacket) {
            std::thread([&] { isRefused = IsRefused(); }).join();
        }
    };
    WriteImage({7, 8, 9});
    Announce(kAppFile, 3);
    EXPECT_TRUE(isRefused);
    EXPECT_EQ(mLine.Count(kApply), 1U);
    mOnFrame = nullptr;
    ExpectAtRest();
}

TEST_F(FirmwareUpdateTest, BelowVerbosityZeroTheRefusalIsOnlyLogged) {
    VeltrixErrorLog::gVerbosity = -1;
    mFolder.Write("folder/file", "");
    CarrierFileInfo info;
    info.set_fileSize(1);
    info.set_fileFullPath(mFolder.Path("gone"));
    mCarrier->DispatchCarrierFiles(info);
    mLog.Take();
    EXPECT_THAT(Printed([&] { mCarrier->DispatchCarrierFiles(info); }), IsEmpty());
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("Unknown file received or unable to grab mutex")));
}

TEST_F(FirmwareUpdateTest, TheFileIsDeletedOnlyWhenTheCarrierIsBack) {
    mComesBack = false;
    mCarrier->mIsCarrierAlive = true;  // of before the restart: does not count
    bool wasThere = false;
    bool wasAlive = true;
    bool wasRefused = false;
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kApply) {
            const auto now = mClock.ElapsedMs();
            mClock.At(now + 1, [&] { wasAlive = mCarrier->mIsCarrierAlive; });
            mClock.At(now + 60'000, [&] {
                wasThere = IsImageThere();
                EXPECT_TRUE(mCarrier->mFirmwareUpdateInProgress);
                EXPECT_TRUE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
                std::thread([&] { wasRefused = IsRefused(); }).join();
                TestCarrier::runOnce = false;
                HalGlobals::g_TessimorUpdateTimer = 0;
                Receive(FrameBuilder::Frame(9));
            });
        }
    };
    Update();
    EXPECT_FALSE(wasAlive);
    EXPECT_TRUE(wasThere);
    EXPECT_TRUE(wasRefused);
    EXPECT_FALSE(IsImageThere());
    const auto sleeps = mClock.Sleeps();
    EXPECT_EQ(sleeps.size(), 60'000U);
    EXPECT_THAT(sleeps, Each(1000U));
}

TEST_F(FirmwareUpdateTest, WaitsUntilTheCarrierIsReady) {
    mSaysReady = false;
    mClock.At(450, [&] { mCarrier->mCarrierIsReadyForFile = true; });
    std::uint64_t sentAt = 0;
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kPacket) {
            sentAt = mClock.ElapsedMs();
        }
    };
    Update();
    EXPECT_EQ(sentAt, 500U);
    auto sleeps = mClock.Sleeps();
    sleeps.resize(5);
    EXPECT_THAT(sleeps, Each(100'000U));
}

TEST_F(FirmwareUpdateTest, ACarrierThatIsNeverReadyGetsTheFileAfterTwoSeconds) {
    mSaysReady = false;
    std::uint64_t sentAt = 0;
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kPacket) {
            sentAt = mClock.ElapsedMs();
        }
    };
    Update();
    EXPECT_EQ(sentAt, 2000U);
    EXPECT_FALSE(IsImageThere());
    const auto sleeps = mClock.Sleeps();
    EXPECT_EQ(std::count(sleeps.begin(), sleeps.end(), 100'000U), 20);
}

TEST_F(FirmwareUpdateTest, ReadinessOfBeforeIsGoodEnough) {
    mSaysReady = false;
    mCarrier->mCarrierIsReadyForFile = true;
    Update();
    EXPECT_THAT(mClock.Sleeps(), Each(1000U));
}

TEST_F(FirmwareUpdateTest, WithoutAGivenSizeTheFilesOwnIsTaken) {
    WriteImage(Bytes(300, 1));
    Announce(kAppFile, 0);
    EXPECT_THAT(mLine.TakeFrames(), Contains(Hex(FrameBuilder::Frame(2, {2, 44, 1, 0, 0}))));
    EXPECT_FALSE(IsImageThere());
}

TEST_F(FirmwareUpdateTest, OfALongerFileTheGivenSizeIsSent) {
    WriteImage({7, 8, 9});
    Announce(kAppFile, 2);
    EXPECT_THAT(mLine.TakeFrames(), Contains(Hex(FrameBuilder::Frame(4, {7, 8}))));
}

TEST_F(FirmwareUpdateTest, AnEmptyOrMissingFileWithoutGivenSizeIsPassedOverInSilence) {
    EXPECT_THAT(Printed([&] { Announce(kAppFile, 0); }), IsEmpty());
    WriteImage({});
    EXPECT_THAT(Printed([&] { Announce(kAppFile, 0); }), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareUpdateTest, AnUnknownNameIsSentWithAnEmptyStartPayload) {
    const auto printed = Update("veltrixapp_crc.bin");
    EXPECT_THAT(printed, Contains("Unknown transfer file (veltrixapp_crc.bin) specified"));
    EXPECT_THAT(printed, Not(Contains(testing::HasSubstr("LED udpates"))));
    EXPECT_THAT(mLine.TakeFrames(),
                ElementsAre("0A 02 05 00 EB 70 00 00 00 00 00 CF 77", Hex(FrameBuilder::Frame(4, {7, 8, 9})),
                            "0A 05 00 00 19 CD", Hex(FrameBuilder::Frame(6, {0}))));
    EXPECT_THAT(UpdateLog(), Contains(Error("Unknown transfer file (veltrixapp_crc.bin) specified")));
    EXPECT_FALSE(IsImageThere());
}

TEST_F(FirmwareUpdateTest, PhasesThatTheCarrierRefusesLaterOnAreTriedOnce) {
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kEnd) {
            mLine.Answer(kPhase, FrameBuilder::Nack(13));
        }
    };
    Update();
    // One send each for phases 3 and 4, of three attempts.
    EXPECT_EQ(mLine.Count(kPhase), 1U + 3U + 3U);
    EXPECT_FALSE(IsImageThere());
    ExpectAtRest();
}

TEST_F(FirmwareUpdateTest, PhasesThatTheCarrierDoesNotAnswerLaterOnTakeThreeTimes200Milliseconds) {
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kEnd) {
            mLine.Answer(kPhase, CarrierStub::kSilence);
        }
    };
    Update();
    EXPECT_EQ(mLine.Count(kPhase), 7U);
    EXPECT_EQ(mClock.ElapsedMs(), 600U + 5U + 600U) << "phase 3, the carrier's return, phase 4";
    EXPECT_FALSE(IsImageThere());
}

TEST_F(FirmwareUpdateTest, TheFileIsDeletedBeforeTheLastPhase) {
    bool isThereAtApply = false;
    bool isThereAtLastPhase = true;
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kApply) {
            isThereAtApply = IsImageThere();
        }
        if (frame[1] == kPhase && frame[6] == 4) {
            isThereAtLastPhase = IsImageThere();
        }
    };
    Update();
    EXPECT_TRUE(isThereAtApply);
    EXPECT_FALSE(isThereAtLastPhase);
}

TEST_F(FirmwareUpdateTest, ALifeSignThatComesWithTheApplysAnswerDoesNotCount) {
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kApply) {
            mCarrier->mIsCarrierAlive = true;
        }
    };
    Update();
    const std::vector<std::uint32_t> fiveMilliseconds(5, 1000);
    EXPECT_EQ(mClock.Sleeps(), fiveMilliseconds);
}

TEST_F(FirmwareUpdateTest, SaysThatItInitiatesBeforeThePhaseOfThat) {
    WriteImage({7, 8, 9});
    EXPECT_THAT(SaidBefore(FrameBuilder::Frame(42, {2, 0}), [&] { Announce(kAppFile, 3); }).logged,
                ElementsAre(Information("Initiating VeltrixApp_CRC.bin transfer of size 3")));
}

TEST_F(FirmwareUpdateTest, SaysThatItUpdatesBeforeTheLastPhase) {
    WriteImage({7, 8, 9});
    const auto said = SaidBefore(FrameBuilder::Frame(42, {4, 0}), [&] { Announce(kAppFile, 3); });
    ASSERT_THAT(said.printed, Not(IsEmpty()));
    EXPECT_EQ(said.printed.back(), "Updating VeltrixApp_CRC.bin");
}

TEST_F(FirmwareUpdateTest, SaysThatItFinalizesBeforeThePhaseOfThat) {
    WriteImage({7, 8, 9});
    const auto said = SaidBefore(FrameBuilder::Frame(42, {3, 0}), [&] { Announce(kAppFile, 3); });
    ASSERT_THAT(said.printed, Not(IsEmpty()));
    EXPECT_EQ(said.printed.back(), "Finalizing file transfer");
    ASSERT_THAT(said.logged, Not(IsEmpty()));
    EXPECT_EQ(said.logged.back(), Information("Finalizing file transfer"));
}

TEST_F(FirmwareUpdateTest, SaysThatItRemovesBeforeAndThatItUpdatesBehindTheDeletion) {
    WriteImage({7, 8, 9});
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kApply) {
            std::filesystem::remove(ImagePath());
        }
    };
    // The failure to delete what is gone tells when the deletion was tried.
    const auto printed =
        PrintedBefore("Unable to remove /image.bin. No such file or directory", [&] { Announce(kAppFile, 3); });
    ASSERT_THAT(printed, Not(IsEmpty()));
    EXPECT_EQ(printed.back(), "Removing /image.bin");
    EXPECT_EQ(mLine.Count(kPhase), 3U);
}

TEST_F(FirmwareUpdateTest, TheFileIsClosedBeforeAnythingIsSent) {
    WriteImage({7, 8, 9});
    const auto image = std::filesystem::canonical(ImagePath());
    const auto isOpen = [&] {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return std::any_of(begin(descriptors), end(descriptors), [&](const auto& descriptor) {
            std::error_code error;
            return std::filesystem::read_symlink(descriptor.path(), error) == image;
        });
    };
    {
        const std::ifstream held(ImagePath());
        ASSERT_TRUE(isOpen()) << "the search does not find what is open";
    }
    ASSERT_FALSE(isOpen());
    bool wasOpen = false;
    mOnFrame = [&](const Bytes&) { wasOpen = wasOpen || isOpen(); };
    Announce(kAppFile, 3);
    EXPECT_FALSE(wasOpen);
    EXPECT_EQ(mLine.Count(kApply), 1U);
}

TEST_F(FirmwareUpdateTest, AFileThatIsGoneWhenItShouldBeDeletedIsAWarning) {
    mOnFrame = [&](const Bytes& frame) {
        if (frame[1] == kApply) {
            std::filesystem::remove(ImagePath());
        }
    };
    Update();
    EXPECT_THAT(UpdateLog(), ElementsAre(Information("Initiating VeltrixApp_CRC.bin transfer of size 3"),
                                         Information("Sending file"), Information("Finalizing file transfer"),
                                         Information("Firmware apply command sent. Waiting for carrier to restart..."),
                                         Information("Carrier connected after firmware update"),
                                         Warning("Unable to remove /image.bin. No such file or directory")));
    EXPECT_EQ(mLine.Count(kPhase), 3U);
    ExpectAtRest();
}

TEST_F(FirmwareUpdateTest, AnExceptionInItsMiddleLeavesNothingHeldBack) {
    WriteImage({7, 8, 9});
    mOnFrame = [](const Bytes& frame) {
        if (frame[1] == kEnd) {
            throw std::runtime_error("memory is short");
        }
    };
    EXPECT_THROW(Printed([&] { Announce(kAppFile, 3); }), std::runtime_error);
    mOnFrame = nullptr;
    EXPECT_TRUE(IsImageThere());
    ExpectAtRest();
    Update();
    EXPECT_FALSE(IsImageThere());
}

}  // namespace
