// What the machine's tools and files print, taken apart. No command is run: a stand-in for popen answers with the
// input, and sees what would have gone to the shell. What is found is nothing but what stands there, and where the
// input has the plain shape, just what a reader of that shape finds.
//
//   up to 0xFF   an interface name
//   the rest     the text: a line, the output of every command, the scratch file of ifconfig and the build file
#include "Common/Helper/CommonHelperFunctions.h"
#include "Common/Helper/NetworkInterfaces.h"
#include "fuzz/IfconfigReader.h"
#include "fuzz/Support/ByteSource.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr const char* kScratchFile = "/Veltrix/ifconfig.txt";
constexpr const char* kBuildFile = "/BuildVersion/BuildVersion";

std::string& Output() {
    static std::string& output = *new std::string;
    return output;
}

std::vector<std::string>& Commands() {
    static std::vector<std::string>& commands = *new std::vector<std::string>;
    return commands;
}

}  // namespace

// The linker is told to put these two in the place of popen and pclose.
extern "C" std::FILE* __wrap_popen(const char* command, const char* mode);  // NOLINT: the linker's names
extern "C" int __wrap_pclose(std::FILE* stream);                            // NOLINT

extern "C" std::FILE* __wrap_popen(const char* command, const char* /*mode*/) {  // NOLINT
    Commands().emplace_back(command);
    // An empty buffer is refused; a stream that ends at once is as good.
    return Output().empty() ? std::fopen("/dev/null", "re") : ::fmemopen(Output().data(), Output().size(), "r");
}

extern "C" int __wrap_pclose(std::FILE* stream) {  // NOLINT
    return std::fclose(stream);
}

namespace {

bool IsAllowedName(const std::string& name) {
    const auto isAllowed = [](unsigned char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
               c == ':' || c == '@' || c == '-';
    };
    return !name.empty() && name.size() <= 15 && std::all_of(name.begin(), name.end(), isAllowed);
}

bool Agrees(const IfconfigReader::Finding& finding, const std::string& result) {
    return !finding || *finding == result;
}

bool HasBlank(const std::string& text) {
    return text.find_first_of(kBlanks) != std::string::npos;
}

// Four numbers whose bits run out once and for all.
bool IsMask(const std::string& text) {
    unsigned int parts[4] = {};
    int length = 0;
    if (std::sscanf(text.c_str(), "%u.%u.%u.%u%n", &parts[0], &parts[1], &parts[2], &parts[3], &length) != 4 ||
        static_cast<std::size_t>(length) != text.size()) {
        return false;
    }
    std::uint32_t mask = 0;
    for (const unsigned int part : parts) {
        if (part > 255) {
            return false;
        }
        mask = mask << 8U | part;
    }
    const std::uint32_t host = ~mask;
    return (host & (host + 1)) == 0;
}

void CheckLine(const std::string& line) {
    const std::string mac = GetMACString(line);
    FUZZ_CHECK(!HasBlank(mac));
    FUZZ_CHECK(line.find("HWaddr " + mac) != std::string::npos || mac.empty());
    FUZZ_CHECK(Agrees(IfconfigReader::Mac(line), mac));
    const std::string addresses = GetIPandMaskString(line);
    FUZZ_CHECK(Agrees(IfconfigReader::AddressAndMask(line), addresses));
    if (addresses.empty()) {
        return;
    }
    const auto gap = addresses.find("  ");
    FUZZ_CHECK(gap != std::string::npos && gap != 0);
    const std::string address = addresses.substr(0, gap);
    const std::string mask = addresses.substr(gap + 2);
    FUZZ_CHECK(!HasBlank(address) && !mask.empty() && !HasBlank(mask));
    FUZZ_CHECK(line.find("inet addr:" + address) != std::string::npos &&
               line.find("Mask:" + mask) != std::string::npos);
}

void CheckBuildFile(const std::string& text) {
    Fuzz::WriteRootedFile(kBuildFile, text);
    const std::string version = GetYoctoVersion();
    if (text.find("Yocto") == std::string::npos) {
        FUZZ_CHECK(version == "n/a");
        return;
    }
    FUZZ_CHECK(version.find('\n') == std::string::npos);
    FUZZ_CHECK(text.find(version) != std::string::npos && Agrees(IfconfigReader::Release(text), version));
}

void CheckScratchFile(const std::string& text) {
    Fuzz::WriteRootedFile(kScratchFile, text);
    std::string eth0;
    std::string eth1;
    std::string wlan0;
    GetIPsFromIfconfig(&eth0, nullptr, &wlan0);
    GetIPsFromIfconfig(nullptr, &eth1, nullptr);
    const auto isPlausible = [&text](const std::string& shown, std::string_view name) {
        const bool isFound = text.find(name) != std::string::npos && shown.find("  ") != std::string::npos;
        return (isFound || shown == "n/a") && Agrees(IfconfigReader::Interface(text, name), shown);
    };
    FUZZ_CHECK(isPlausible(eth0, "eth0") && isPlausible(eth1, "eth1") && isPlausible(wlan0, "wlan0"));
}

void CheckQueries(const std::string& name) {
    Commands().clear();
    NetworkInterfaceInformation information;
    GetNetworkInterfaceInformation(name, information);
    const std::string texts[] = {GetInterfaceIpAddress(name), GetInterfaceGateway(name), GetInterfaceMacAddress(name),
                                 GetInterfaceDNSAddress(name)};
    const std::string mask = GetInterfaceSubnetMask(name);
    const bool isDynamic = GetInterfaceIsDhcpDynamic(name);
    if (!IsAllowedName(name)) {
        FUZZ_CHECK(Commands().empty() && !isDynamic && !information.isUp && !information.isConnected);
        FUZZ_CHECK(mask.empty() && std::all_of(std::begin(texts), std::end(texts), [](auto& t) { return t.empty(); }));
        return;
    }
    FUZZ_CHECK(IsMask(mask));
    FUZZ_CHECK(information.isConnected == (name.front() != '.'));
    // fgets hands lines over as C texts: a zero byte hides the rest of its line.
    if (Output().find('\0') != std::string::npos) {
        return;
    }
    FUZZ_CHECK(std::all_of(std::begin(texts), std::end(texts), [](auto& text) { return text == Output(); }));
    FUZZ_CHECK(Agrees(IfconfigReader::Mask(Output()), mask));
    FUZZ_CHECK(isDynamic == (Output().find("dhcp") != std::string::npos));
    FUZZ_CHECK(information.isUp == (Output().find("UP") != std::string::npos));
    if (information.isConnected) {
        const std::string bare = IfconfigReader::Bare(Output());
        FUZZ_CHECK(information.ipAddress == bare && information.gateway == bare && information.macAddress == bare);
        FUZZ_CHECK(information.subnetMask == mask);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::ByteSource source(data, size);
    const std::string name = source.TextUntil(0xFF);
    const std::string text = source.RestText();
    Output() = text;
    CheckLine(text);
    CheckBuildFile(text);
    CheckScratchFile(text);
    const bool isFolderName = IsAllowedName(name) && name.front() != '.';
    if (isFolderName) {
        Fuzz::WriteRootedFile("/sys/class/net/" + name + "/carrier", "1\n");
    }
    CheckQueries(name);
    if (isFolderName) {
        Fuzz::RemoveRooted("/sys/class/net/" + name);
    }
    return 0;
}
