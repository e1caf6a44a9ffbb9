// Every way in which connecting and closing can fail, with what is said about it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

#include "tests/unit/ScratchFolder.h"
#include "tests/unit/Uart/FaultySystemCalls.h"
#include "tests/unit/Uart/PortForTests.h"
#include "tests/unit/Uart/PseudoTerminal.h"

namespace {

using FaultySystemCalls::ThePlan;

class LinuxSerialFailureTest : public testing::Test {
protected:
    ~LinuxSerialFailureTest() override { ::close(mOther); }

    static std::string Told(const std::function<void()>& action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    void LockByAnother() { ASSERT_EQ(::flock(mOther, LOCK_EX | LOCK_NB), 0); }

    const FaultySystemCalls::Scope mScope;
    const PseudoTerminal mTerminal;
    const int mOther = ::open(mTerminal.Path().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    PortForTests mPort;
};

TEST_F(LinuxSerialFailureTest, AMissingDevice) {
    const ScratchFolder folder;
    mPort.Configure(folder.Path("none"), UsualConfig());
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }),
              "LinuxSerial::OpenUart() - open() for UART read failed\n: No such file or directory\n"
              "LinuxSerial::OpenUart() - open() for UART write failed\n"
              "LinuxSerial::OpenUart() fail\n");
    EXPECT_FALSE(mPort.IsReady());
    EXPECT_FALSE(mPort.IsOpened());
}

TEST_F(LinuxSerialFailureTest, ADescriptorBeyondThoseThatCanBeWaitedForIsNotReadFrom) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit enough{std::max<rlim_t>(before.rlim_cur, FD_SETSIZE + 8), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &enough), 0);
    mPort.Configure(mTerminal.Path(), UsualConfigWith(BlockReadwTimeout));
    ASSERT_EQ(mPort.ConnectUart(), 0);
    ASSERT_TRUE(mTerminal.Send("x"));
    const int beyond = ::fcntl(mPort.m_uartRdFd, F_DUPFD_CLOEXEC, FD_SETSIZE);
    ASSERT_GE(beyond, FD_SETSIZE);
    const int usual = std::exchange(mPort.m_uartRdFd, beyond);
    std::uint8_t byte = 0;
    EXPECT_FALSE(mPort.ReadByte(byte));
    mPort.m_uartRdFd = usual;
    EXPECT_TRUE(mPort.ReadByte(byte)) << "there was something to read";
    ::close(beyond);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST_F(LinuxSerialFailureTest, AMissingDeviceGivenToTheConstructor) {
    const ScratchFolder folder;
    const auto text = Told([&] {
        PortForTests port(folder.Path("none"), UsualConfig());
        EXPECT_FALSE(port.IsReady());
        EXPECT_FALSE(port.IsOpened());
        std::uint8_t byte = 0;
        EXPECT_FALSE(port.ReadByte(byte));
        port.WriteBytes(&byte, 1);
    });
    EXPECT_NE(text.find("LinuxSerial::OpenUart() fail\n"), std::string::npos);
}

TEST_F(LinuxSerialFailureTest, AMissingDeviceForReadingOnly) {
    const ScratchFolder folder;
    mPort.Configure(folder.Path("none"), UsualConfigWith(BlockRead));
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }),
              "LinuxSerial::OpenUart() - open() for UART read failed\n: No such file or directory\n"
              "LinuxSerial::OpenUart() fail\n");
}

TEST_F(LinuxSerialFailureTest, ADeviceThatAnotherHoldsLocked) {
    LockByAnother();
    mPort.Configure(mTerminal.Path(), UsualConfig());
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }),
              "LinuxSerial::Lock for UART read failed. errno: Resource temporarily unavailable\n"
              "LinuxSerial::OpenUart() - open() for UART write failed\n"
              "LinuxSerial::OpenUart() fail\n");
    EXPECT_FALSE(mPort.IsReady());
    EXPECT_EQ(mPort.m_uartRdFd, -1);
    ASSERT_EQ(::flock(mOther, LOCK_UN), 0);
    EXPECT_EQ(mPort.ConnectUart(), 0);
    EXPECT_TRUE(mPort.IsReady());
}

TEST_F(LinuxSerialFailureTest, ALockedDeviceForReadingOnly) {
    LockByAnother();
    mPort.Configure(mTerminal.Path(), UsualConfigWith(NonBlockRead));
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }),
              "LinuxSerial::Lock for UART read failed. errno: Resource temporarily unavailable\n"
              "LinuxSerial::OpenUart() fail\n");
}

TEST_F(LinuxSerialFailureTest, ALockedDeviceThatCannotBeClosedEither) {
    LockByAnother();
    mPort.Configure(mTerminal.Path(), UsualConfigWith(NonBlockRead));
    EXPECT_EQ(Told([&] {
                  ThePlan().closeFails = true;
                  EXPECT_EQ(mPort.ConnectUart(), -1);
                  ThePlan().closeFails = false;
              }),
              "LinuxSerial::Lock for UART read failed. errno: Resource temporarily unavailable\n"
              "LinuxSerial::OpenUart() - close() for UART read failed. errno: Input/output error\n"
              "LinuxSerial::OpenUart() fail\n");
    EXPECT_EQ(mPort.m_uartRdFd, -1);
}

TEST_F(LinuxSerialFailureTest, APortThatOnlyWritesNeverConnects) {
    for (const auto accessOpt : {BlockWrite, NonBlockWrite}) {
        PortForTests port;
        port.Configure(mTerminal.Path(), UsualConfigWith(accessOpt));
        EXPECT_EQ(Told([&] { EXPECT_EQ(port.ConnectUart(), -1); }),
                  "LinuxSerial::OpenUart() - open() for UART write failed\n"
                  "LinuxSerial::OpenUart() fail\n");
        EXPECT_FALSE(port.IsReady());
        const std::uint8_t byte = 'w';
        port.WriteBytes(&byte, 1);
        EXPECT_FALSE(PseudoTerminal::IsReadable(mTerminal.Master(), 50));
    }
}

