// Console and shell access with its expiry.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <ostream>
#include <stdexcept>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

AdminAccessSettings Settings(const std::string& expiry, bool console, bool shell) {
    AdminAccessSettings settings;
    settings.set_expiryDate(expiry);
    settings.set_enableConsole(console);
    settings.set_enableShell(shell);
    return settings;
}

constexpr const char* kExpiry = "2025-12-31T23:59:58.999Z";
constexpr const char* kConsoleOnly = "0A 25 0A 00 E7 86 19 0C 1F 17 3B 3A E7 03 01 00 4B 8B";

class AdminAccessTest : public CarrierTest {
protected:
    bool Send(AdminAccessSettings settings) { return mCarrier->SendAdminAccessStatus(settings); }
};

struct Access {
    bool console;
    bool shell;
    const char* frame;
    const char* logged;

    friend void PrintTo(const Access& access, std::ostream* out) {
        *out << "Console" << access.console << "Shell" << access.shell;
    }
};

class AdminAccessFlagsTest : public AdminAccessTest, public testing::WithParamInterface<Access> {};

TEST_P(AdminAccessFlagsTest, AreSentBehindTheExpiryAndLogged) {
    EXPECT_TRUE(Send(Settings(kExpiry, GetParam().console, GetParam().shell)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(GetParam().frame));
    EXPECT_THAT(LogWith("Admin access"), ElementsAre(Warning(GetParam().logged)));
}

INSTANTIATE_TEST_SUITE_P(All, AdminAccessFlagsTest,
                         testing::Values(Access{true, false, kConsoleOnly,
                                                "Admin access info sent to Carrier. Console: true, SSH: false"},
                                         Access{false, true, "0A 25 0A 00 E7 86 19 0C 1F 17 3B 3A E7 03 00 01 43 DA",
                                                "Admin access info sent to Carrier. Console: false, SSH: true"},
                                         Access{true, true, "0A 25 0A 00 E7 86 19 0C 1F 17 3B 3A E7 03 01 01 5A 02",
                                                "Admin access info sent to Carrier. Console: true, SSH: true"},
                                         Access{false, false, "0A 25 0A 00 E7 86 19 0C 1F 17 3B 3A E7 03 00 00 52 53",
                                                "Admin access info sent to Carrier. Console: false, SSH: false"}));

TEST_F(AdminAccessTest, AnEmptyExpirySendsNothing) {
    EXPECT_THAT(Printed([&] { EXPECT_FALSE(Send(Settings("", true, true))); }), IsEmpty());
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_TRUE(Send(Settings(kExpiry, true, false))) << "it holds nothing up";
}

TEST_F(AdminAccessTest, ARefusalByTheCarrierIsReported) {
    mLine.AnswerNext(37, FrameBuilder::Nack(12), 3);
    EXPECT_FALSE(Send(Settings(kExpiry, true, false)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kConsoleOnly, kConsoleOnly, kConsoleOnly));
    EXPECT_THAT(LogWith("Admin access"), ElementsAre(Warning("Failed to send Admin access request to Carrier")));
    EXPECT_TRUE(Send(Settings(kExpiry, true, false))) << "it holds nothing up";
}

TEST_F(AdminAccessTest, ASilentCarrierIsReportedAfterThreeTimes200Milliseconds) {
    mLine.Answer(37, CarrierStub::kSilence);
    EXPECT_FALSE(Send(Settings(kExpiry, true, false)));
    EXPECT_EQ(mLine.Count(37), 3U);
    EXPECT_EQ(mClock.ElapsedMs(), 600U);
    EXPECT_THAT(LogWith("Admin access"), ElementsAre(Warning("Failed to send Admin access request to Carrier")));
}

// A piece is read up to what is no digit, and the last one may be short.
TEST_F(AdminAccessTest, LeadingDigitsAreEnough) {
    EXPECT_TRUE(Send(Settings("2025-1x-31T23:59:58.9", true, false)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 25 0A 00 E7 86 19 01 1F 17 3B 3A 09 00 01 00 B3 F5"));
}

TEST_F(AdminAccessTest, OnlyThePositionsOfTheNumbersMatter) {
    EXPECT_TRUE(Send(Settings("xx25/12/31 23.59.58,999 and more", true, false)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kConsoleOnly));
}

TEST_F(AdminAccessTest, OnlyTheLastTwoDigitsOfTheYearCount) {
    EXPECT_TRUE(Send(Settings("1925-12-31T23:59:58.999Z", true, false)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kConsoleOnly));
}

enum class Raised { OutOfRange, InvalidArgument };

struct BadExpiry {
    const char* text;
    Raised raised;

    friend void PrintTo(const BadExpiry& expiry, std::ostream* out) {
        *out << (std::string(expiry.text) < "\x7F" ? expiry.text : "NoUtf8");
    }
};

class AdminAccessExpiryTest : public AdminAccessTest, public testing::WithParamInterface<BadExpiry> {};

TEST_P(AdminAccessExpiryTest, ThatIsNoTimeIsRaisedAndTheNextOneGoesThrough) {
    AdminAccessSettings settings = Settings(GetParam().text, true, false);
    if (GetParam().raised == Raised::OutOfRange) {
        EXPECT_THROW(mCarrier->SendAdminAccessStatus(settings), std::out_of_range);
    } else {
        EXPECT_THROW(mCarrier->SendAdminAccessStatus(settings), std::invalid_argument);
    }
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_TRUE(Send(Settings(kExpiry, true, false)));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kConsoleOnly));
}

INSTANTIATE_TEST_SUITE_P(All, AdminAccessExpiryTest,
                         testing::Values(
                             // Shorter than the position of a field.
                             BadExpiry{"2", Raised::OutOfRange}, BadExpiry{"2025", Raised::OutOfRange},
                             BadExpiry{"2025-12", Raised::OutOfRange}, BadExpiry{"2025-12-31", Raised::OutOfRange},
                             BadExpiry{"2025-12-31T23", Raised::OutOfRange},
                             BadExpiry{"2025-12-31T23:59", Raised::OutOfRange},
                             BadExpiry{"2025-12-31T23:59:58", Raised::OutOfRange},
                             // Just as long as the position: an empty piece is no number.
                             BadExpiry{"20", Raised::InvalidArgument}, BadExpiry{"2025-", Raised::InvalidArgument},
                             BadExpiry{"2025-12-31T23:59:58Z", Raised::InvalidArgument},
                             // No number where one belongs.
                             BadExpiry{"20xx-12-31T23:59:58.999Z", Raised::InvalidArgument},
                             BadExpiry{"2025-xx-31T23:59:58.999Z", Raised::InvalidArgument},
                             BadExpiry{"2025-12-xxT23:59:58.999Z", Raised::InvalidArgument},
                             BadExpiry{"2025-12-31Txx:59:58.999Z", Raised::InvalidArgument},
                             BadExpiry{"2025-12-31T23:xx:58.999Z", Raised::InvalidArgument},
                             BadExpiry{"2025-12-31T23:59:xx.999Z", Raised::InvalidArgument},
                             BadExpiry{"2025-12-31T23:59:58.xxxZ", Raised::InvalidArgument},
                             BadExpiry{"never", Raised::InvalidArgument},
                             BadExpiry{"\xFF\xFE\xFD\xFC", Raised::InvalidArgument}));

// The first one's sending is looked at before the second one's expiry.
TEST_F(AdminAccessTest, ASecondCallerIsRefusedWhileTheFirstIsSendingWhateverItsExpiry) {
    for (const char* const expiry : {kExpiry, ""}) {
        SCOPED_TRACE(expiry);
        bool isSecondAccepted = true;
        std::vector<LogLine> loggedForSecond;
        mLine.Watch([&](const Bytes&) {
            mLog.Take();
            std::thread([&] { isSecondAccepted = Send(Settings(expiry, true, true)); }).join();
            loggedForSecond = mLog.Take();
        });
        EXPECT_TRUE(Send(Settings(kExpiry, true, false)));
        EXPECT_FALSE(isSecondAccepted);
        EXPECT_THAT(loggedForSecond, ElementsAre(Warning("Failed to get mutex for admin access")));
        EXPECT_THAT(mLine.TakeFrames(), ElementsAre(kConsoleOnly));
    }
}

}  // namespace
