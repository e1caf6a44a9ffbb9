// The stand-ins themselves: what the other tests rely on.
#include <gtest/gtest.h>

#include "Common/Helper/SteadyTime.h"
#include "OSSpecific/Linux/System/Shell.h"
#include "OSSpecific/Linux/System/SystemClock.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"
#include "tests/unit/VeltrixHAL/Support/FakeSystem.h"
#include "tests/unit/VeltrixHAL/Support/FakeTime.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <cerrno>
#include <thread>

namespace {

using Bytes = FakeSerial::Bytes;

Bytes ReadAll(FakeSerial& serial) {
    Bytes bytes;
    std::uint8_t byte = 0;
    while (serial.ReadByte(byte)) {
        bytes.push_back(byte);
    }
    return bytes;
}

TEST(FrameBuilderTest, CrcGivesThePublishedCheckValue) {
    EXPECT_EQ(FrameBuilder::X25(FrameBuilder::Text("123456789")), 0x906E);
}

TEST(FrameBuilderTest, FramesAreThoseOfTheLink) {
    EXPECT_EQ(FrameBuilder::Ack(), (Bytes{0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAC}));
    EXPECT_EQ(FrameBuilder::Frame(9), (Bytes{0x0A, 0x09, 0x00, 0x00, 0xBC, 0x6E}));
    EXPECT_EQ(FrameBuilder::Nack(1), (Bytes{0x0A, 0x00, 0x01, 0x00, 0x39, 0xA8, 0x01, 0xE1, 0xF1}));
}

TEST(FakeSerialTest, GivesBytesInOrderAndThenRunsDry) {
    FakeSerial serial;
    serial.Feed({1, 2});
    serial.Feed({3});
    EXPECT_EQ(serial.UnreadBytes(), 3U);
    EXPECT_EQ(ReadAll(serial), (Bytes{1, 2, 3}));
    EXPECT_EQ(serial.UnreadBytes(), 0U);
}

TEST(FakeSerialTest, RunsDryAfterEachGroupOfTheAgreedSize) {
    FakeSerial serial;
    serial.SetBytesPerPoll(2);
    serial.Feed({1, 2, 3});
    EXPECT_EQ(ReadAll(serial), (Bytes{1, 2}));
    EXPECT_EQ(ReadAll(serial), (Bytes{3}));
}

TEST(FakeSerialTest, AnswersWhatIsWrittenAfterTheAgreedDelay) {
    ControlledClock clock(0xFFFFFFFFU);
    FakeSerial serial;
    serial.SetResponder([](const Bytes& written) { return FakeSerial::Answers{{written, 20}, {{7}, 10}}; });
    const Bytes sent = {1, 2};
    serial.WriteBytes(sent.data(), 2);
    EXPECT_EQ(serial.Writes(), std::vector<Bytes>{sent});
    EXPECT_EQ(ReadAll(serial), Bytes{});
    clock.AdvanceMs(10);
    EXPECT_EQ(ReadAll(serial), Bytes{7});
    clock.AdvanceMs(9);
    EXPECT_EQ(ReadAll(serial), Bytes{});
    clock.AdvanceMs(1);
    EXPECT_EQ(ReadAll(serial), sent);
}

TEST(FakeSerialTest, ResponderKeepsItsState) {
    FakeSerial serial;
    serial.SetResponder([number = std::uint8_t{0}](const Bytes&) mutable { return FakeSerial::Answers{{{++number}}}; });
    const std::uint8_t byte = 0;
    serial.WriteBytes(&byte, 1);
    serial.WriteBytes(&byte, 1);
    EXPECT_EQ(ReadAll(serial), (Bytes{1, 2}));
    serial.SetResponder(nullptr);
    serial.WriteBytes(&byte, 1);
    EXPECT_EQ(serial.UnreadBytes(), 0U);
}

TEST(FakeSerialTest, NoticesWritesThatOverlap) {
    FakeSerial serial;
    serial.SetResponder([&](const Bytes& written) {
        if (written.size() == 1) {
            const Bytes inner = {1, 2};
            std::thread([&] { serial.WriteBytes(inner.data(), 2); }).join();
        }
        return FakeSerial::Answers{};
    });
    const Bytes two = {1, 2};
    serial.WriteBytes(two.data(), 2);
    EXPECT_FALSE(serial.WritesOverlapped());
    serial.WriteBytes(two.data(), 1);
    EXPECT_TRUE(serial.WritesOverlapped());
}

TEST(FakeTimeTest, SleepsMoveTheControlledClockAcrossItsWrap) {
    ControlledClock clock(0xFFFFFFFFU);
    EXPECT_EQ(GetCurrentTimeSinceEpochInMilliseconds(), 0xFFFFFFFFU);
    SleepMicroseconds(500);
    EXPECT_EQ(GetCurrentTimeSinceEpochInMilliseconds(), 0xFFFFFFFFU);
    SleepMicroseconds(2500);
    EXPECT_EQ(GetCurrentTimeSinceEpochInMilliseconds(), 2U);
    EXPECT_EQ(clock.ElapsedMs(), 3U);
    EXPECT_EQ(clock.Sleeps(), (std::vector<std::uint32_t>{500, 2500}));
}

TEST(FakeTimeTest, ActionsRunInOrderAtTheirTimes) {
    ControlledClock clock(100);
    std::vector<std::uint32_t> times;
    const auto note = [&] { times.push_back(GetCurrentTimeSinceEpochInMilliseconds()); };
    clock.At(25, note);
    clock.At(10, note);
    SleepMicroseconds(9999);
    EXPECT_TRUE(times.empty());
    clock.AdvanceMs(100);
    EXPECT_EQ(times, (std::vector<std::uint32_t>{110, 125}));
}

TEST(FakeTimeTest, LooksAreNoticedAndSleepsCutShort) {
    ControlledClock clock(100);
    int looks = 0;
    clock.WhenLookedAt([&] {
        GetCurrentTimeSinceEpochInMilliseconds();
        ++looks;
    });
    clock.CutSleepsTo(3000);
    SleepMicroseconds(10000);
    EXPECT_EQ(GetCurrentTimeSinceEpochInMilliseconds(), 103U);
    EXPECT_EQ(looks, 1);
    clock.WhenLookedAt(nullptr);
    GetCurrentTimeSinceEpochInMilliseconds();
    EXPECT_EQ(looks, 1);
}

TEST(FakeTimeTest, WithoutAControlledClockTimeIsTheMachines) {
    const std::uint32_t before = GetCurrentTimeSinceEpochInMilliseconds();
    SleepMicroseconds(3000);
    EXPECT_GE(GetCurrentTimeSinceEpochInMilliseconds() - before, 2U);
}

TEST(FakeSystemTest, RefusesEverythingWhileNobodyLooks) {
    EXPECT_EQ(SetSystemClock({}), EPERM);
    EXPECT_FALSE(RunShell("true"));
}

TEST(FakeSystemTest, KeepsCallsAndAnswersAsTold) {
    FakeSystem system;
    EXPECT_EQ(SetSystemClock({7, 0}), 0);
    EXPECT_TRUE(RunShell("one"));
    system.SetClockResult(EINVAL);
    system.SetShellResult(false);
    EXPECT_EQ(SetSystemClock({8, 0}), EINVAL);
    EXPECT_FALSE(RunShell("two"));
    ASSERT_EQ(system.ClockSettings().size(), 2U);
    EXPECT_EQ(system.ClockSettings()[1].tv_sec, 8);
    EXPECT_EQ(system.ShellCommands(), (std::vector<std::string>{"one", "two"}));
}

TEST(GlobalsGuardTest, PutsBackTheStateOfTheMachineBeforeAndBehindATest) {
    const auto change = [] {
        gKeepRunning = false;
        gCoreEnabled = true;
        HalGlobals::gEndTimeOfLastWeld = DateTime(7);
        HalGlobals::gIsWeldInProgress = true;
    };
    const auto expectStart = [] {
        EXPECT_TRUE(gKeepRunning);
        EXPECT_FALSE(gCoreEnabled);
        EXPECT_EQ(HalGlobals::gEndTimeOfLastWeld, DateTime());
        EXPECT_FALSE(HalGlobals::gIsWeldInProgress);
    };
    change();
    {
        const GlobalsGuard guard;
        expectStart();
        change();
    }
    expectStart();
}

TEST(ConsoleCaptureTest, GivesEachPieceOnce) {
    ConsoleCapture console;
    std::fputs("one\n", stdout);
    EXPECT_EQ(console.Take(), "one\n");
    ASSERT_EQ(::write(STDOUT_FILENO, "two", 3), 3);
    EXPECT_EQ(console.Take(), "two");
    EXPECT_EQ(console.Take(), "");
}

}  // namespace
