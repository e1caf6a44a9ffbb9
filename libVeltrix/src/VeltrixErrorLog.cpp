#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstddef>
#include <exception>
#include <filesystem>
#include <system_error>

#include "Common/Helper/RootedPath.h"

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

}  // namespace

constinit std::shared_ptr<spdlog::logger>& VeltrixErrorLog::gRotatingLogger = sImmortal.logger;
constinit int VeltrixErrorLog::gVerbosity = 0;

void VeltrixErrorLog::initLogger(const std::string& name) {
    // spdlog tells of every failure by an exception; whoever finds no logger goes on without one.
    try {
        const std::filesystem::path file = RootedPath("/Veltrix/log/" + name + ".log");
        std::error_code error;
        std::filesystem::create_directories(file.parent_path(), error);
        if (error) {
            return;
        }
        auto logger = spdlog::rotating_logger_mt(name, file.string(), kBytesPerFile, kOldFiles);
        logger->flush_on(spdlog::level::trace);
        gRotatingLogger = std::move(logger);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the null pointer tells it
    }
}
