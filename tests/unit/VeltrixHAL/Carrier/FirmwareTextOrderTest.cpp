// What an update both prints and logs: which of the two comes first.
#include "tests/unit/VeltrixHAL/Carrier/FirmwareFixture.h"

namespace {

using testing::Contains;
using testing::Not;

class FirmwareTextOrderTest : public FirmwareTest {
protected:
    struct Text {
        std::string logged;
        std::function<void()> bringItUp;
        std::string printed = logged;
    };

    struct Output {
        std::vector<std::string> beforeTheLog;
        std::vector<std::string> behindTheLog;
    };
    static Output PrintedAround(const Text& text) {
        Output printed;
        bool isLogged = false;
        ConsoleCapture console;
        {
            const LogWatch watch([&](const std::string& logged) {
                if (!isLogged && logged == text.logged) {
                    isLogged = true;
                    printed.beforeTheLog = Lines(console.Take());
                }
            });
            text.bringItUp();
        }
        printed.behindTheLog = Lines(console.Take());
        EXPECT_TRUE(isLogged);
        return printed;
    }

    void UpdateWithImage(const std::string& name = kAppFile, std::uint32_t announcedSize = 3) {
        TestCarrier::ResetClassState();
        WriteImage({7, 8, 9});
        Announce(name, announcedSize);
    }
};

TEST_F(FirmwareTextOrderTest, TheTransferIsPrintedAndThenLogged) {
    const Bytes refused = FrameBuilder::Nack(13);
    const Bytes corrupt = FrameBuilder::Nack(14);
    const auto update = [&] { UpdateWithImage(); };
    const auto updateWithRefused = [&](std::uint8_t command) {
        mLine.AnswerNext(command, refused, 3);
        update();
    };
    const std::vector<Text> kTexts = {
        {"HAL Errlog: Failure reading firmware file. Aborting update", [&] { UpdateWithImage(kAppFile, 5); },
         "HAL - Failure reading firmware file. Aborting update"},
        {"HAL Errlog: Failure reading firmware file. Aborting update", [&] { UpdateWithImage(kAppFile, 5); },
         "Read 3 of 5 expected."},
        {"Transfer initiation failed. CommError = 4", [&] { updateWithRefused(kStart); }},
        {"Sending file", update},
        {"File transfer failed. Attempt: 1",
         [&] {
             mBusyCarrier->mBusy = {true};
             update();
         }},
        {"Carrier reported CRC failure on VeltrixApp_CRC.bin file transfer",
         [&] {
             mLine.AnswerNext(kEnd, corrupt);
             update();
         }},
        {"Finalizing file transfer", update},
        {"Firmware Apply failed. CommError = 4", [&] { updateWithRefused(kApply); }},
        {"Firmware apply command sent. Waiting for carrier to restart...", update,
         "Firmware apply command sent. Waiting for carrier to restart... "},
        {"File transer giving up after 1 attempts",
         [&] {
             mBusyCarrier->mBusy = {true};
             update();
         }},
    };
    for (const Text& text : kTexts) {
        SCOPED_TRACE(text.printed);
        const Output printed = PrintedAround(text);
        EXPECT_THAT(printed.beforeTheLog, Contains(text.printed));
        EXPECT_THAT(printed.behindTheLog, Not(Contains(text.printed)));
    }
}

TEST_F(FirmwareTextOrderTest, EverythingElseIsLoggedAndThenPrinted) {
    const std::vector<Text> kTexts = {
        {"Unknown file received or unable to grab mutex",
         [&] {
             TestCarrier::updateFileMutex.test_and_set();
             Announce(kAppFile, 3);
         }},
        {"Could not open firmware file. Aborting update",
         [&] {
             TestCarrier::ResetClassState();
             Announce(kAppFile, 3);
         }},
        {"Unknown transfer file (other.bin) specified", [&] { UpdateWithImage("other.bin"); }},
        {"Initiating VeltrixApp_CRC.bin transfer of size 3", [&] { UpdateWithImage(); }},
        {"Carrier is ready for firmware", [&] { Receive(FrameBuilder::Frame(3)); }},
        {"Carrier connected after firmware update", [&] { UpdateWithImage(); }},
        {"Carrier app version received: 1.2",
         [&] {
             mCarrier->Reply(FrameBuilder::Ack({'1', '.', '2'}), CommCommands_GetCarrierVersion);
         }},
        {"Carrier boot version received: 1.2",
         [&] {
             mCarrier->Reply(FrameBuilder::Ack({'1', '.', '2'}), CommCommands_GetBootloaderVersion);
         }},
    };
    VeltrixErrorLog::gVerbosity = 1;
    for (const Text& text : kTexts) {
        SCOPED_TRACE(text.printed);
        const Output printed = PrintedAround(text);
        EXPECT_THAT(printed.beforeTheLog, Not(Contains(text.printed)));
        EXPECT_THAT(printed.behindTheLog, Contains(text.printed));
    }
}

}  // namespace
