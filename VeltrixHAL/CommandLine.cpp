#include "VeltrixHAL/CommandLine.h"

#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/Identity.h"

#include <CommitIdentifier.h>
#include <Veltrix/VeltrixErrorLog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

constexpr const char* kOptions = "tfVv:s:p:u:i:";
constexpr const char* kVersion = "undefined";

void PrintVersion() {
    HalLog::Print(0, "Version {} {} dirty", kVersion, kCommitIdentifier);
}

void PrintHelp() {
    HalLog::Print(0, "VeltrixHAL");
    HalLog::Print(0, "Version: {}", kVersion);
    HalLog::Print(0, "Change: {}", kCommitIdentifier);
    // The UART stands behind -p here, though its option is -u: the line has been so from the start.
    HalLog::Print(0, "Usage: VeltrixHAL <-s socket_name> <-p uart> <-i ID file> <-f> <-v level>");
    HalLog::Print(0, "Where:");
    HalLog::Print(0,
                  "-s <socket_name>  = Provide a non-default Unix socket name to run the server with. The default "
                  "socket filename is {}",
                  BusClient::kDefaultSocket);
    HalLog::Print(0, "-u <uart>  \t\t= Provide a serial port/uart to connect with. The default port is {}",
                  kDefaultUart);
    HalLog::Print(0,
                  "-p <PID file>     = Indicate that a PID file should be written for this process. If this argument "
                  "is not specified, no PID file is written, even for background operation.");
    HalLog::Print(0,
                  "-i <ID file>      = Provide a non-default identity file to use when identifying the HAL (and "
                  "machine). The default identity file is {}.",
                  kDefaultIdentityFile);
    HalLog::Print(0, "-f              \t= Run application in the foreground (no daemon). Disabled by default.");
    HalLog::Print(0, "-v <level>        = Run in a verbose mode. Defaults to 0 (no logging).");
    HalLog::Print(0, "-V                = Show version information.");
}

void SetVerbosity(const char* text) {
    const long level = std::strtol(text, nullptr, 10);
    VeltrixErrorLog::gVerbosity =
        static_cast<int>(std::clamp(level, 0L, static_cast<long>(std::numeric_limits<int>::max())));
    HalLog::Print(1, "Running with verbosity level {}.", VeltrixErrorLog::gVerbosity);
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, char* const argv[], CommandLineSettings& settings) {
    settings.busSocket = RootedPath(BusClient::kDefaultSocket);
    settings.uart = RootedPath(kDefaultUart);
    settings.identityFile = RootedPath(kDefaultIdentityFile);
    for (int option = 0; (option = ::getopt(argc, argv, kOptions)) != -1;) {
        switch (option) {
            // The capitals are not in the option string, so getopt reports them as unknown today; whoever adds them
            // there gets them as synonyms.
            case 's':
            case 'S':
                settings.busSocket = optarg;
                break;
            case 'u':
                settings.uart = optarg;
                break;
            case 'p':
            case 'P':
                settings.pidFile = optarg;
                HalLog::Print(0, "Generating PID file {}.", DisplayPath(settings.pidFile));
                break;
            case 'i':
                settings.identityFile = optarg;
                break;
            case 'f':
            case 'F':
                settings.isForeground = true;
                HalLog::Print(0, "Running in the foreground");
                break;
            case 't':
                settings.isTestMode = true;
                HalLog::Print(0, "Running in test-mode (DEBUG)");
                break;
            case 'v':
                SetVerbosity(optarg);
                break;
            case 'V':
                PrintVersion();
                return EXIT_SUCCESS;
            case '?':
                PrintHelp();
                return EXIT_SUCCESS;
            default:
                PrintHelp();
                return -1;
        }
    }
    return std::nullopt;
}