TEST_F(LinuxSerialFailureTest, APortWithoutADirectionDoesNotConnect) {
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }), "LinuxSerial::OpenUart() fail\n");
}

TEST_F(LinuxSerialFailureTest, AWriteSideAloneThatFailsLeavesThePortReading) {
    mPort.Configure(mTerminal.Path(), UsualConfigWith(NonBlockRdWr));
    mPort.m_wrAccessOpt |= O_DIRECTORY;  // cannot be opened this way
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), 0); }), "");
    EXPECT_TRUE(mPort.IsReady());
    EXPECT_FALSE(mPort.IsOpened());
    EXPECT_EQ(mPort.m_uartWrFd, -1);
}

TEST_F(LinuxSerialFailureTest, TheWriteOnlyLock) {
    mPort.m_uartWrFd = ::open(mTerminal.Path().c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.LockForWritingOnly(), 0); }), "");
    EXPECT_EQ(::flock(mOther, LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(mPort.CloseUart(), 0);
    LockByAnother();
    mPort.m_uartWrFd = ::open(mTerminal.Path().c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.LockForWritingOnly(), -1); }), "LinuxSerial::Lock for UART write failed\n");
    EXPECT_EQ(mPort.m_uartWrFd, -1);
}

TEST_F(LinuxSerialFailureTest, TheWriteOnlyLockOnADescriptorThatCannotBeClosedEither) {
    LockByAnother();
    mPort.m_uartWrFd = ::open(mTerminal.Path().c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(Told([&] {
                  ThePlan().closeFails = true;
                  EXPECT_EQ(mPort.LockForWritingOnly(), -1);
                  ThePlan().closeFails = false;
              }),
              "LinuxSerial::Lock for UART write failed\n"
              "LinuxSerial::OpenUart() - close() for UART write failed: Input/output error\n");
    EXPECT_EQ(mPort.m_uartWrFd, -1);
}

TEST_F(LinuxSerialFailureTest, SomethingThatIsNoTerminal) {
    const ScratchFolder folder;
    mPort.Configure(folder.Write("file", "text"), UsualConfig());
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }),
              "UART_AM335X_LNX back up uart config before download config fail.: Inappropriate ioctl for device\n"
              "LinuxSerial::DownloadConfig() fail\n");
    EXPECT_FALSE(mPort.IsReady());
    EXPECT_TRUE(mPort.IsOpened());
    std::uint8_t byte = 0;
    EXPECT_FALSE(mPort.ReadByte(byte));
    mPort.WriteBytes(&byte, 1);
    EXPECT_EQ(folder.Read("file"), "text");
}

TEST_F(LinuxSerialFailureTest, QueuesThatCannotBeFlushed) {
    mPort.Configure(mTerminal.Path(), UsualConfig());
    ThePlan().flushFails = true;
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }),
              "LinuxSerial flush uart io buffers before download config fail.: Input/output error\n"
              "LinuxSerial::DownloadConfig() fail\n");
    EXPECT_FALSE(mPort.IsReady());
}

TEST_F(LinuxSerialFailureTest, SettingsThatAreRefused) {
    mPort.Configure(mTerminal.Path(), UsualConfig());
    ThePlan().setFails = true;
    EXPECT_EQ(Told([&] { EXPECT_EQ(mPort.ConnectUart(), -1); }), "LinuxSerial::DownloadConfig() fail\n");
    EXPECT_FALSE(mPort.IsReady());
}

TEST_F(LinuxSerialFailureTest, AFailingUnlockIsReportedAndMadeGoodByTheClose) {
    mPort.Configure(mTerminal.Path(), UsualConfig());
    ASSERT_EQ(mPort.ConnectUart(), 0);
    EXPECT_EQ(Told([&] {
                  ThePlan().unlockFails = true;
                  EXPECT_EQ(mPort.CloseUart(), 0);
                  ThePlan().unlockFails = false;
              }),
              "LinuxSerial::CloseUart() - unlock failed: Input/output error\n"
              "LinuxSerial::CloseUart() - unlock failed: Input/output error\n");
    EXPECT_EQ(mPort.m_uartRdFd, -1);
    EXPECT_EQ(mPort.m_uartWrFd, -1);
    LockByAnother();
}

TEST_F(LinuxSerialFailureTest, AFailingCloseIsReportedAndForgotten) {
    mPort.Configure(mTerminal.Path(), UsualConfig());
    ASSERT_EQ(mPort.ConnectUart(), 0);
    EXPECT_EQ(Told([&] {
                  ThePlan().closeFails = true;
                  EXPECT_EQ(mPort.CloseUart(), -1);
                  ThePlan().closeFails = false;
              }),
              "LinuxSerial::CloseUart() - close() failed: Input/output error\n"
              "LinuxSerial::CloseUart() - close() failed: Input/output error\n");
    EXPECT_EQ(mPort.m_uartRdFd, -1);
    EXPECT_EQ(mPort.m_uartWrFd, -1);
    EXPECT_EQ(mPort.ConnectUart(), 0);
}

TEST_F(LinuxSerialFailureTest, AConnectionFailureClearsReadyAndTellsTheGivenText) {
    mPort.m_uartReady = true;
    EXPECT_EQ(Told([&] { mPort.UpdateConnectFail("the given text"); }), "the given text\n");
    EXPECT_FALSE(mPort.IsReady());
    EXPECT_EQ(Told([&] { mPort.UpdateConnectFail(); }), "LinuxSerial::OpenUart() fail\n");
}

}  // namespace
