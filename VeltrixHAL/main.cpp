// The process's start-up list and its end.
#include "Common/Helper/ErrorText.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Helper/SteadyTime.h"
#include "Common/Logging/HalLog.h"
#include "OSSpecific/Linux/Uart/LinuxSerial.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/CommandLine.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/Identity.h"
#include "VeltrixHAL/MainLoop.h"
#include "VeltrixHAL/ServiceStart.h"
#include "VeltrixHAL/Threads.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>
#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

constexpr const char* kLoggerName = "HAL";
constexpr int kExitNoBus = -107;
constexpr std::uint32_t kUartSettleUs = 3'000'000;

void intHandler(int /*signal*/) {
    gKeepRunning = false;
}

// The parent's part ends here; a process that cannot fork ends likewise.
void GoIntoBackground() {
    const pid_t child = ::fork();
    if (child != 0) {
        std::exit(EXIT_SUCCESS);
    }
}

void WritePidFile(const std::string& name) {
    if (std::ofstream file(name, std::ios::trunc); file.is_open()) {
        file << ::getpid();
    }
}

void ReadIdentity(const std::string& identityFile, HALInfo& halInfo) {
    GetIdentityData(identityFile, halInfo);  // the process goes on with whatever was there
    const std::string shownFile = DisplayPath(identityFile);
    HalLog::Print(0, "Got identity {} ({}) from {}", halInfo.get_serialNumber(), halInfo.get_machineType(), shownFile);
    HalLog::Info("Got identity - serial: {}. machine_type : {} from {}", halInfo.get_serialNumber(),
                 halInfo.get_machineType(), shownFile);
}

bool ConnectToBus(EventClient& client, const std::string& socket) {
    BusClient::SetSocket(socket);
    const std::string shownSocket = DisplayPath(socket);
    if (const int result = client.Connect(socket); result != 0) {
        const std::string reason = ErrorText(-result);
        HalLog::PrintError(result, "Could not connect to the server at {}.\n{}", shownSocket, reason);
        HalLog::Critical("Could not connect to the server at {}. {}", shownSocket, reason);
        return false;
    }
    HalLog::Info("Connected to internal server at {}", shownSocket);
    return true;
}

TYPEDEF_Struct_uartConfig CarrierUartConfig() {
    TYPEDEF_Struct_uartConfig config{};
    config.accessOpt = NonBlockRdWr;
    config.baudrate = B115200;
    config.wordFormat = Format_8N1;
    config.flowCntl = NoFlowControl;
    config.readMode = RawMode;
    config.VTIME_user = 1;
    config.VMIN_user = 32;
    return config;
}

void InstallSignalHandlers() {
    struct sigaction action {};
    action.sa_handler = intHandler;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGHUP, SIGTERM}) {
        if (::sigaction(signal, &action, nullptr) != 0) {
            HalLog::Error("Could not install the handler of signal {}. {}", signal, ErrorText(errno));
        }
    }
}

// Ends the process while its other threads still run: whatever they may touch is never destroyed.
[[noreturn]] void ShutDown(EventClient& client) {
    HalLog::Print(1, "VeltrixHAL shutting down");
    HalLog::Info("HAL shutting down");
    HalLog::Flush();
    spdlog::drop(kLoggerName);
    client.Disconnect();
    HalLog::Print(0, "HAL is down");
    std::exit(EXIT_SUCCESS);
}

}  // namespace

int main(int argc, char* argv[]) {
    // Whoever reads the console may go away, and so may the broker.
    if (std::signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
        std::perror("VeltrixHAL");
    }

    CommandLineSettings settings;
    if (const auto exitStatus = ParseCommandLine(argc, argv, settings)) {
        return *exitStatus;
    }
    if (!settings.isTestMode && !settings.isForeground) {
        GoIntoBackground();
    }
    if (!settings.pidFile.empty()) {
        WritePidFile(settings.pidFile);
    }
    VeltrixErrorLog::initLogger(kLoggerName);
    HalLog::Info("HAL booting up...");

    HALInfo halInfo;
    ReadIdentity(settings.identityFile, halInfo);

    EventClient client("VeltrixHAL");
    if (!ConnectToBus(client, settings.busSocket)) {
        return kExitNoBus;
    }

    LinuxSerial serial(settings.uart, CarrierUartConfig());
    // 0.7 MiB of packets and buffers: too much for some systems' stacks, and it lives until the process has ended.
    auto& carrier = *new CarrierCommInterface(serial, client);
    HalLog::Print(0, "Wait a few moments before using UART");
    SleepMicroseconds(kUartSettleUs);

    InstallSignalHandlers();
    if (!StartCheckInThread(client)) {
        std::exit(EXIT_FAILURE);
    }
    HALStatus halStatus;
    StartService(client, carrier, halInfo, halStatus);
    if (!StartProcessingThread(carrier)) {
        std::exit(EXIT_FAILURE);
    }

    MainLoop(client, carrier, halStatus).Run();
    ShutDown(client);
}
