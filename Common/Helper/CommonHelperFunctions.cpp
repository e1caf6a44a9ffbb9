#include "Common/Helper/CommonHelperFunctions.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>

#include "Common/Helper/ErrorText.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"

namespace {

constexpr double kMillimetresPerInch = 25.4;
constexpr long kNanosecondsPerSecond = 1000000000;
constexpr mode_t kFolderMode = 0755;

constexpr const char* kWiFiMarker = "/Veltrix/WiFi_FactoryDefaults";
constexpr const char* kEthernetMarker = "/Veltrix/Ethernet_FactoryDefaults";
constexpr const char* kBuildFile = "/BuildVersion/BuildVersion";
constexpr const char* kNotAvailable = "n/a";

std::string UtcText(std::time_t seconds) {
    std::tm time{};
    if (::gmtime_r(&seconds, &time) == nullptr) {
        return kNotAvailable;  // a year beyond an int
    }
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", time.tm_year + 1900LL, time.tm_mon + 1, time.tm_mday,
                       time.tm_hour, time.tm_min, time.tm_sec);
}

}  // namespace

std::uint16_t ConvertStringToUint16(const std::string& text) {
    errno = 0;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    const bool fits =
        errno == 0 && value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    return fits ? static_cast<std::uint16_t>(value) : std::uint16_t{0};
}

double ConvertInchesTomm(double inches) {
    return inches * kMillimetresPerInch;
}

double ConvertmmToInches(double millimetres) {
    return millimetres / kMillimetresPerInch;
}

bool DoesThisFileExist(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool DeleteThisFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

bool MakeSureDirectoryExists(const std::string& path) {
    if (::mkdir(path.c_str(), kFolderMode) == 0) {
        return true;
    }
    struct stat status {};
    return errno == EEXIST && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string runShellCommand(const std::string& command) {
    std::string output;
    std::FILE* const pipe = ::popen(command.c_str(), "re");
    if (pipe == nullptr) {
        HalLog::Error("Unable to run the shell. {}", ErrorText(errno));
        return output;
    }
    while (true) {
        // Zeros all over: where a signal interrupts a line, its beginning has been taken and lies there without an end.
        char line[256] = {};
        const bool isRead = std::fgets(line, sizeof line, pipe) != nullptr;
        const bool isInterrupted = !isRead && std::ferror(pipe) != 0 && errno == EINTR;
        if (!isRead && !isInterrupted) {
            break;
        }
        output += line;
        if (isInterrupted) {
            std::clearerr(pipe);
        }
    }
    ::pclose(pipe);  // the output is the result; how the command ended is not
    return output;
}

std::chrono::nanoseconds AccurateDiffTime(std::chrono::steady_clock::time_point start,
                                          std::chrono::steady_clock::time_point end) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(end - start);
}

timespec GetTimespecDifference(timespec start, timespec end) {
    timespec difference{.tv_sec = end.tv_sec - start.tv_sec, .tv_nsec = end.tv_nsec - start.tv_nsec};
    if (difference.tv_nsec < 0) {
        --difference.tv_sec;
        difference.tv_nsec += kNanosecondsPerSecond;
    }
    return difference;
}

int TimespecCompareTo(timespec first, timespec second) {
    if (first.tv_sec != second.tv_sec) {
        return first.tv_sec < second.tv_sec ? -1 : 1;
    }
    if (first.tv_nsec != second.tv_nsec) {
        return first.tv_nsec < second.tv_nsec ? -1 : 1;
    }
    return 0;
}

std::string GetATimeString(unsigned long long millisecondsSinceEpoch) {
    return fmt::format("{}.{:03}", UtcText(static_cast<std::time_t>(millisecondsSinceEpoch / 1000)),
                       millisecondsSinceEpoch % 1000);
}

std::string GetNowUTCDateTimeWithMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);  // this clock is always there
    return fmt::format("{} + {:06} (microseconds)", UtcText(now.tv_sec), now.tv_nsec / 1000);
}

std::string ConvertValueToHexString(unsigned int value) {
    return fmt::format("{:x}", value);
}

std::string ConvertBYTEToHexString(std::uint8_t value) {
    return fmt::format("{:x}", value);
}

std::string ConvertBYTEToASCII(std::uint8_t value) {
    return std::string(1, static_cast<char>(value));
}

std::string ConvertWORDToString(std::uint16_t value) {
    return std::to_string(value);
}

std::string ConvertFloatToString(float value, int decimals) {
    const int length = std::snprintf(nullptr, 0, "%.*f", decimals, static_cast<double>(value));
    if (length < 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, "%.*f", decimals, static_cast<double>(value));
    return text;
}

std::string ConvertBoolToTrueFalse(bool value) {
    return value ? "True" : "False";
}

std::string ConvertBoolToYesNo(bool value) {
    return value ? "Yes" : "No";
}

std::string ConvertBoolToYN(bool value) {
    return value ? "Y" : "N";
}

std::string ConvertBoolToTF(bool value) {
    return value ? "T" : "F";
}

bool CheckForWiFiFactoryDefaults() {
    return DoesThisFileExist(RootedPath(kWiFiMarker));
}

bool CheckForEthernetFactoryDefaults() {
    return DoesThisFileExist(RootedPath(kEthernetMarker));
}

bool ClearWiFiFactoryDefaultsStatusFile() {
    return DeleteThisFile(RootedPath(kWiFiMarker));
}

bool ClearEthernetFactoryDefaultsStatusFile() {
    return DeleteThisFile(RootedPath(kEthernetMarker));
}

std::string GetYoctoVersion() {
    std::ifstream file(RootedPath(kBuildFile));
    std::string line;
    while (std::getline(file, line)) {
        if (line.find("Yocto") != std::string::npos) {
            // The last one: a release's name may hold an "-r" of its own.
            return line.substr(0, line.rfind("-r"));
        }
    }
    return kNotAvailable;
}
