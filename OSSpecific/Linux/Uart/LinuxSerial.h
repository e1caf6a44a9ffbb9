// A UART (or any other terminal device) as a byte port: opened, locked against other processes, configured.
//
// A failed operation returns -1 and says why on standard error; a port that is not ready reads nothing and drops what
// is written. The settings found on the device are not restored.
#pragma once

#include <termios.h>

#include <cstdint>
#include <string>

#include "OSSpecific/Linux/Uart/IBufferedSerial.h"

enum TYPEDEF_E_uartAccessOpt {
    BlockRead = 0,
    BlockReadwTimeout = 1,
    BlockWrite = 2,
    BlockRdWr = 3,
    BlockRdWrwTimeout = 4,
    NonBlockRead = 5,
    NonBlockWrite = 6,
    NonBlockRdWr = 7,
};

enum TYPEDEF_E_uartWordFormat {
    Format_8N1 = 0,
    Format_7E1 = 1,
    Format_7O1 = 2,
    Format_7S1 = 3,
};

enum TYPEDEF_E_uartFlowCntl {
    HardFlowControl = 0,
    SoftFlowControl = 1,
    NoFlowControl = 2,
};

enum TYPEDEF_E_uartReadMode {
    CanonicalMode = 0,
    NonCanonicalMode = 1,
    RawMode = 2,
};

struct TYPEDEF_Struct_uartConfig {
    TYPEDEF_E_uartAccessOpt accessOpt;
    speed_t baudrate;  // a speed code such as B115200
    TYPEDEF_E_uartWordFormat wordFormat;
    TYPEDEF_E_uartFlowCntl flowCntl;
    TYPEDEF_E_uartReadMode readMode;
    cc_t VTIME_user;  // read time-out, tenths of a second
    cc_t VMIN_user;   // minimum bytes per read
};

class LinuxSerial : public IBufferedSerial {
public:
    // Not configured, not open.
    LinuxSerial();

    // Configures, opens, locks and sets up the device; IsReady() tells whether that worked.
    LinuxSerial(const std::string& path, TYPEDEF_Struct_uartConfig config);

    LinuxSerial(const LinuxSerial&) = delete;
    LinuxSerial& operator=(const LinuxSerial&) = delete;

    // The next byte, or false: port not ready, nothing there, end of file or error. Blocks as the access option says:
    // not at all, for up to VTIME, or until the terminal's read returns.
    bool ReadByte(std::uint8_t& byte) override;

    // One write to the device, not repeated when it takes less; dropped when the port is not ready.
    void WriteBytes(const std::uint8_t* data, std::uint16_t length) override;

    ~LinuxSerial() override;

    // Takes path and settings without opening anything; ConnectUart() then uses them.
    void Configure(const std::string& path, TYPEDEF_Struct_uartConfig config);

    // Closes what is open, opens and locks the device, applies the settings. 0, or -1 with the port not ready.
    int ConnectUart();

    // Unlocks and closes. 0, or -1 when a descriptor failed to close; it is gone in either case.
    int CloseUart();

    // True after the device took the settings, until it is closed.
    bool IsReady() const { return m_uartReady; }

    // True when each direction in use has a descriptor above 1.
    bool IsOpened() const;

    // Prints the settings on standard output, one per line.
    void PrintConfig(const TYPEDEF_Struct_uartConfig& config) const;

protected:
    void PurgeFields();

    // Build m_uartConfig and the access options; later steps may undo earlier ones.
    void SetALLUartConfigs(const TYPEDEF_Struct_uartConfig& config);
    void SetAccessOpt(TYPEDEF_E_uartAccessOpt accessOpt);
    void SetwordFormat(TYPEDEF_E_uartWordFormat wordFormat);
    void SetflowCntl(TYPEDEF_E_uartFlowCntl flowCntl);
    void SetreadMode(TYPEDEF_E_uartReadMode readMode);
    void SetCommonConfigs();
    void SetBaudrate(speed_t baudrate);

    int OpenUart();
    void OpenAndLockForReading();
    int LockForWritingOnly();
    int DownloadConfig();
    void UpdateConnectFail(const char* text = "LinuxSerial::OpenUart() fail");
    bool WaitForDataInTimeout() const;

    // A direction is used when its open flags are above 0.
    bool IsReadingUsed() const { return m_rdAccessOpt > 0; }
    bool IsWritingUsed() const { return m_wrAccessOpt > 0; }

    int m_uartRdFd = -1;
    int m_uartWrFd = -1;
    std::string m_uartPath;
    int m_rdAccessOpt = -1;  // open flags; 0 not used, -1 not configured
    int m_wrAccessOpt = -1;
    termios m_uartConfig{};
    termios m_uartConfigBkUp{};
    TYPEDEF_Struct_uartConfig m_userConfigBkUp{};
    bool m_uartReady = false;
};
