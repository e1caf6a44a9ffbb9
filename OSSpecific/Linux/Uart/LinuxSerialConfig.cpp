// The settings half of LinuxSerial: from the caller's options to the terminal's words, and their display.
#include <fcntl.h>

#include <array>
#include <cstddef>
#include <cstdio>

#include "Common/Logging/HalLog.h"
#include "OSSpecific/Linux/Uart/LinuxSerial.h"

namespace {

// The bits of IXON, IXANY and IXOFF, put into the control word, where they mean something else. Kept on purpose: the
// input word, in which they would switch software flow control on, stays as it is.
constexpr tcflag_t kSoftFlowControlBits = 0x1C00;

constexpr tcflag_t kLocalModes = ICANON | ISIG | ECHO | ECHONL | IEXTEN;

constexpr int kReadFlags = O_RDONLY | O_NOCTTY;
constexpr int kWriteFlags = O_WRONLY | O_NOCTTY | O_SYNC;

// The text at an enumerator's place; empty for what has none.
template <std::size_t N>
const char* TextOf(const std::array<const char*, N>& texts, unsigned int value) {
    return value < N ? texts[value] : "";
}

constexpr std::array<const char*, 8> kAccessTexts = {
    "", "", "", "", "", "Non-Block Read", "Non-Block Write", "Non-Block Read + Write"};
constexpr std::array<const char*, 4> kWordFormatTexts = {"8N1", "7E1", "7O1", "7S1"};
constexpr std::array<const char*, 3> kFlowControlTexts = {"Hardware Flow Control ON", "Software Flow Control ON",
                                                          "Flow Control OFF"};
constexpr std::array<const char*, 3> kReadModeTexts = {"", "Non-Canonical Mode", "Raw Mode"};

}  // namespace

void LinuxSerial::SetALLUartConfigs(const TYPEDEF_Struct_uartConfig& config) {
    m_userConfigBkUp = config;
    SetAccessOpt(config.accessOpt);
    SetwordFormat(config.wordFormat);
    SetflowCntl(config.flowCntl);
    SetreadMode(config.readMode);
    m_uartConfig.c_cc[VMIN] = config.VMIN_user;
    m_uartConfig.c_cc[VTIME] = config.VTIME_user;
    SetCommonConfigs();
    SetBaudrate(config.baudrate);
}

void LinuxSerial::SetAccessOpt(TYPEDEF_E_uartAccessOpt accessOpt) {
    switch (accessOpt) {
        case BlockRead:
        case BlockReadwTimeout:
            m_rdAccessOpt = kReadFlags;
            break;
        case BlockWrite:
            m_wrAccessOpt = kWriteFlags;
            break;
        case NonBlockRead:
            m_rdAccessOpt = kReadFlags | O_NONBLOCK;
            break;
        case NonBlockWrite:
            m_wrAccessOpt = kWriteFlags | O_NONBLOCK;
            break;
        case NonBlockRdWr:
            m_rdAccessOpt = kReadFlags | O_NONBLOCK;
            m_wrAccessOpt = kWriteFlags | O_NONBLOCK;
            break;
        case BlockRdWr:
        case BlockRdWrwTimeout:
        default:
            m_rdAccessOpt = kReadFlags;
            m_wrAccessOpt = kWriteFlags;
            break;
    }
}

void LinuxSerial::SetwordFormat(TYPEDEF_E_uartWordFormat wordFormat) {
    switch (wordFormat) {
        case Format_8N1:
            m_uartConfig.c_cflag &= ~tcflag_t{PARENB | CSTOPB | CSIZE};
            m_uartConfig.c_cflag |= CS8;
            break;
        case Format_7E1:
            m_uartConfig.c_cflag &= ~tcflag_t{PARODD | CSTOPB | CSIZE};
            m_uartConfig.c_cflag |= PARENB | CS7;
            m_uartConfig.c_iflag = INPCK | ISTRIP;
            break;
        case Format_7O1:
            m_uartConfig.c_cflag &= ~tcflag_t{CSTOPB | CSIZE};
            m_uartConfig.c_cflag |= PARENB | PARODD | CS7;
            m_uartConfig.c_iflag = INPCK | ISTRIP;
            break;
        case Format_7S1:
            m_uartConfig.c_cflag &= ~tcflag_t{PARENB | CSTOPB | CSIZE};
            m_uartConfig.c_cflag |= CS7;
            break;
        default:
            break;
    }
}

void LinuxSerial::SetflowCntl(TYPEDEF_E_uartFlowCntl flowCntl) {
    switch (flowCntl) {
        case HardFlowControl:
            m_uartConfig.c_cflag |= CRTSCTS;
            break;
        case SoftFlowControl:
            m_uartConfig.c_cflag |= kSoftFlowControlBits;
            break;
        case NoFlowControl:
            m_uartConfig.c_cflag &= ~(tcflag_t{CRTSCTS} | kSoftFlowControlBits);
            break;
        default:
            break;
    }
}

void LinuxSerial::SetreadMode(TYPEDEF_E_uartReadMode readMode) {
    switch (readMode) {
        case CanonicalMode:
            m_uartConfig.c_lflag |= kLocalModes;
            break;
        case NonCanonicalMode:
            m_uartConfig.c_lflag &= ~kLocalModes;
            break;
        case RawMode:
            ::cfmakeraw(&m_uartConfig);  // with 8 bits and no parity, whatever the word format said
            m_uartConfig.c_lflag = 0;
            break;
        default:
            break;
    }
}

void LinuxSerial::SetCommonConfigs() {
    m_uartConfig.c_cflag |= CREAD | CLOCAL;
    m_uartConfig.c_iflag |= IGNBRK;
    m_uartConfig.c_oflag &= ~tcflag_t{OPOST};
}

void LinuxSerial::SetBaudrate(speed_t baudrate) {
    if (IsReadingUsed() && ::cfsetispeed(&m_uartConfig, baudrate) != 0) {
        std::perror("LinuxSerial::SetBaudrate() - input speed refused");
    }
    if (IsWritingUsed() && ::cfsetospeed(&m_uartConfig, baudrate) != 0) {
        std::perror("LinuxSerial::SetBaudrate() - output speed refused");
    }
}

void LinuxSerial::PrintConfig(const TYPEDEF_Struct_uartConfig& config) const {
    std::string text = "Uart config from LinuxSerial instance: \n";
    text.append("Access Option: ").append(TextOf(kAccessTexts, config.accessOpt)).append("\n");
    text.append("Word Format: ").append(TextOf(kWordFormatTexts, config.wordFormat)).append("\n");
    text.append("Flow Control: ").append(TextOf(kFlowControlTexts, config.flowCntl)).append("\n");
    text.append("Read Mode: ").append(TextOf(kReadModeTexts, config.readMode)).append("\n");
    text.append("VTIME: ").append(std::to_string(config.VTIME_user)).append("\n");
    text.append("VMIN: ").append(std::to_string(config.VMIN_user)).append("\n");
    HalLog::PrintRaw(text);
}
