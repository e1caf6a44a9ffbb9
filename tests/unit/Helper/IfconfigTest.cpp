// The addresses that ifconfig shows.
#include <string>

#include "tests/unit/Helper/NetworkFixture.h"

namespace {

using testing::ElementsAre;

class IfconfigTest : public NetworkFixture {
protected:
    void Ask() {
        mEth0 = mEth1 = mWlan0 = "before";
        GetIPsFromIfconfig(&mEth0, &mEth1, &mWlan0);
    }

    IfconfigTest() { mFolder.Write("Veltrix/kept", ""); }

    std::string mEth0;
    std::string mEth1;
    std::string mWlan0;
};

const char* const kEth0 =
    "eth0      Link encap:Ethernet  HWaddr 00:11:22:33:44:55  \n"
    "          inet addr:192.168.7.42  Bcast:192.168.7.255  Mask:255.255.255.0\n"
    "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1\n\n";
const char* const kEth1 =
    "eth1      Link encap:Ethernet  HWaddr 00:11:22:33:44:66\n"
    "          UP BROADCAST MULTICAST  MTU:1500  Metric:1\n\n";
const char* const kLoopback =
    "lo        Link encap:Local Loopback\n"
    "          inet addr:127.0.0.1  Mask:255.0.0.0\n\n";
const char* const kWlan0 =
    "wlan0     Link encap:Ethernet  HWaddr 00:11:22:33:44:77\n"
    "          inet addr:10.1.2.3  Bcast:10.255.255.255  Mask:255.0.0.0\n";

TEST_F(IfconfigTest, ThreeInterfaces) {
    LetPrint("ifconfig", std::string(kEth0) + kEth1 + kLoopback + kWlan0);
    Ask();
    EXPECT_EQ(mEth0, "00:11:22:33:44:55  192.168.7.42  255.255.255.0");
    EXPECT_EQ(mEth1, "00:11:22:33:44:66  ");
    EXPECT_EQ(mWlan0, "00:11:22:33:44:77  10.1.2.3  255.0.0.0");
    EXPECT_THAT(TakeCommands(), ElementsAre("ifconfig > " + mFolder.Path("Veltrix/ifconfig.txt")));
    EXPECT_EQ(mFolder.Read("Veltrix/ifconfig.txt"), std::string(kEth0) + kEth1 + kLoopback + kWlan0);
    EXPECT_EQ(Calls(), "ifconfig \n");
}

TEST_F(IfconfigTest, AnInterfaceThatIsNotShownIsNotAvailable) {
    LetPrint("ifconfig", std::string(kEth0) + kLoopback);
    Ask();
    EXPECT_EQ(mEth0, "00:11:22:33:44:55  192.168.7.42  255.255.255.0");
    EXPECT_EQ(mEth1, "n/a");
    EXPECT_EQ(mWlan0, "n/a");
}

TEST_F(IfconfigTest, WithoutOutputNothingIsAvailable) {
    LetPrint("ifconfig", "");
    Ask();
    EXPECT_EQ(mEth0, "n/a");
    EXPECT_EQ(mEth1, "n/a");
    EXPECT_EQ(mWlan0, "n/a");
}

TEST_F(IfconfigTest, AFileThatEndsBehindTheName) {
    LetPrint("ifconfig", "wlan0     Link encap:Ethernet  HWaddr 00:11:22:33:44:77");
    Ask();
    EXPECT_EQ(mWlan0, "00:11:22:33:44:77  ");
}

TEST_F(IfconfigTest, OfSeveralLinesWithItsNameTheLastOneCounts) {
    LetPrint("ifconfig", std::string(kEth0) +
                             "eth0:1    Link encap:Ethernet  HWaddr 00:11:22:33:44:88\n"
                             "          inet addr:192.168.8.1  Bcast:192.168.8.255  Mask:255.255.254.0\n");
    Ask();
    EXPECT_EQ(mEth0, "00:11:22:33:44:88  192.168.8.1  255.255.254.0");
}

TEST_F(IfconfigTest, WithoutAFileForTheOutputNothingIsAvailable) {
    LetPrint("ifconfig", kEth0);
    mFolder.Write("Veltrix/ifconfig.txt/inside", "");
    Ask();
    EXPECT_EQ(mEth0, "n/a");
    EXPECT_EQ(mEth1, "n/a");
    EXPECT_EQ(mWlan0, "n/a");
}

TEST_F(IfconfigTest, ResultsThatNobodyWantsMayBeLeftOut) {
    LetPrint("ifconfig", kEth0);
    GetIPsFromIfconfig(&mEth0, nullptr, nullptr);
    EXPECT_EQ(mEth0, "00:11:22:33:44:55  192.168.7.42  255.255.255.0");
}

TEST_F(IfconfigTest, AnOldFileIsNotTakenForAnAnswer) {
    LetPrint("ifconfig", kEth0);
    Ask();
    LetPrint("ifconfig", "");
    Ask();
    EXPECT_EQ(mEth0, "n/a");
}

TEST_F(IfconfigTest, TheHardwareAddressOfALine) {
    EXPECT_EQ(GetMACString("eth0 Link encap:Ethernet  HWaddr 00:11:22:33:44:55  "), "00:11:22:33:44:55");
    EXPECT_EQ(GetMACString("HWaddr 00:11\r"), "00:11");
    EXPECT_EQ(GetMACString("HWaddr "), "");
    EXPECT_EQ(GetMACString("HWaddr"), "");
    EXPECT_EQ(GetMACString("lo        Link encap:Local Loopback"), "");
    EXPECT_EQ(GetMACString(""), "");
}

TEST_F(IfconfigTest, AddressAndMaskOfALine) {
    EXPECT_EQ(GetIPandMaskString("  inet addr:10.0.0.1  Bcast:10.255.255.255  Mask:255.0.0.0"), "10.0.0.1  255.0.0.0");
    EXPECT_EQ(GetIPandMaskString("inet addr:127.0.0.1 Mask:255.0.0.0\n"), "127.0.0.1  255.0.0.0");
    EXPECT_EQ(GetIPandMaskString("inet addr:10.0.0.1"), "");
    EXPECT_EQ(GetIPandMaskString("Mask:255.0.0.0"), "");
    EXPECT_EQ(GetIPandMaskString("UP BROADCAST MULTICAST"), "");
    EXPECT_EQ(GetIPandMaskString(""), "");
}

}  // namespace
