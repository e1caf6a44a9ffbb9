// Which settings may be sent at the same time: each kind has a lock of its own, one for the whole process.
#include "tests/support/WaitUntil.h"
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

namespace {

using testing::ElementsAre;

constexpr const char* kAccess = "0A 25 0A 00 E7 86 19 0C 1F 17 3B 3A E7 03 01 00 4B 8B";
constexpr const char* kSensor = "0A 27 01 00 B6 96 02 D3 6A";

bool SendAdminAccess(CarrierCommInterface& carrier) {
    AdminAccessSettings settings;
    settings.set_expiryDate("2025-12-31T23:59:58.999Z");
    settings.set_enableConsole(true);
    return carrier.SendAdminAccessStatus(settings);
}

bool SendServerCommands(CarrierCommInterface& carrier) {
    IncomingCommands commands;
    commands.set_currentSensorType(2);
    return carrier.SendServerCommands(commands);
}

using Send = bool(CarrierCommInterface& carrier);

class SettingsLocksTest : public CarrierTest {
protected:
    // Runs `action` while the interface's first frame is on its way.
    void DuringTheFirstFrame(std::function<void()> action) {
        mLine.Watch([action = std::move(action), isFirst = true](const Bytes&) mutable {
            if (std::exchange(isFirst, false)) {
                action();
            }
        });
    }

    // The second one comes while the first one's frame is on its way. Let in, it waits for the line.
    void ExpectBothAccepted(Send& first, Send& second) {
        bool isSecondAccepted = false;
        std::atomic<bool> hasSecondEnded{false};
        std::thread other;
        DuringTheFirstFrame([&] {
            other = std::thread([&] {
                isSecondAccepted = second(*mCarrier);
                hasSecondEnded = true;
            });
            EXPECT_TRUE(
                WaitUntil([&] { return hasSecondEnded || mCarrier->mWaitingForLine > 0; }, std::chrono::seconds(30)));
        });
        EXPECT_TRUE(first(*mCarrier));
        other.join();
        EXPECT_TRUE(isSecondAccepted);
    }

    // The same on two interfaces, each with a read mutex of its own.
    std::vector<LogLine> LoggedByTheRefusedOther(Send& send) {
        TestCarrier otherCarrier(mLine.Port(), mClient);
        bool isOtherAccepted = true;
        std::vector<LogLine> logged;
        DuringTheFirstFrame([&] {
            mLog.Take();
            std::thread([&] { isOtherAccepted = send(otherCarrier); }).join();
            logged = mLog.Take();
        });
        EXPECT_TRUE(send(*mCarrier));
        EXPECT_FALSE(isOtherAccepted);
        return logged;
    }
};

TEST_F(SettingsLocksTest, AdminAccessUnderWayHoldsNoServerCommandsUp) {
    ExpectBothAccepted(SendAdminAccess, SendServerCommands);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kAccess, kSensor));
}

TEST_F(SettingsLocksTest, ServerCommandsUnderWayHoldNoAdminAccessUp) {
    ExpectBothAccepted(SendServerCommands, SendAdminAccess);
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kSensor, kAccess));
}

TEST_F(SettingsLocksTest, AdminAccessIsRefusedToEveryInterfaceOfTheProcess) {
    EXPECT_THAT(LoggedByTheRefusedOther(SendAdminAccess), ElementsAre(Warning("Failed to get mutex for admin access")));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kAccess));
}

TEST_F(SettingsLocksTest, ServerCommandsAreRefusedToEveryInterfaceOfTheProcess) {
    EXPECT_THAT(LoggedByTheRefusedOther(SendServerCommands), testing::IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kSensor));
}

}  // namespace
