// What is asked of the system's tools about an interface, and what is made of the answers.
#include "Common/Helper/NetworkInterfaces.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/Helper/NetworkFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char* const kAddressShow =
    "2: eth0: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc mq state UP group default qlen 1000\n"
    "    link/ether 00:11:22:aa:bb:cc brd ff:ff:ff:ff:ff:ff\n"
    "    inet 192.168.7.42/20 brd 192.168.15.255 scope global eth0\n"
    "       valid_lft forever preferred_lft forever\n"
    "    inet6 fe80::211:22ff:feaa:bbcc/64 scope link\n";

class NetworkInterfacesTest : public NetworkFixture {
protected:
    std::string mEth0 = "eth0";
};

TEST_F(NetworkInterfacesTest, TheAddress) {
    LetPrint("ip", kAddressShow);
    EXPECT_EQ(GetInterfaceIpAddress(mEth0), "192.168.7.42\n");
    EXPECT_THAT(TakeCommands(),
                ElementsAre("ip address show eth0 | awk '/inet\\>/ {print $2}' | awk -F/ '{print $1}'"));
    EXPECT_EQ(Calls(), "ip address show eth0\n");
}

TEST_F(NetworkInterfacesTest, TheMask) {
    LetPrint("ip", kAddressShow);
    EXPECT_EQ(GetInterfaceSubnetMask(mEth0), "255.255.240.0");
    EXPECT_THAT(TakeCommands(),
                ElementsAre("ip address show eth0 | awk '/inet\\>/ {print $2}' | awk -F/ '{print $2}'"));
}

TEST_F(NetworkInterfacesTest, TheMaskOfEachPrefixLength) {
    const struct {
        const char* length;
        const char* mask;
    } rows[] = {{"0", "0.0.0.0"},          {"1", "128.0.0.0"},        {"8", "255.0.0.0"},
                {"9", "255.128.0.0"},      {"24", "255.255.255.0"},   {"31", "255.255.255.254"},
                {"32", "255.255.255.255"}, {"33", "255.255.255.255"}, {"99999999999999999999", "255.255.255.255"},
                {"-1", "0.0.0.0"},         {"x", "0.0.0.0"}};
    for (const auto& row : rows) {
        LetPrint("ip", std::string("    inet 10.0.0.1/") + row.length + " scope global\n");
        EXPECT_EQ(GetInterfaceSubnetMask(mEth0), row.mask) << row.length;
    }
    LetPrint("ip", "");
    EXPECT_EQ(GetInterfaceSubnetMask(mEth0), "0.0.0.0");
}

TEST_F(NetworkInterfacesTest, TheGateway) {
    LetPrint("ip",
             "default via 192.168.0.1 dev wlan0 proto dhcp\n"
             "default via 192.168.7.1 dev eth0 proto dhcp\n"
             "192.168.0.0/20 dev eth0 scope link\n");
    EXPECT_EQ(GetInterfaceGateway(mEth0), "192.168.7.1\n");
    EXPECT_THAT(TakeCommands(), ElementsAre("ip route | awk '/default/ {print}' | awk '/eth0/ {print $3}'"));
    EXPECT_EQ(Calls(), "ip route\n");
}

TEST_F(NetworkInterfacesTest, TheHardwareAddress) {
    LetPrint("ip", kAddressShow);
    EXPECT_EQ(GetInterfaceMacAddress(mEth0), "00:11:22:aa:bb:cc\n");
    EXPECT_THAT(TakeCommands(), ElementsAre("ip address show eth0 | awk '/ether/ {print $2}'"));
}

TEST_F(NetworkInterfacesTest, TheNameServer) {
    mFolder.Write("etc/network/interfaces",
                  "auto wlan0\niface wlan0 inet dhcp\n\nauto eth0\niface eth0 inet static\n"
                  "    address 10.0.0.2\n    dns-nameservers 10.0.0.53\n");
    EXPECT_EQ(GetInterfaceDNSAddress(mEth0), "10.0.0.53\n");
    EXPECT_THAT(TakeCommands(), ElementsAre("grep eth0 -A5 " + mFolder.Path("etc/network/interfaces") +
                                            " | awk '/dns-nameservers/ {print $2}'"));
}

