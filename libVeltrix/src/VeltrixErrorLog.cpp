#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "libVeltrix/src/RootedPath.h"

namespace {

constexpr std::size_t kBytesPerFile = 1024 * 1024;
constexpr std::size_t kOldFiles = 3;

// Initialised before any code runs and never destroyed: other static objects and threads that outlive main may log.
union Immortal {
    constexpr Immortal() : logger() {}
    ~Immortal() {}  // NOLINT(modernize-use-equals-default): defaulted it would be deleted

    std::shared_ptr<spdlog::logger> logger;
};
constinit Immortal sImmortal;

// In place of spdlog's own report, which names files with the root's path and whose pauses go by the time of day. At
// most one a second: a disk that is full stays so for a while.
void ReportFailure(const std::string& text) {
    using Clock = std::chrono::steady_clock;
    static std::mutex sMutex;
    static Clock::time_point sNext = Clock::time_point::min();
    const std::lock_guard lock(sMutex);
    if (const auto now = Clock::now(); now >= sNext) {
        sNext = now + std::chrono::seconds(1);
        std::fprintf(stderr, "Could not write to the log: %s\n", VeltrixDetail::DisplayText(text).c_str());
    }
}

}  // namespace

constinit std::shared_ptr<spdlog::logger>& VeltrixErrorLog::gRotatingLogger = sImmortal.logger;
constinit int VeltrixErrorLog::gVerbosity = 0;

void VeltrixErrorLog::initLogger(const std::string& name) {
    // spdlog tells of every failure by an exception; whoever finds no logger goes on without one.
    try {
        const std::filesystem::path file = VeltrixDetail::RootedPath("/Veltrix/log/" + name + ".log");
        std::error_code error;
        std::filesystem::create_directories(file.parent_path(), error);
        if (error) {
            return;
        }
        auto logger = spdlog::rotating_logger_mt(name, file.string(), kBytesPerFile, kOldFiles);
        logger->flush_on(spdlog::level::trace);
        logger->set_error_handler(ReportFailure);
        gRotatingLogger = std::move(logger);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the null pointer tells it
    }
}
