// What the tests of whole updates share: an image on disk, and a carrier that takes it and comes back.
#pragma once

#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// The real link turns a busy carrier into a time-out of the packet, so this one says of its own accord that it is busy.
class BusyCarrier : public TestCarrier {
public:
    using TestCarrier::TestCarrier;

    // For each answered packet in turn whether it counts as refused for being busy; none does after the last.
    std::deque<bool> mBusy;

    e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int elapsedMs) override {
        const e_commError result = TestCarrier::ProcessResponseFromCarrier(response, sent, elapsedMs);
        if (sent != CommCommands_FileTransferPacket || mBusy.empty()) {
            return result;
        }
        const bool isBusy = mBusy.front();
        mBusy.pop_front();
        return isBusy ? commError_BusyRetry : result;
    }
};

class FirmwareTest : public CarrierTest {
protected:
    static constexpr std::uint8_t kStart = 2;
    static constexpr std::uint8_t kPacket = 4;
    static constexpr std::uint8_t kEnd = 5;
    static constexpr std::uint8_t kApply = 6;
    static constexpr std::uint8_t kPhase = 42;
    static constexpr const char* kAppFile = "VeltrixApp_CRC.bin";
    static constexpr const char* kBootFile = "VeltrixBoot_CRC.bin";

    FirmwareTest() {
        auto carrier = std::make_unique<BusyCarrier>(mLine.Port(), mClient);
        mBusyCarrier = carrier.get();
        mCarrier = std::move(carrier);
        mLine.Watch([this](const Bytes& frame) { OnFrame(frame); });
    }

    // An image of three bytes, "image.bin" in the test's folder, unless the test wrote another.
    std::string ImagePath() const { return mFolder.Path("image.bin"); }
    void WriteImage(const Bytes& image) const { mFolder.Write("image.bin", {image.begin(), image.end()}); }
    bool IsImageThere() const { return mFolder.Exists("image.bin"); }

    void Announce(const std::string& name, std::uint32_t size) {
        CarrierFileInfo info;
        info.set_fileName(name);
        info.set_fileSize(size);
        info.set_fileFullPath(ImagePath());
        mCarrier->DispatchCarrierFiles(info);
    }

    // A whole update of three bytes; returns what it printed, without the link's own lines.
    std::vector<std::string> Update(const std::string& name = kAppFile) {
        WriteImage({7, 8, 9});
        auto lines = Printed([&] { Announce(name, 3); });
        std::erase_if(lines, [](const std::string& line) { return IsOfTheLink(line) || line.empty(); });
        return lines;
    }

    // What the update logged, without the link's own messages.
    std::vector<LogLine> UpdateLog() {
        auto lines = mLog.Take();
        std::erase_if(lines, [](const LogLine& line) { return IsOfTheLink(line.text); });
        return lines;
    }

    // After a dispatch that came to an end nothing is held back any more, and the next one is taken on.
    void ExpectAtRest() {
        EXPECT_FALSE(mCarrier->mFirmwareUpdateInProgress);
        EXPECT_FALSE(HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
        EXPECT_FALSE(mCarrier->mCarrierIsReadyForFile);
        EXPECT_FALSE(IsRefused());
    }

    // Whether a further announcement is turned away. One for a file that does not exist is let through without a word.
    bool IsRefused() {
        mLog.Take();
        CarrierFileInfo info;
        info.set_fileName(kAppFile);
        info.set_fileFullPath(mFolder.Path("no such file"));
        const auto printed = Printed([&] { mCarrier->DispatchCarrierFiles(info); });
        const std::vector<LogLine> logged = mLog.Take();
        if (printed.empty() && logged.empty()) {
            return false;
        }
        EXPECT_THAT(printed, testing::ElementsAre("Unknown file received or unable to grab mutex"));
        EXPECT_THAT(logged, testing::ElementsAre(Information("Unknown file received or unable to grab mutex")));
        return true;
    }

    void WatchLine(CarrierStub::Watcher watcher) override { mOnFrame = std::move(watcher); }

    // The carrier as the test wants it.
    bool mSaysReady = true;
    bool mComesBack = true;
    std::function<void(const Bytes& frame)> mOnFrame;
    BusyCarrier* mBusyCarrier = nullptr;

private:
    static bool IsOfTheLink(const std::string& text) {
        for (const char* const start : {"Sent ", "HAL Sent packet", "2 retry", "1 retry", "Nack received", "WaitFor",
                                        "Carrier encountered a flash write problem.  Restart the transfer"}) {
            if (text.rfind(start, 0) == 0) {
                return true;
            }
        }
        return false;
    }

    void OnFrame(const Bytes& frame) {
        if (frame[1] == kStart && mSaysReady) {
            mCarrier->mCarrierIsReadyForFile = true;
        }
        if (frame[1] == kApply && mComesBack) {
            mClock.At(mClock.ElapsedMs() + 5, [this] { mCarrier->mIsCarrierAlive = true; });
        }
        if (mOnFrame) {
            mOnFrame(frame);
        }
    }
};