TEST_F(NetworkInterfacesTest, WhetherTheAddressIsDynamic) {
    mFolder.Write("etc/network/interfaces", "iface wlan0 inet dhcp\niface eth0 inet static\n");
    EXPECT_FALSE(GetInterfaceIsDhcpDynamic(mEth0));
    EXPECT_THAT(TakeCommands(), ElementsAre("cat " + mFolder.Path("etc/network/interfaces") +
                                            " | grep iface | awk '/eth0/ {print $4}'"));
    EXPECT_TRUE(GetInterfaceIsDhcpDynamic("wlan0"));
    EXPECT_FALSE(GetInterfaceIsDhcpDynamic("eth1"));
}

TEST_F(NetworkInterfacesTest, OneDynamicAddressAmongOthersIsEnough) {
    const struct {
        const char* lines;
        bool isDynamic;
    } rows[] = {{"iface eth0 inet static\niface eth0:1 inet dhcp\n", true},
                {"iface eth0 inet dhcp\niface eth0:1 inet static\n", true},
                {"iface eth0 inet dhcp\niface eth0 inet6 dhcp\n", true},
                {"iface eth0 inet6 dhcpv6\n", true},
                {"iface eth0 inet static\niface eth0:1 inet manual\n", false}};
    for (const auto& row : rows) {
        mFolder.Write("etc/network/interfaces", row.lines);
        EXPECT_EQ(GetInterfaceIsDhcpDynamic(mEth0), row.isDynamic) << row.lines;
    }
}

TEST_F(NetworkInterfacesTest, TheSystemsOwnFilesWithoutAPrefix) {
    const ScopedVariable noRoot("VELTRIX_ROOT", "");
    GetInterfaceDNSAddress("nosuch0");
    GetInterfaceIsDhcpDynamic("nosuch0");
    EXPECT_THAT(TakeCommands(),
                ElementsAre("grep nosuch0 -A5 /etc/network/interfaces | awk '/dns-nameservers/ {print $2}'",
                            "cat /etc/network/interfaces | grep iface | awk '/nosuch0/ {print $4}'"));
}

TEST_F(NetworkInterfacesTest, APrefixWithBlanksAndQuotesIsOneWordForTheShell) {
    mFolder.Write("it's here; $(touch x)/etc/network/interfaces", "iface eth0 inet dhcp\n");
    const ScopedVariable root("VELTRIX_ROOT", mFolder.Path("it's here; $(touch x)"));
    EXPECT_TRUE(GetInterfaceIsDhcpDynamic(mEth0));
    EXPECT_THAT(TakeCommands(), ElementsAre("cat '" + mFolder.Path("it'\\''s here; $(touch x)/etc/network/interfaces") +
                                            "' | grep iface | awk '/eth0/ {print $4}'"));
}

TEST_F(NetworkInterfacesTest, WhetherItIsUp) {
    LetPrint("ip",
             "2: eth0: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc mq state UP mode DEFAULT group default\n"
             "    link/ether 00:11:22:aa:bb:cc brd ff:ff:ff:ff:ff:ff\n");
    EXPECT_TRUE(IsInterfaceUp(mEth0));
    EXPECT_THAT(TakeCommands(), ElementsAre("ip link show eth0 | awk '{print $9}'"));
    EXPECT_EQ(Calls(), "ip link show eth0\n");
    LetPrint("ip", "2: eth0: <NO-CARRIER,BROADCAST,UP> mtu 1500 qdisc mq state DOWN mode DEFAULT group default\n");
    EXPECT_FALSE(IsInterfaceUp(mEth0));
    LetPrint("ip", "");
    EXPECT_FALSE(IsInterfaceUp(mEth0));
}

TEST_F(NetworkInterfacesTest, WhetherItIsConnected) {
    EXPECT_FALSE(IsInterfaceConnected(mEth0));
    mFolder.Write("sys/class/net/eth0/carrier", "0\n");
    EXPECT_FALSE(IsInterfaceConnected(mEth0));
    mFolder.Write("sys/class/net/eth0/carrier", "1\n");
    EXPECT_TRUE(IsInterfaceConnected(mEth0));
    mFolder.Write("sys/class/net/eth0/carrier", "");
    EXPECT_FALSE(IsInterfaceConnected(mEth0));
    EXPECT_THAT(TakeCommands(), IsEmpty());
}

TEST_F(NetworkInterfacesTest, AOneInTheStateIsAConnectionWhateverStandsAroundIt) {
    for (const std::string state : {"1", " 1 \n", "0\n1\n", "10\n"}) {
        mFolder.Write("sys/class/net/eth0/carrier", state);
        EXPECT_TRUE(IsInterfaceConnected(mEth0)) << state;
    }
    mFolder.Write("sys/class/net/eth0/carrier", "0");
    EXPECT_FALSE(IsInterfaceConnected(mEth0));
}

