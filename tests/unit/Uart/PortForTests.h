#pragma once

#include "OSSpecific/Linux/Uart/LinuxSerial.h"

// The port with its inside in view.
class PortForTests : public LinuxSerial {
public:
    using LinuxSerial::DownloadConfig;
    using LinuxSerial::LinuxSerial;
    using LinuxSerial::LockForWritingOnly;
    using LinuxSerial::m_rdAccessOpt;
    using LinuxSerial::m_uartConfig;
    using LinuxSerial::m_uartConfigBkUp;
    using LinuxSerial::m_uartPath;
    using LinuxSerial::m_uartRdFd;
    using LinuxSerial::m_uartReady;
    using LinuxSerial::m_uartWrFd;
    using LinuxSerial::m_userConfigBkUp;
    using LinuxSerial::m_wrAccessOpt;
    using LinuxSerial::PurgeFields;
    using LinuxSerial::UpdateConnectFail;
};

// The settings with which the process runs its port.
inline TYPEDEF_Struct_uartConfig UsualConfig() {
    return {.accessOpt = NonBlockRdWr,
            .baudrate = B115200,
            .wordFormat = Format_8N1,
            .flowCntl = NoFlowControl,
            .readMode = RawMode,
            .VTIME_user = 1,
            .VMIN_user = 32};
}

inline TYPEDEF_Struct_uartConfig UsualConfigWith(TYPEDEF_E_uartAccessOpt accessOpt) {
    TYPEDEF_Struct_uartConfig config = UsualConfig();
    config.accessOpt = accessOpt;
    return config;
}
