#include "Common/Helper/NetworkInterfaces.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "Common/Helper/CommonHelperFunctions.h"
#include "Common/Helper/FileContent.h"
#include "Common/Helper/RootedPath.h"

namespace {

constexpr std::string_view kLettersAndDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view kBlanks = " \t\r\n";

// Names go into command lines as they are, so nothing that means something to the shell or awk may pass.
bool IsInterfaceName(const std::string& name) {
    constexpr std::size_t kLongest = 15;
    return !name.empty() && name.size() <= kLongest && std::all_of(name.begin(), name.end(), [](char character) {
        return kLettersAndDigits.find(character) != std::string_view::npos ||
               std::string_view("_.:@-").find(character) != std::string_view::npos;
    });
}

// One of our own paths as a word of a command line; in quotes only where the shell would take it apart.
std::string ShellPath(std::string_view absolutePath) {
    std::string path = RootedPath(absolutePath);
    const bool plain = std::all_of(path.begin(), path.end(), [](char character) {
        return kLettersAndDigits.find(character) != std::string_view::npos ||
               std::string_view("_./-").find(character) != std::string_view::npos;
    });
    if (plain) {
        return path;
    }
    std::string quoted = "'";
    for (const char character : path) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

// Runs the command when the name is one.
std::string Query(const std::string& interfaceName, const std::string& command) {
    return IsInterfaceName(interfaceName) ? runShellCommand(command) : std::string();
}

bool Contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

std::string Trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The word behind the label, up to the next blank.
std::string WordAfter(const std::string& line, std::string_view label) {
    const auto at = line.find(label);
    if (at == std::string::npos) {
        return {};
    }
    const auto begin = at + label.size();
    const auto end = line.find_first_of(kBlanks, begin);
    return line.substr(begin, end == std::string::npos ? end : end - begin);
}

std::string DottedMask(long prefixLength) {
    constexpr long kBits = 32;
    const long bits = std::clamp(prefixLength, 0L, kBits);
    std::uint32_t mask = 0;
    for (long bit = 0; bit < bits; ++bit) {
        mask |= std::uint32_t{1} << (kBits - 1 - bit);
    }
    return fmt::format("{}.{}.{}.{}", mask >> 24, mask >> 16 & 0xFF, mask >> 8 & 0xFF, mask & 0xFF);
}

}  // namespace

std::string NetworkInterfaceInformation::ToPrettyString() const {
    return fmt::format("IP address: {}\nSubnet mask: {}\nGateway: {}\nMAC address: {}\nUp: {}\nConnected: {}\n",
                       ipAddress, subnetMask, gateway, macAddress, ConvertBoolToYesNo(isUp),
                       ConvertBoolToYesNo(isConnected));
}

std::string GetInterfaceIpAddress(const std::string& interfaceName) {
    return Query(interfaceName,
                 "ip address show " + interfaceName + R"( | awk '/inet\>/ {print $2}' | awk -F/ '{print $1}')");
}

std::string GetInterfaceGateway(const std::string& interfaceName) {
    return Query(interfaceName, "ip route | awk '/default/ {print}' | awk '/" + interfaceName + "/ {print $3}'");
}

std::string GetInterfaceMacAddress(const std::string& interfaceName) {
    return Query(interfaceName, "ip address show " + interfaceName + " | awk '/ether/ {print $2}'");
}

std::string GetInterfaceDNSAddress(const std::string& interfaceName) {
    return Query(interfaceName, "grep " + interfaceName + " -A5 " + ShellPath("/etc/network/interfaces") +
                                    " | awk '/dns-nameservers/ {print $2}'");
}

bool GetInterfaceIsDhcpDynamic(const std::string& interfaceName) {
    return Contains(Query(interfaceName, "cat " + ShellPath("/etc/network/interfaces") + " | grep iface | awk '/" +
                                             interfaceName + "/ {print $4}'"),
                    "dhcp");
}

bool IsInterfaceUp(const std::string& interfaceName) {
    return Contains(Query(interfaceName, "ip link show " + interfaceName + " | awk '{print $9}'"), "UP");
}

bool IsInterfaceConnected(const std::string& interfaceName) {
    if (!IsInterfaceName(interfaceName)) {
        return false;
    }
    // The file of an interface that is down can be opened and not read; a stream's buffer would throw on that.
    return Contains(ReadFile(RootedPath("/sys/class/net/" + interfaceName + "/carrier")).value_or(""), "1");
}

std::string GetInterfaceSubnetMask(const std::string& interfaceName) {
    if (!IsInterfaceName(interfaceName)) {
        return {};
    }
    const std::string prefixLength =
        runShellCommand("ip address show " + interfaceName + R"( | awk '/inet\>/ {print $2}' | awk -F/ '{print $2}')");
    return DottedMask(std::strtol(prefixLength.c_str(), nullptr, 10));
}

void GetNetworkInterfaceInformation(const std::string& interfaceName, NetworkInterfaceInformation& information) {
    information = {};
    information.isUp = IsInterfaceUp(interfaceName);
    information.isConnected = IsInterfaceConnected(interfaceName);
    if (!information.isConnected) {
        return;
    }
    information.ipAddress = Trimmed(GetInterfaceIpAddress(interfaceName));
    information.subnetMask = Trimmed(GetInterfaceSubnetMask(interfaceName));
    information.gateway = Trimmed(GetInterfaceGateway(interfaceName));
    information.macAddress = Trimmed(GetInterfaceMacAddress(interfaceName));
}

std::string GetMACString(const std::string& line) {
    return WordAfter(line, "HWaddr ");
}

std::string GetIPandMaskString(const std::string& line) {
    const std::string address = WordAfter(line, "inet addr:");
    const std::string mask = WordAfter(line, "Mask:");
    return address.empty() || mask.empty() ? std::string() : address + "  " + mask;
}

void GetIPsFromIfconfig(std::string* eth0, std::string* eth1, std::string* wlan0) {
    constexpr const char* kScratchFile = "/Veltrix/ifconfig.txt";
    struct Wanted {
        const char* name;
        std::string* result;
        std::string text;
    };
    std::array<Wanted, 3> wanted = {{{"eth0", eth0, "n/a"}, {"eth1", eth1, "n/a"}, {"wlan0", wlan0, "n/a"}}};
    runShellCommand("ifconfig > " + ShellPath(kScratchFile));
    std::ifstream file(RootedPath(kScratchFile));
    std::string line;
    while (std::getline(file, line)) {
        for (Wanted& each : wanted) {
            if (!Contains(line, each.name)) {
                continue;
            }
            each.text = GetMACString(line);
            line.clear();
            std::getline(file, line);  // the addresses stand on the line below
            each.text += "  " + GetIPandMaskString(line);
        }
    }
    for (const Wanted& each : wanted) {
        if (each.result != nullptr) {
            *each.result = each.text;
        }
    }
}
