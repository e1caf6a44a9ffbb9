// From the caller's options to open flags and terminal words, and to their display.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/Uart/PortForTests.h"

namespace {

constexpr int kRead = O_RDONLY | O_NOCTTY;
constexpr int kWrite = O_WRONLY | O_NOCTTY | O_SYNC;
constexpr int kUntouched = -1;

class LinuxSerialConfigTest : public testing::Test {
protected:
    const termios& Configured(TYPEDEF_E_uartWordFormat wordFormat, TYPEDEF_E_uartFlowCntl flowCntl,
                              TYPEDEF_E_uartReadMode readMode) {
        auto config = UsualConfig();
        config.wordFormat = wordFormat;
        config.flowCntl = flowCntl;
        config.readMode = readMode;
        mPort.Configure("/dev/null", config);
        return mPort.m_uartConfig;
    }

    void FillWords(tcflag_t value) {
        mPort.m_uartConfig.c_iflag = value;
        mPort.m_uartConfig.c_oflag = value;
        mPort.m_uartConfig.c_cflag = value;
        mPort.m_uartConfig.c_lflag = value;
    }

    std::string Shown(const TYPEDEF_Struct_uartConfig& config) {
        testing::internal::CaptureStdout();
        mPort.PrintConfig(config);
        return testing::internal::GetCapturedStdout();
    }

