// What the carrier wants kept, and what concerns the module's own power: its error log, power failures, reset requests
// and the question for an SD card.
#include "Common/Helper/DiskFile.h"
#include "Common/Helper/ErrorText.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"
#include "OSSpecific/Linux/System/Shell.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"
#include "VeltrixHAL/VeltrixComm/FrameView.h"

#include <dirent.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace {

constexpr const char* kCarrierLog = "/Veltrix/log/Carrier.log";
constexpr const char* kOldCarrierLog = "/Veltrix/log/Carrier.log.1";
constexpr std::uint32_t kLargestCarrierLog = 100'000;
constexpr const char* kMediaFolder = "/run/media/";

void RotateCarrierLog(const std::string& path) {
    if (DiskFile::Size(path) <= kLargestCarrierLog) {
        return;
    }
    if (std::rename(path.c_str(), RootedPath(kOldCarrierLog).c_str()) != 0) {
        HalLog::Warning("Unable to move {} aside. {}", kCarrierLog, ErrorText(errno));
    }
}

// Two-digit year and no leading zeros: the readers of this file know it so.
fmt::memory_buffer BeginningOfCarrierLogLine() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    fmt::memory_buffer text;
    fmt::format_to(fmt::appender(text), "({}-{}-{}T{}:{}:{}) - ", utc.tm_year - 100, utc.tm_mon + 1, utc.tm_mday,
                   utc.tm_hour, utc.tm_min, utc.tm_sec);
    return text;
}

// The message ends with the line's end. It may be large, and memory short: it is written from where it is.
void AppendToCarrierLog(std::string_view message) {
    const fmt::memory_buffer beginning = BeginningOfCarrierLogLine();
    const std::string path = RootedPath(kCarrierLog);
    RotateCarrierLog(path);
    DiskFile log;
    if (!log.OpenForAppending(path)) {
        HalLog::Error("Failed to open carrier log file");
        return;
    }
    if (const int error = log.Write({beginning.data(), beginning.size()}, message); error != 0) {
        HalLog::Error("Failed to write carrier log file. {}", ErrorText(error));
    }
}

void PublishPowerDown(const char* reason) {
    PowerDownStatus status;
    status.set_isPoweringDown(true);
    status.set_nameOfCaller("HAL");
    status.set_reasonForPowerdown(reason);
    BusClient::PublishOnce("power_down_status", status);
}

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

bool IsSdCardMounted() {
    const std::unique_ptr<DIR, CloseFolder> folder(::opendir(RootedPath(kMediaFolder).c_str()));
    if (folder == nullptr) {
        return false;
    }
    while (const dirent* const entry = ::readdir(folder.get())) {  // our own stream
        if (std::strstr(entry->d_name, "mmcblk") != nullptr) {
            return true;
        }
    }
    return false;
}

}  // namespace

void CarrierCommInterface::HandleRxError(const std::uint8_t* frame) {
    const std::uint16_t length = FrameView::PayloadLength(frame);
    const std::unique_ptr<char[]> message(new (std::nothrow) char[length + std::size_t{1}]);
    if (message == nullptr) {
        HalLog::Error("Error allocating memory for received carrier error");
        HalLog::Print(1, "Failed to save carrier error");
        SendCommand(CommCommands_Nack, 0, nullptr, kCommandTimeoutMs);
        return;
    }
    std::copy_n(FrameView::Payload(frame), length, message.get());
    const std::size_t size = ::strnlen(message.get(), length);  // a zero byte ends it early
    message[size] = '\n';
    AppendToCarrierLog({message.get(), size + 1});
    HalLog::Print(1, "Received Carrier error");
    SendAck();
}

void CarrierCommInterface::HandleRxPowerFail(const std::uint8_t* /*frame*/) {
    PublishPowerDown("Carrier indicated a power fail");
    SendAck();
}

void CarrierCommInterface::HandleResetCommand(const std::uint8_t* /*frame*/) {
    SendAck();
    HalLog::Warning("Received Reset Command from Carrier. Restarting system...");
    if (!RunShell("shutdown -r now &")) {
        HalLog::Print(0, "Failure issuing system shutdown/reset");
        HalLog::Warning("Failure issuing system shutdown/reset");
    }
    PublishPowerDown("Received a reset request from Carrier");
}

void CarrierCommInterface::HandleSDCardStatusCommand(const std::uint8_t* /*frame*/) {
    SendAck();
    const std::uint8_t payload = IsSdCardMounted() ? 1 : 0;
    SendCommand(CommCommands_SDCardStatus, 1, &payload, kCommandTimeoutMs);
}
