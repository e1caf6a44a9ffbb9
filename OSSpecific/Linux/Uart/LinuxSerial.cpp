#include "OSSpecific/Linux/Uart/LinuxSerial.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "Common/Helper/ErrorText.h"
#include "Common/Logging/HalLog.h"

namespace {

void PrintErrorLine(std::string text) {
    HalLog::PrintErrorRaw(text.append("\n"));
}

bool LockForUsAlone(int descriptor) {
    return ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

// The flags of the access options leave O_CLOEXEC out; it is added here so that shell commands which the process
// starts never hold the port.
int OpenDevice(const std::string& path, int accessFlags) {
    return ::open(path.c_str(), accessFlags | O_CLOEXEC);
}

// False when the descriptor could not be closed properly; it is gone all the same.
bool UnlockAndClose(int& descriptor) {
    if (descriptor <= 0) {
        descriptor = -1;
        return true;
    }
    if (::flock(descriptor, LOCK_UN) != 0) {
        std::perror("LinuxSerial::CloseUart() - unlock failed");  // closing drops the lock as well
    }
    const bool closed = ::close(descriptor) == 0;
    if (!closed) {
        std::perror("LinuxSerial::CloseUart() - close() failed");
    }
    descriptor = -1;
    return closed;
}

}  // namespace

LinuxSerial::LinuxSerial() = default;

LinuxSerial::LinuxSerial(const std::string& path, TYPEDEF_Struct_uartConfig config) {
    PurgeFields();
    m_uartPath = path;
    SetALLUartConfigs(config);
    ConnectUart();
}

LinuxSerial::~LinuxSerial() {
    CloseUart();
    PurgeFields();
}

void LinuxSerial::PurgeFields() {
    m_uartRdFd = 0;
    m_uartWrFd = 0;
    m_uartPath.clear();
    m_rdAccessOpt = 0;
    m_wrAccessOpt = 0;
    m_uartConfig = {};
    m_uartConfigBkUp = {};
    m_userConfigBkUp = {};
    m_uartReady = false;
}

void LinuxSerial::Configure(const std::string& path, TYPEDEF_Struct_uartConfig config) {
    m_uartPath = path;
    SetALLUartConfigs(config);
}

int LinuxSerial::ConnectUart() {
    CloseUart();  // it has said so if that failed, and the descriptors are gone in any case
    if (OpenUart() != 0) {
        return -1;
    }
    return DownloadConfig();
}

bool LinuxSerial::IsOpened() const {
    return (!IsReadingUsed() || m_uartRdFd > 1) && (!IsWritingUsed() || m_uartWrFd > 1);
}

void LinuxSerial::OpenAndLockForReading() {
    m_uartRdFd = OpenDevice(m_uartPath, m_rdAccessOpt);
    if (m_uartRdFd < 0) {
        std::perror("LinuxSerial::OpenUart() - open() for UART read failed\n");
        return;
    }
    if (LockForUsAlone(m_uartRdFd)) {
        return;
    }
    PrintErrorLine("LinuxSerial::Lock for UART read failed. errno: " + ErrorText(errno));
    if (::close(m_uartRdFd) != 0) {
        PrintErrorLine("LinuxSerial::OpenUart() - close() for UART read failed. errno: " + ErrorText(errno));
    }
    m_uartRdFd = -1;
}

int LinuxSerial::LockForWritingOnly() {
    if (LockForUsAlone(m_uartWrFd)) {
        return 0;
    }
    HalLog::PrintErrorRaw("LinuxSerial::Lock for UART write failed\n");
    if (::close(m_uartWrFd) != 0) {
        std::perror("LinuxSerial::OpenUart() - close() for UART write failed");
    }
    m_uartWrFd = -1;
    return -1;
}

int LinuxSerial::OpenUart() {
    if (IsReadingUsed()) {
        OpenAndLockForReading();
    }
    if (IsWritingUsed()) {
        m_uartWrFd = OpenDevice(m_uartPath, m_wrAccessOpt);
        // Kept on purpose: it is the read descriptor that decides, so a port which only writes never connects, and one
        // whose write side alone failed to open connects and drops what is written.
        if (m_uartRdFd < 0) {
            HalLog::PrintErrorRaw("LinuxSerial::OpenUart() - open() for UART write failed\n");
            UpdateConnectFail();
            return -1;
        }
    }
    if (m_uartRdFd >= 0) {
        return 0;  // a second exclusive lock on the device would be refused: the read descriptor's stands for both
    }
    if (m_uartWrFd >= 0) {
        return LockForWritingOnly();  // for the day on which the write descriptor decides above
    }
    UpdateConnectFail();
    return -1;
}

int LinuxSerial::DownloadConfig() {
    const int descriptor = IsReadingUsed() ? m_uartRdFd : m_uartWrFd;
    bool applied = false;
    if (::tcgetattr(descriptor, &m_uartConfigBkUp) != 0) {
        std::perror("UART_AM335X_LNX back up uart config before download config fail.");
    } else if (::tcflush(descriptor, TCIOFLUSH) != 0) {
        std::perror("LinuxSerial flush uart io buffers before download config fail.");
    } else {
        applied = ::tcsetattr(descriptor, TCSANOW, &m_uartConfig) == 0;
    }
    if (!applied) {
        UpdateConnectFail("LinuxSerial::DownloadConfig() fail");
        return -1;
    }
    m_uartReady = true;
    return 0;
}

void LinuxSerial::UpdateConnectFail(const char* text) {
    m_uartReady = false;
    PrintErrorLine(text);
}

int LinuxSerial::CloseUart() {
    m_uartReady = false;
    const bool readClosed = UnlockAndClose(m_uartRdFd);
    const bool writeClosed = UnlockAndClose(m_uartWrFd);
    return readClosed && writeClosed ? 0 : -1;
}

bool LinuxSerial::WaitForDataInTimeout() const {
    if (m_uartRdFd >= FD_SETSIZE) {
        return false;
    }
    constexpr int kMillisecondsPerUnit = 100;
    const int milliseconds = m_userConfigBkUp.VTIME_user * kMillisecondsPerUnit;
    timeval timeout{.tv_sec = milliseconds / 1000, .tv_usec = milliseconds % 1000 * 1000};
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_uartRdFd, &readable);
    return ::select(m_uartRdFd + 1, &readable, nullptr, nullptr, &timeout) > 0;
}

bool LinuxSerial::ReadByte(std::uint8_t& byte) {
    if (!m_uartReady || m_uartRdFd < 1) {
        return false;
    }
    const auto access = m_userConfigBkUp.accessOpt;
    const bool timed = access == BlockReadwTimeout || access == BlockRdWrwTimeout;
    if (timed && !WaitForDataInTimeout()) {
        return false;
    }
    return ::read(m_uartRdFd, &byte, 1) == 1;
}

void LinuxSerial::WriteBytes(const std::uint8_t* data, std::uint16_t length) {
    if (m_uartWrFd <= 0 || !m_uartReady) {
        return;
    }
    // The link answers for what is lost here: without the peer's answer it sends the frame again.
    [[maybe_unused]] const ssize_t written = ::write(m_uartWrFd, data, length);
}
