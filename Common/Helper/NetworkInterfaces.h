// What the system's tools and files tell about its network interfaces.
//
// An interface name is one to fifteen of A-Z a-z 0-9 _ . : @ -; for any other no command is run and the answer is an
// empty text or false. The texts are what the command printed, as it is, with its newlines; empty when it failed. The
// calls wait for the commands to end. Any thread.
#pragma once

#include <string>

struct NetworkInterfaceInformation {
    std::string ipAddress;
    std::string subnetMask;  // dotted
    std::string gateway;
    std::string macAddress;
    bool isUp = false;
    bool isConnected = false;

    // All of it, one line per item, for people.
    std::string ToPrettyString() const;
};

std::string GetInterfaceIpAddress(const std::string& interfaceName);
std::string GetInterfaceGateway(const std::string& interfaceName);
std::string GetInterfaceMacAddress(const std::string& interfaceName);
std::string GetInterfaceDNSAddress(const std::string& interfaceName);
std::string GetInterfaceSubnetMask(const std::string& interfaceName);  // dotted, without a newline
bool GetInterfaceIsDhcpDynamic(const std::string& interfaceName);
bool IsInterfaceUp(const std::string& interfaceName);
bool IsInterfaceConnected(const std::string& interfaceName);  // a cable or a radio network is there

// Fills the structure, its texts without surrounding blanks and newlines; they stay empty without a connection.
void GetNetworkInterfaceInformation(const std::string& interfaceName, NetworkInterfaceInformation& information);

// From lines of ifconfig: the address behind "HWaddr "; those behind "inet addr:" and "Mask:" with two blanks between
// them. Empty when one is missing.
std::string GetMACString(const std::string& line);
std::string GetIPandMaskString(const std::string& line);

// Hardware address, address and mask of three interfaces as ifconfig shows them, two blanks between them; "n/a" for an
// interface that it does not show. Leaves ifconfig's output in a scratch file.
void GetIPsFromIfconfig(std::string* eth0, std::string* eth1, std::string* wlan0);