    PortForTests mPort;
};

struct AccessRow {
    TYPEDEF_E_uartAccessOpt accessOpt;
    int value;
    int readFlags;
    int writeFlags;
};

class AccessOptTest : public testing::TestWithParam<AccessRow> {};

TEST_P(AccessOptTest, SelectsTheOpenFlags) {
    const AccessRow& row = GetParam();
    EXPECT_EQ(static_cast<int>(row.accessOpt), row.value);
    PortForTests port;
    port.Configure("/dev/null", UsualConfigWith(row.accessOpt));
    EXPECT_EQ(port.m_rdAccessOpt, row.readFlags);
    EXPECT_EQ(port.m_wrAccessOpt, row.writeFlags);
}

INSTANTIATE_TEST_SUITE_P(Table, AccessOptTest,
                         testing::Values(AccessRow{BlockRead, 0, kRead, kUntouched},
                                         AccessRow{BlockReadwTimeout, 1, kRead, kUntouched},
                                         AccessRow{BlockWrite, 2, kUntouched, kWrite},
                                         AccessRow{BlockRdWr, 3, kRead, kWrite},
                                         AccessRow{BlockRdWrwTimeout, 4, kRead, kWrite},
                                         AccessRow{NonBlockRead, 5, kRead | O_NONBLOCK, kUntouched},
                                         AccessRow{NonBlockWrite, 6, kUntouched, kWrite | O_NONBLOCK},
                                         AccessRow{NonBlockRdWr, 7, kRead | O_NONBLOCK, kWrite | O_NONBLOCK}));

TEST_F(LinuxSerialConfigTest, ADirectionThatAnOptionLeavesOutKeepsItsFlags) {
    mPort.Configure("/dev/null", UsualConfigWith(NonBlockRdWr));
    mPort.Configure("/dev/null", UsualConfigWith(BlockRead));
    EXPECT_EQ(mPort.m_rdAccessOpt, kRead);
    EXPECT_EQ(mPort.m_wrAccessOpt, kWrite | O_NONBLOCK);
}

TEST_F(LinuxSerialConfigTest, EnumerationsHaveTheirValues) {
    EXPECT_EQ(static_cast<int>(Format_8N1), 0);
    EXPECT_EQ(static_cast<int>(Format_7E1), 1);
    EXPECT_EQ(static_cast<int>(Format_7O1), 2);
    EXPECT_EQ(static_cast<int>(Format_7S1), 3);
    EXPECT_EQ(static_cast<int>(HardFlowControl), 0);
    EXPECT_EQ(static_cast<int>(SoftFlowControl), 1);
    EXPECT_EQ(static_cast<int>(NoFlowControl), 2);
    EXPECT_EQ(static_cast<int>(CanonicalMode), 0);
    EXPECT_EQ(static_cast<int>(NonCanonicalMode), 1);
    EXPECT_EQ(static_cast<int>(RawMode), 2);
}

TEST_F(LinuxSerialConfigTest, TheCallersSettingsAreKept) {
    const auto config = UsualConfig();
    mPort.Configure("/dev/null", config);
    EXPECT_EQ(mPort.m_uartPath, "/dev/null");
    EXPECT_EQ(mPort.m_userConfigBkUp.accessOpt, NonBlockRdWr);
    EXPECT_EQ(mPort.m_userConfigBkUp.baudrate, speed_t{B115200});
    EXPECT_EQ(mPort.m_userConfigBkUp.readMode, RawMode);
    EXPECT_EQ(mPort.m_userConfigBkUp.VTIME_user, 1);
    EXPECT_EQ(mPort.m_userConfigBkUp.VMIN_user, 32);
    EXPECT_EQ(mPort.m_uartConfig.c_cc[VTIME], 1);
    EXPECT_EQ(mPort.m_uartConfig.c_cc[VMIN], 32);
}

TEST_F(LinuxSerialConfigTest, EightBitsWithoutParity) {
    mPort.m_uartConfig.c_cflag = PARENB | PARODD | CSTOPB | CS6;
    mPort.m_uartConfig.c_iflag = ICRNL;
    const termios& words = Configured(Format_8N1, HardFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_cflag & (PARENB | PARODD | CSTOPB | CSIZE), tcflag_t{PARODD | CS8});
    EXPECT_EQ(words.c_iflag, tcflag_t{ICRNL | IGNBRK});
}

TEST_F(LinuxSerialConfigTest, SevenBitsWithEvenParity) {
    mPort.m_uartConfig.c_cflag = PARODD | CSTOPB | CS6;
    mPort.m_uartConfig.c_iflag = ICRNL | IXON;
    const termios& words = Configured(Format_7E1, HardFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_cflag & (PARENB | PARODD | CSTOPB | CSIZE), tcflag_t{PARENB | CS7});
    EXPECT_EQ(words.c_iflag, tcflag_t{INPCK | ISTRIP | IGNBRK});
}

TEST_F(LinuxSerialConfigTest, SevenBitsWithOddParity) {
    mPort.m_uartConfig.c_cflag = CSTOPB | CS6;
    mPort.m_uartConfig.c_iflag = ICRNL | IXON;
    const termios& words = Configured(Format_7O1, HardFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_cflag & (PARENB | PARODD | CSTOPB | CSIZE), tcflag_t{PARENB | PARODD | CS7});
    EXPECT_EQ(words.c_iflag, tcflag_t{INPCK | ISTRIP | IGNBRK});
}

TEST_F(LinuxSerialConfigTest, SevenBitsWithSpaceParity) {
    mPort.m_uartConfig.c_cflag = PARENB | PARODD | CSTOPB | CS8;
    mPort.m_uartConfig.c_iflag = ICRNL;
    const termios& words = Configured(Format_7S1, HardFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_cflag & (PARENB | PARODD | CSTOPB | CSIZE), tcflag_t{PARODD | CS7});
    EXPECT_EQ(words.c_iflag, tcflag_t{ICRNL | IGNBRK});
}

TEST_F(LinuxSerialConfigTest, HardwareFlowControlIsABitOfTheControlWord) {
    EXPECT_EQ(Configured(Format_8N1, HardFlowControl, RawMode).c_cflag & CRTSCTS, tcflag_t{CRTSCTS});
    EXPECT_EQ(Configured(Format_8N1, NoFlowControl, RawMode).c_cflag & CRTSCTS, 0U);
}

TEST_F(LinuxSerialConfigTest, SoftwareFlowControlGoesIntoTheControlWord) {
    const termios& words = Configured(Format_8N1, SoftFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_cflag & 0x0C00U, 0x0C00U);
    EXPECT_EQ(words.c_iflag & (IXON | IXOFF | IXANY), 0U);
}

TEST_F(LinuxSerialConfigTest, SoftwareFlowControlSetsAllItsBitsWhereNothingUndoesThem) {
    // B230400 is one of the speeds whose code holds the highest of the three bits.
    auto config = UsualConfig();
    config.flowCntl = SoftFlowControl;
    config.baudrate = B230400;
    mPort.Configure("/dev/null", config);
    EXPECT_EQ(mPort.m_uartConfig.c_cflag & 0x1C00U, 0x1C00U);
}

TEST_F(LinuxSerialConfigTest, SoftwareFlowControlLeavesTheInputWordAsItIs) {
    mPort.m_uartConfig.c_iflag = IXON | IXOFF | IXANY;
    const termios& words = Configured(Format_8N1, SoftFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_iflag & (IXON | IXOFF | IXANY), tcflag_t{IXON | IXOFF | IXANY});
}

TEST_F(LinuxSerialConfigTest, NoFlowControlClearsBothPatterns) {
    mPort.m_uartConfig.c_cflag = CRTSCTS | 0x1C00;
    const termios& words = Configured(Format_8N1, NoFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_cflag & HUPCL, 0U);
    EXPECT_EQ(words.c_cflag & CRTSCTS, 0U);
    EXPECT_EQ(words.c_cflag & CLOCAL, tcflag_t{CLOCAL});  // set again by the common settings
}

TEST_F(LinuxSerialConfigTest, CanonicalModeSetsTheLocalModes) {
    const termios& words = Configured(Format_8N1, NoFlowControl, CanonicalMode);
    EXPECT_EQ(words.c_lflag, tcflag_t{ICANON | ISIG | ECHO | ECHONL | IEXTEN});
}

TEST_F(LinuxSerialConfigTest, NonCanonicalModeClearsThemAndNoOthers) {
    mPort.m_uartConfig.c_lflag = ICANON | ISIG | ECHO | ECHONL | IEXTEN | NOFLSH;
    const termios& words = Configured(Format_8N1, NoFlowControl, NonCanonicalMode);
    EXPECT_EQ(words.c_lflag, tcflag_t{NOFLSH});
}

TEST_F(LinuxSerialConfigTest, RawModeClearsTheLocalWordAndTheInputTranslations) {
    FillWords(~tcflag_t{0});
    const termios& words = Configured(Format_8N1, NoFlowControl, RawMode);
    EXPECT_EQ(words.c_lflag, 0U);
    EXPECT_EQ(words.c_oflag & OPOST, 0U);
    EXPECT_EQ(words.c_iflag & (BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON), 0U);
}

TEST_F(LinuxSerialConfigTest, RawModeWinsOverTheWordFormat) {
    for (const auto wordFormat : {Format_7E1, Format_7O1, Format_7S1}) {
        const termios& words = Configured(wordFormat, NoFlowControl, RawMode);
        EXPECT_EQ(words.c_cflag & (CSIZE | PARENB), tcflag_t{CS8}) << wordFormat;
        EXPECT_EQ(words.c_iflag & ISTRIP, 0U) << wordFormat;
    }
}

TEST_F(LinuxSerialConfigTest, TheCommonSettingsComeAfterTheMode) {
    FillWords(0);
    const termios& words = Configured(Format_8N1, NoFlowControl, RawMode);
    EXPECT_EQ(words.c_cflag & (CREAD | CLOCAL), tcflag_t{CREAD | CLOCAL});
    EXPECT_EQ(words.c_iflag, tcflag_t{IGNBRK});
    mPort.m_uartConfig.c_oflag = OPOST | ONLCR;
    EXPECT_EQ(Configured(Format_8N1, NoFlowControl, CanonicalMode).c_oflag, tcflag_t{ONLCR});
}

TEST_F(LinuxSerialConfigTest, TheSpeedIsSetForTheDirectionsInUse) {
    auto config = UsualConfigWith(NonBlockRead);
    config.baudrate = B9600;
    mPort.Configure("/dev/null", config);
    EXPECT_EQ(mPort.m_uartConfig.c_ispeed, speed_t{B9600});
    EXPECT_EQ(mPort.m_uartConfig.c_ospeed, speed_t{B0});
    PortForTests writer;
    config.accessOpt = NonBlockWrite;
    writer.Configure("/dev/null", config);
    EXPECT_EQ(writer.m_uartConfig.c_ispeed, speed_t{B0});
    EXPECT_EQ(writer.m_uartConfig.c_ospeed, speed_t{B9600});
    PortForTests both;
    config.accessOpt = BlockRdWr;
    both.Configure("/dev/null", config);
    EXPECT_EQ(both.m_uartConfig.c_ispeed, speed_t{B9600});
    EXPECT_EQ(both.m_uartConfig.c_ospeed, speed_t{B9600});
}

TEST_F(LinuxSerialConfigTest, AnImpossibleSpeedIsToldAndTheRestStands) {
    auto config = UsualConfig();
    config.baudrate = 12345;
    testing::internal::CaptureStderr();
    mPort.Configure("/dev/null", config);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "LinuxSerial::SetBaudrate() - input speed refused: Invalid argument\n"
              "LinuxSerial::SetBaudrate() - output speed refused: Invalid argument\n");
    EXPECT_EQ(mPort.m_uartConfig.c_cflag & CSIZE, tcflag_t{CS8});
}