TEST_F(NetworkInterfacesTest, AnInterfaceWhoseStateCannotBeReadIsNotConnected) {
    // A folder opens and refuses to be read, like the file of an interface that is down.
    mFolder.Write("sys/class/net/eth0/carrier/1", "1\n");
    EXPECT_FALSE(IsInterfaceConnected(mEth0));
}

TEST_F(NetworkInterfacesTest, AllOfItTrimmed) {
    LetPrint("ip", "");
    mFolder.WriteScript("bin/ip",
                        "case \"$*\" in\n"
                        "'link show eth0') echo '2: eth0: <UP> mtu 1500 qdisc mq state UP mode DEFAULT';;\n"
                        "route) echo 'default via 192.168.7.1 dev eth0';;\n"
                        "*) cat " +
                            mFolder.Write("show", kAddressShow) + ";;\nesac\n");
    mFolder.Write("sys/class/net/eth0/carrier", "1\n");
    NetworkInterfaceInformation information;
    GetNetworkInterfaceInformation(mEth0, information);
    EXPECT_EQ(information.ipAddress, "192.168.7.42");
    EXPECT_EQ(information.subnetMask, "255.255.240.0");
    EXPECT_EQ(information.gateway, "192.168.7.1");
    EXPECT_EQ(information.macAddress, "00:11:22:aa:bb:cc");
    EXPECT_TRUE(information.isUp);
    EXPECT_TRUE(information.isConnected);
    EXPECT_EQ(information.ToPrettyString(),
              "IP address: 192.168.7.42\n"
              "Subnet mask: 255.255.240.0\n"
              "Gateway: 192.168.7.1\n"
              "MAC address: 00:11:22:aa:bb:cc\n"
              "Up: Yes\n"
              "Connected: Yes\n");
}

TEST_F(NetworkInterfacesTest, WithoutAConnectionTheTextsAreEmpty) {
    LetPrint("ip", "2: eth0: <UP> mtu 1500 qdisc mq state UP mode DEFAULT\n    inet 10.0.0.1/8 scope global\n");
    NetworkInterfaceInformation information{"old", "old", "old", "old", false, true};
    GetNetworkInterfaceInformation(mEth0, information);
    EXPECT_EQ(information.ipAddress, "");
    EXPECT_EQ(information.subnetMask, "");
    EXPECT_EQ(information.gateway, "");
    EXPECT_EQ(information.macAddress, "");
    EXPECT_TRUE(information.isUp);
    EXPECT_FALSE(information.isConnected);
    EXPECT_EQ(Calls(), "ip link show eth0\n");
}

TEST_F(NetworkInterfacesTest, NamesThatCouldMeanMoreRunNoCommand) {
    LetPrint("ip", kAddressShow);
    mFolder.Write("sys/class/net/a b/carrier", "1\n");
    for (const std::string name :
         {"", "a b", "eth0;id", "$(id)", "`id`", "a'b", "a/b", "a\nb", "eth0|x", "*", "\xC3\xA4", "sixteencharacter"}) {
        EXPECT_EQ(GetInterfaceIpAddress(name), "") << name;
        EXPECT_EQ(GetInterfaceSubnetMask(name), "") << name;
        EXPECT_EQ(GetInterfaceGateway(name), "") << name;
        EXPECT_EQ(GetInterfaceMacAddress(name), "") << name;
        EXPECT_EQ(GetInterfaceDNSAddress(name), "") << name;
        EXPECT_FALSE(GetInterfaceIsDhcpDynamic(name)) << name;
        EXPECT_FALSE(IsInterfaceUp(name)) << name;
        EXPECT_FALSE(IsInterfaceConnected(name)) << name;
        NetworkInterfaceInformation information;
        GetNetworkInterfaceInformation(name, information);
        EXPECT_FALSE(information.isUp) << name;
    }
    EXPECT_THAT(TakeCommands(), IsEmpty());
    EXPECT_EQ(Calls(), "");
}

TEST_F(NetworkInterfacesTest, EveryAllowedCharacterPasses) {
    LetPrint("ip", kAddressShow);
    for (const std::string name : {"a", "Zz09_.:@-", "fifteen-letters"}) {
        EXPECT_EQ(GetInterfaceMacAddress(name), "00:11:22:aa:bb:cc\n") << name;
        EXPECT_THAT(TakeCommands(), ElementsAre("ip address show " + name + " | awk '/ether/ {print $2}'"));
    }
}

}  // namespace
