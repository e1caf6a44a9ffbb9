// The port on a pseudo-terminal: connecting, reading, writing, closing.
#include "OSSpecific/Linux/Uart/LinuxSerial.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/unit/Uart/FaultySystemCalls.h"
#include "tests/unit/Uart/PortForTests.h"
#include "tests/unit/Uart/PseudoTerminal.h"
#include "tests/unit/VirtualSlots.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class LinuxSerialTest : public testing::Test {
protected:
    static termios SettingsOf(int descriptor) {
        termios settings{};
        EXPECT_EQ(::tcgetattr(descriptor, &settings), 0);
        return settings;
    }

    // Those that the access options choose, but for O_NOCTTY, which no descriptor keeps; -1 where nothing is open.
    static int OpenFlagsOf(int descriptor) {
        const int flags = ::fcntl(descriptor, F_GETFL);
        return flags < 0 ? flags : flags & (O_ACCMODE | O_SYNC | O_NONBLOCK);
    }

    const PseudoTerminal mTerminal;
};

TEST_F(LinuxSerialTest, AFreshPortIsNeitherConfiguredNorOpen) {
    PortForTests port;
    EXPECT_EQ(port.m_uartRdFd, -1);
    EXPECT_EQ(port.m_uartWrFd, -1);
    EXPECT_EQ(port.m_rdAccessOpt, -1);
    EXPECT_EQ(port.m_wrAccessOpt, -1);
    EXPECT_EQ(port.m_uartPath, "");
    EXPECT_FALSE(port.IsReady());
    std::uint8_t byte = 0x5A;
    EXPECT_FALSE(port.ReadByte(byte));
    EXPECT_EQ(byte, 0x5A);
    port.WriteBytes(&byte, 1);
    EXPECT_EQ(port.CloseUart(), 0);
}

TEST_F(LinuxSerialTest, TheConstructorConnects) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    EXPECT_TRUE(port.IsReady());
    EXPECT_TRUE(port.IsOpened());
    EXPECT_EQ(port.m_uartPath, mTerminal.Path());
    EXPECT_EQ(port.m_rdAccessOpt, O_RDONLY | O_NOCTTY | O_NONBLOCK);
    EXPECT_EQ(port.m_wrAccessOpt, O_WRONLY | O_NOCTTY | O_SYNC | O_NONBLOCK);
    EXPECT_NE(port.m_uartRdFd, port.m_uartWrFd);
}

TEST_F(LinuxSerialTest, TheDeviceIsOpenedWithTheFlagsOfTheAccessOption) {
    struct Row {
        TYPEDEF_E_uartAccessOpt accessOpt;
        int read;
        int write;
    };
    constexpr int kNotOpen = -1;
    for (const Row& row :
         {Row{BlockRead, O_RDONLY, kNotOpen}, Row{BlockReadwTimeout, O_RDONLY, kNotOpen},
          Row{BlockRdWr, O_RDONLY, O_WRONLY | O_SYNC}, Row{BlockRdWrwTimeout, O_RDONLY, O_WRONLY | O_SYNC},
          Row{NonBlockRead, O_RDONLY | O_NONBLOCK, kNotOpen},
          Row{NonBlockRdWr, O_RDONLY | O_NONBLOCK, O_WRONLY | O_SYNC | O_NONBLOCK}}) {
        SCOPED_TRACE(row.accessOpt);
        const PortForTests port(mTerminal.Path(), UsualConfigWith(row.accessOpt));
        EXPECT_EQ(OpenFlagsOf(port.m_uartRdFd), row.read);
        EXPECT_EQ(OpenFlagsOf(port.m_uartWrFd), row.write);
    }
}

TEST_F(LinuxSerialTest, ConfigureOpensNothingAndConnectThenWorks) {
    PortForTests port;
    port.Configure(mTerminal.Path(), UsualConfig());
    EXPECT_FALSE(port.IsReady());
    EXPECT_FALSE(port.IsOpened());
    EXPECT_EQ(port.m_uartRdFd, -1);
    EXPECT_EQ(port.ConnectUart(), 0);
    EXPECT_TRUE(port.IsReady());
    EXPECT_TRUE(port.IsOpened());
}

