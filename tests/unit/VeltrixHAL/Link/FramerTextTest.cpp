// What the framer tells of a failed check, where, and from which verbosity on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/unit/VeltrixHAL/Link/FramerProbe.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <memory>

namespace {

using Bytes = FakeSerial::Bytes;
using testing::ElementsAre;

// 0xAC7B (44155) received where 0xAC7A (44154) belongs.
const Bytes kBadHeader = {0x0A, 0x01, 0x00, 0x00, 0x7B, 0xAC};
// 0xF2E1 (62177) received where 0xF1E1 (61921) belongs.
const Bytes kBadPayload = {0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF2};

class FramerTextTest : public testing::Test {
protected:
    void Receive(const Bytes& bytes) {
        mSerial.Feed(bytes);
        Packet* packet = nullptr;
        mFramer->Process(packet);
        EXPECT_EQ(packet, nullptr);
    }

    GlobalsGuard mGlobals;
    FakeSerial mSerial;
    SixPackets mSix;
    std::unique_ptr<PacketFramer> mFramer = std::make_unique<PacketFramer>(mSerial, mSix.pool, 0x0A);
    ConsoleCapture mConsole;
};

TEST_F(FramerTextTest, AtVerbosityZeroFailuresAreLoggedOnly) {
    LogCapture log;
    Receive(kBadHeader);
    Receive(kBadPayload);
    EXPECT_THAT(log.Take(), ElementsAre(Warning("Header CRC received 44155 != 44154 expected"),
                                        Warning("Payload CRC received 62177 != 61921 expected")));
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(FramerTextTest, AboveVerbosityZeroTheConsoleTellsThemToo) {
    LogCapture log;
    VeltrixErrorLog::gVerbosity = 1;
    Receive(kBadHeader);
    EXPECT_EQ(mConsole.Take(), "Header CRC received 44155 != 44154 expected\n");
    Receive(kBadPayload);
    // Without the last word, unlike the header's line: whoever reads consoles by machine relies on it.
    EXPECT_EQ(mConsole.Take(), "Payload CRC received 62177 != 61921\n");
    EXPECT_EQ(log.Take().size(), 2U);
}

TEST_F(FramerTextTest, BelowVerbosityZeroTheLogIsTheSame) {
    LogCapture log;
    VeltrixErrorLog::gVerbosity = -1;
    Receive(kBadHeader);
    EXPECT_THAT(log.Take(), ElementsAre(Warning("Header CRC received 44155 != 44154 expected")));
    EXPECT_EQ(mConsole.Take(), "");
}

TEST_F(FramerTextTest, WithoutALogALineOnTheConsoleStandsForEachFailure) {
    ASSERT_EQ(VeltrixErrorLog::gRotatingLogger, nullptr);
    Receive(kBadHeader);
    EXPECT_THAT(mConsole.Take(),
                testing::MatchesRegex("Rotating logger is nullptr - level: 2 - logged at PacketFramer.cpp:[0-9]+\n"));
    Receive(kBadPayload);
    EXPECT_THAT(mConsole.Take(),
                testing::MatchesRegex("Rotating logger is nullptr - level: 2 - logged at PacketFramer.cpp:[0-9]+\n"));
}

TEST_F(FramerTextTest, FramesGarbageAndOversizeSayNothing) {
    LogCapture log;
    VeltrixErrorLog::gVerbosity = 5;
    Receive({0x01, 0x02, 0x0A, 0x04, 0xF9, 0xFF, 0xE7, 0x79, 0x33});
    EXPECT_THAT(log.Take(), testing::IsEmpty());
    EXPECT_EQ(mConsole.Take(), "");
}

}  // namespace