TEST_F(LinuxSerialConfigTest, ShowsTheUsualSettings) {
    EXPECT_EQ(Shown(UsualConfig()),
              "Uart config from LinuxSerial instance: \n"
              "Access Option: Non-Block Read + Write\n"
              "Word Format: 8N1\n"
              "Flow Control: Flow Control OFF\n"
              "Read Mode: Raw Mode\n"
              "VTIME: 1\n"
              "VMIN: 32\n");
}

TEST_F(LinuxSerialConfigTest, ShowsEachOption) {
    auto config = UsualConfigWith(NonBlockRead);
    config.wordFormat = Format_7E1;
    config.flowCntl = HardFlowControl;
    config.readMode = NonCanonicalMode;
    config.VTIME_user = 255;
    config.VMIN_user = 0;
    EXPECT_EQ(Shown(config),
              "Uart config from LinuxSerial instance: \n"
              "Access Option: Non-Block Read\n"
              "Word Format: 7E1\n"
              "Flow Control: Hardware Flow Control ON\n"
              "Read Mode: Non-Canonical Mode\n"
              "VTIME: 255\n"
              "VMIN: 0\n");
    config.accessOpt = NonBlockWrite;
    config.wordFormat = Format_7O1;
    config.flowCntl = SoftFlowControl;
    config.readMode = CanonicalMode;
    EXPECT_EQ(Shown(config),
              "Uart config from LinuxSerial instance: \n"
              "Access Option: Non-Block Write\n"
              "Word Format: 7O1\n"
              "Flow Control: Software Flow Control ON\n"
              "Read Mode: \n"
              "VTIME: 255\n"
              "VMIN: 0\n");
    config.accessOpt = BlockRdWr;
    config.wordFormat = Format_7S1;
    EXPECT_EQ(Shown(config),
              "Uart config from LinuxSerial instance: \n"
              "Access Option: \n"
              "Word Format: 7S1\n"
              "Flow Control: Software Flow Control ON\n"
              "Read Mode: \n"
              "VTIME: 255\n"
              "VMIN: 0\n");
}

}  // namespace