TEST_F(LinuxSerialTest, TheDeviceHasTheSettings) {
    const PortForTests port(mTerminal.Path(), UsualConfig());
    ASSERT_TRUE(port.IsReady());
    const termios settings = SettingsOf(port.m_uartRdFd);
    EXPECT_EQ(settings.c_iflag, tcflag_t{IGNBRK});
    EXPECT_EQ(settings.c_lflag, 0U);
    EXPECT_EQ(settings.c_oflag & OPOST, 0U);
    EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t{CS8});
    EXPECT_EQ(settings.c_cflag & (CREAD | CLOCAL), tcflag_t{CREAD | CLOCAL});
    EXPECT_EQ(settings.c_cc[VTIME], 1);
    EXPECT_EQ(settings.c_cc[VMIN], 32);
    EXPECT_EQ(::cfgetispeed(&settings), speed_t{B115200});
    EXPECT_EQ(::cfgetospeed(&settings), speed_t{B115200});
}

TEST_F(LinuxSerialTest, TheSettingsFoundAreKeptAndNotWrittenBack) {
    const int observer = ::open(mTerminal.Path().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(observer, 0);
    const termios found = SettingsOf(observer);
    ASSERT_NE(found.c_lflag, 0U);
    {
        const PortForTests port(mTerminal.Path(), UsualConfig());
        EXPECT_EQ(port.m_uartConfigBkUp.c_lflag, found.c_lflag);
        EXPECT_EQ(port.m_uartConfigBkUp.c_iflag, found.c_iflag);
        EXPECT_EQ(port.m_uartConfigBkUp.c_cflag, found.c_cflag);
    }
    EXPECT_EQ(SettingsOf(observer).c_lflag, 0U);
    ::close(observer);
}

TEST_F(LinuxSerialTest, WhatWaitedInTheDeviceIsDiscarded) {
    PortForTests port;
    port.Configure(mTerminal.Path(), UsualConfig());
    ASSERT_EQ(port.ConnectUart(), 0);
    ASSERT_TRUE(mTerminal.Send("old"));
    ASSERT_TRUE(PseudoTerminal::IsReadable(port.m_uartRdFd));
    const int observer = ::open(mTerminal.Path().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(port.ConnectUart(), 0);
    std::uint8_t byte = 0;
    EXPECT_FALSE(port.ReadByte(byte));
    ASSERT_TRUE(mTerminal.Send("n"));
    ASSERT_TRUE(PseudoTerminal::IsReadable(port.m_uartRdFd));
    EXPECT_TRUE(port.ReadByte(byte));
    EXPECT_EQ(byte, 'n');
    ::close(observer);
}

TEST_F(LinuxSerialTest, ConnectingEmptiesBothQueuesThenAppliesTheSettingsAtOnce) {
    const FaultySystemCalls::Scope scope;
    PortForTests port;
    port.Configure(mTerminal.Path(), UsualConfig());
    FaultySystemCalls::ThePlan().record = true;
    ASSERT_EQ(port.ConnectUart(), 0);
    FaultySystemCalls::ThePlan().record = false;
    const std::string read = std::to_string(port.m_uartRdFd);
    EXPECT_EQ(FaultySystemCalls::ThePlan().calls,
              (std::vector<std::string>{"flush " + read + " " + std::to_string(TCIOFLUSH),
                                        "set " + read + " " + std::to_string(TCSANOW)}));
}

TEST_F(LinuxSerialTest, TheWriteDescriptorIsSetUpWhereOnlyWritingIsUsed) {
    PortForTests port;
    port.Configure(mTerminal.Path(), UsualConfigWith(NonBlockWrite));
    port.m_uartWrFd = ::open(mTerminal.Path().c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(port.m_uartWrFd, 0);
    ASSERT_NE(SettingsOf(port.m_uartWrFd).c_lflag, 0U);
    EXPECT_EQ(port.DownloadConfig(), 0);
    EXPECT_TRUE(port.IsReady());
    EXPECT_EQ(SettingsOf(port.m_uartWrFd).c_lflag, 0U);
    std::uint8_t byte = 'w';
    port.WriteBytes(&byte, 1);
    EXPECT_EQ(mTerminal.Receive(1), "w");
    EXPECT_FALSE(port.ReadByte(byte));
}

TEST_F(LinuxSerialTest, ReadsByteByByteAndReturnsAtOnceWhenThereIsNone) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    std::uint8_t byte = 0x5A;
    EXPECT_FALSE(port.ReadByte(byte));
    EXPECT_EQ(byte, 0x5A);
    const std::string everyKind("\x00\x03\x0A\x0D\x11\x13\xFF", 7);
    ASSERT_TRUE(mTerminal.Send(everyKind));
    std::string got;
    while (got.size() < everyKind.size()) {
        ASSERT_TRUE(PseudoTerminal::IsReadable(port.m_uartRdFd));
        ASSERT_TRUE(port.ReadByte(byte));
        got += static_cast<char>(byte);
    }
    EXPECT_EQ(got, everyKind);
    EXPECT_FALSE(port.ReadByte(byte));
}

TEST_F(LinuxSerialTest, WithoutBlockingASilentLineIsNotWaitedFor) {
    for (const auto accessOpt : {NonBlockRead, NonBlockRdWr}) {
        SCOPED_TRACE(accessOpt);
        auto config = UsualConfigWith(accessOpt);
        config.VTIME_user = 50;
        PortForTests port(mTerminal.Path(), config);
        ASSERT_TRUE(port.IsReady());
        constexpr milliseconds kTwoWaits{10'000};
        const auto start = Clock::now();
        int reads = 0;
        while (reads < 20 && Clock::now() - start < kTwoWaits) {
            std::uint8_t byte = 0;
            EXPECT_FALSE(port.ReadByte(byte));
            ++reads;
        }
        EXPECT_EQ(reads, 20);
        EXPECT_LT(Clock::now() - start, kTwoWaits);
    }
}

TEST_F(LinuxSerialTest, ABlockingReadHasNoTimeLimit) {
    for (const auto accessOpt : {BlockRead, BlockRdWr}) {
        SCOPED_TRACE(accessOpt);
        auto config = UsualConfigWith(accessOpt);
        config.VMIN_user = 1;
        PortForTests port(mTerminal.Path(), config);
        ASSERT_TRUE(port.IsReady());
        std::thread sender([&] {
            std::this_thread::sleep_for(milliseconds(3 * 100 * config.VTIME_user));
            EXPECT_TRUE(mTerminal.Send("x"));
        });
        std::uint8_t byte = 0;
        EXPECT_TRUE(port.ReadByte(byte));
        EXPECT_EQ(byte, 'x');
        sender.join();
    }
}

TEST_F(LinuxSerialTest, DescriptorZeroIsNeitherReadNorWritten) {
    const PseudoTerminal console;
    const int before = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    const int device = ::open(console.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(::dup2(device, STDIN_FILENO), STDIN_FILENO);
    {
        PortForTests port(console.Path(), UsualConfig());
        ASSERT_TRUE(port.IsReady());
        const int read = std::exchange(port.m_uartRdFd, STDIN_FILENO);
        const int write = std::exchange(port.m_uartWrFd, STDIN_FILENO);
        ASSERT_TRUE(console.Send("r"));
        ASSERT_TRUE(PseudoTerminal::IsReadable(STDIN_FILENO));
        std::uint8_t byte = 'w';
        EXPECT_FALSE(port.ReadByte(byte));
        port.WriteBytes(&byte, 1);
        EXPECT_FALSE(PseudoTerminal::IsReadable(console.Master(), 50));
        port.m_uartRdFd = read;
        port.m_uartWrFd = write;
        EXPECT_TRUE(port.ReadByte(byte)) << "it was there to be read";
    }
    ::close(device);
    if (before >= 0) {
        ::dup2(before, STDIN_FILENO);
        ::close(before);
    } else {
        ::close(STDIN_FILENO);
    }
}

TEST_F(LinuxSerialTest, WritesTheBytesAsTheyAre) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    const std::uint8_t bytes[] = {0x0A, 0x0D, 0x00, 0x04, 0x11, 0x13, 0xFF};
    port.WriteBytes(bytes, sizeof bytes);
    EXPECT_EQ(mTerminal.Receive(7), std::string("\x0A\x0D\x00\x04\x11\x13\xFF", 7));
}

TEST_F(LinuxSerialTest, ADroppedRestOfAWriteIsNotRepeated) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    const std::vector<std::uint8_t> bytes(65535, 0x41);
    port.WriteBytes(bytes.data(), 65535);
    std::size_t taken = 0;
    while (PseudoTerminal::IsReadable(mTerminal.Master(), 100)) {
        taken += mTerminal.Receive(1).size();
    }
    EXPECT_GT(taken, 0U);
    EXPECT_LT(taken, 65535U);
}

TEST_F(LinuxSerialTest, ATimedReadGivesUpAfterTheTime) {
    for (const auto accessOpt : {BlockReadwTimeout, BlockRdWrwTimeout}) {
        PortForTests port(mTerminal.Path(), UsualConfigWith(accessOpt));
        ASSERT_TRUE(port.IsReady());
        std::uint8_t byte = 0;
        const auto start = Clock::now();
        EXPECT_FALSE(port.ReadByte(byte));
        const auto elapsed = Clock::now() - start;
        EXPECT_GE(elapsed, milliseconds(95));
        EXPECT_LT(elapsed, milliseconds(1500));
    }
}

TEST_F(LinuxSerialTest, ATimedReadWaitsForTenthsOfASecond) {
    auto config = UsualConfigWith(BlockRdWrwTimeout);
    config.VTIME_user = 12;
    PortForTests port(mTerminal.Path(), config);
    std::uint8_t byte = 0;
    const auto start = Clock::now();
    EXPECT_FALSE(port.ReadByte(byte));
    EXPECT_GE(Clock::now() - start, milliseconds(1195));
}

TEST_F(LinuxSerialTest, ATimedReadReturnsAByteAtOnce) {
    auto config = UsualConfigWith(BlockRdWrwTimeout);
    config.VTIME_user = 255;
    config.VMIN_user = 1;
    PortForTests port(mTerminal.Path(), config);
    ASSERT_TRUE(mTerminal.Send("x"));
    std::uint8_t byte = 0;
    const auto start = Clock::now();
    EXPECT_TRUE(port.ReadByte(byte));
    EXPECT_EQ(byte, 'x');
    EXPECT_LT(Clock::now() - start, milliseconds(10000));
}

TEST_F(LinuxSerialTest, APortThatOnlyReadsDropsWhatIsWritten) {
    PortForTests port(mTerminal.Path(), UsualConfigWith(NonBlockRead));
    ASSERT_TRUE(port.IsReady());
    EXPECT_TRUE(port.IsOpened());
    EXPECT_EQ(port.m_uartWrFd, -1);
    const std::uint8_t byte = 'w';
    port.WriteBytes(&byte, 1);
    EXPECT_FALSE(PseudoTerminal::IsReadable(mTerminal.Master(), 50));
    ASSERT_TRUE(mTerminal.Send("r"));
    ASSERT_TRUE(PseudoTerminal::IsReadable(port.m_uartRdFd));
    std::uint8_t read = 0;
    EXPECT_TRUE(port.ReadByte(read));
    EXPECT_EQ(read, 'r');
}

TEST_F(LinuxSerialTest, TheOtherEndGoneReadsNothing) {
    PortForTests port;
    {
        const PseudoTerminal terminal;
        port.Configure(terminal.Path(), UsualConfig());
        ASSERT_EQ(port.ConnectUart(), 0);
    }
    std::uint8_t byte = 0;
    EXPECT_FALSE(port.ReadByte(byte));
    port.WriteBytes(&byte, 1);
    EXPECT_TRUE(port.IsReady());
}

TEST_F(LinuxSerialTest, ShellCommandsDoNotInheritThePort) {
    const PortForTests port(mTerminal.Path(), UsualConfig());
    EXPECT_EQ(::fcntl(port.m_uartRdFd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(::fcntl(port.m_uartWrFd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(LinuxSerialTest, TheDeviceIsLockedWhileConnected) {
    const int other = ::open(mTerminal.Path().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    PortForTests port(mTerminal.Path(), UsualConfig());
    ASSERT_TRUE(port.IsReady());
    EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(port.CloseUart(), 0);
    EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    ::close(other);
}

TEST_F(LinuxSerialTest, ClosingUnlocksFirst) {
    const FaultySystemCalls::Scope scope;
    PortForTests port(mTerminal.Path(), UsualConfig());
    const std::string read = std::to_string(port.m_uartRdFd);
    const std::string write = std::to_string(port.m_uartWrFd);
    FaultySystemCalls::ThePlan().record = true;
    EXPECT_EQ(port.CloseUart(), 0);
    EXPECT_EQ(FaultySystemCalls::ThePlan().calls,
              (std::vector<std::string>{"unlock " + read, "close " + read, "unlock " + write, "close " + write}));
    EXPECT_EQ(port.m_uartRdFd, -1);
    EXPECT_EQ(port.m_uartWrFd, -1);
    EXPECT_FALSE(port.IsReady());
    EXPECT_EQ(port.CloseUart(), 0);
}

TEST_F(LinuxSerialTest, AClosedPortReadsNothingAndCanConnectAgain) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    ASSERT_EQ(port.CloseUart(), 0);
    std::uint8_t byte = 0;
    EXPECT_FALSE(port.ReadByte(byte));
    port.WriteBytes(&byte, 1);
    EXPECT_EQ(port.ConnectUart(), 0);
    port.WriteBytes(&byte, 1);
    EXPECT_EQ(mTerminal.Receive(1), std::string(1, '\0'));
}

TEST_F(LinuxSerialTest, ConnectingTwiceDoesNotLockItselfOut) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    EXPECT_EQ(port.ConnectUart(), 0);
    EXPECT_EQ(port.ConnectUart(), 0);
    EXPECT_TRUE(port.IsReady());
}

TEST_F(LinuxSerialTest, TheDestructorReleasesTheDevice) {
    { const PortForTests port(mTerminal.Path(), UsualConfig()); }
    const PortForTests port(mTerminal.Path(), UsualConfig());
    EXPECT_TRUE(port.IsReady());
}

TEST_F(LinuxSerialTest, PurgedFieldsAreEmptyOrZero) {
    PortForTests port(mTerminal.Path(), UsualConfig());
    ASSERT_TRUE(port.IsReady());
    ASSERT_EQ(port.CloseUart(), 0);
    port.m_uartReady = true;
    port.m_uartConfigBkUp.c_cflag = CREAD;
    port.PurgeFields();
    EXPECT_EQ(port.m_uartRdFd, 0);
    EXPECT_EQ(port.m_uartWrFd, 0);
    EXPECT_EQ(port.m_uartPath, "");
    EXPECT_EQ(port.m_rdAccessOpt, 0);
    EXPECT_EQ(port.m_wrAccessOpt, 0);
    EXPECT_FALSE(port.m_uartReady);
    for (const termios* settings : {&port.m_uartConfig, &port.m_uartConfigBkUp}) {
        EXPECT_EQ(settings->c_iflag | settings->c_oflag | settings->c_cflag | settings->c_lflag, 0U);
        EXPECT_EQ(settings->c_line, 0);
        EXPECT_EQ(settings->c_ispeed | settings->c_ospeed, 0U);
        EXPECT_THAT(settings->c_cc, testing::Each(0));
    }
    EXPECT_EQ(port.m_userConfigBkUp.accessOpt, 0);
    EXPECT_EQ(port.m_userConfigBkUp.baudrate, 0U);
    EXPECT_EQ(port.m_userConfigBkUp.wordFormat, 0);
    EXPECT_EQ(port.m_userConfigBkUp.flowCntl, 0);
    EXPECT_EQ(port.m_userConfigBkUp.readMode, 0);
    EXPECT_EQ(port.m_userConfigBkUp.VTIME_user, 0);
    EXPECT_EQ(port.m_userConfigBkUp.VMIN_user, 0);
}

TEST_F(LinuxSerialTest, OpenedMeansADescriptorAboveOneForEachDirectionInUse) {
    PortForTests port;
    EXPECT_TRUE(port.IsOpened());  // no direction is in use
    port.m_rdAccessOpt = O_NOCTTY;
    port.m_uartRdFd = 1;
    EXPECT_FALSE(port.IsOpened());
    port.m_uartRdFd = 2;
    EXPECT_TRUE(port.IsOpened());
    port.m_wrAccessOpt = O_NOCTTY;
    port.m_uartWrFd = 1;
    EXPECT_FALSE(port.IsOpened());
    port.m_uartWrFd = 2;
    EXPECT_TRUE(port.IsOpened());
    port.m_rdAccessOpt = 0;
    port.m_uartRdFd = -1;
    EXPECT_TRUE(port.IsOpened());
    port.m_uartWrFd = -1;  // the descriptors were not the port's to close
}

TEST_F(LinuxSerialTest, ThePortsOperationsStandInTheirSlots) {
    struct Last : IBufferedSerial {
        virtual void Next() = 0;
    };
    EXPECT_EQ(SlotOf(&IBufferedSerial::ReadByte), 0);
    EXPECT_EQ(SlotOf(&IBufferedSerial::WriteBytes), 1);
    EXPECT_EQ(SlotOf(&Last::Next), 4);
}

}  // namespace
