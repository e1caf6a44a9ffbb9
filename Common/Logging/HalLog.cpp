#include "Common/Logging/HalLog.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <fmt/format.h>
#include <spdlog/logger.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <iterator>

namespace HalLog {
namespace {

// Straight to the descriptor: nothing is buffered that a fork could double or an exit with live threads could lose.
void WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return;  // nobody is left to be told that the console is gone
        }
    }
}

spdlog::level::level_enum ToSpdlog(Level level) {
    switch (level) {
        case Level::Information:
            return spdlog::level::info;
        case Level::Warning:
            return spdlog::level::warn;
        case Level::Error:
            return spdlog::level::err;
        case Level::Critical:
            break;
    }
    return spdlog::level::critical;
}

std::string_view View(const fmt::memory_buffer& buffer) {
    return {buffer.data(), buffer.size()};
}

}  // namespace

namespace Detail {

void Log(Level level, Where where, fmt::string_view format, fmt::format_args args) {
    fmt::memory_buffer buffer;
    if (const auto& logger = VeltrixErrorLog::gRotatingLogger; logger != nullptr) {
        fmt::vformat_to(std::back_inserter(buffer), format, args);
        logger->log(ToSpdlog(level), spdlog::string_view_t(buffer.data(), buffer.size()));
        return;
    }
    if (level == Level::Information) {
        return;
    }
    fmt::format_to(std::back_inserter(buffer), "Rotating logger is nullptr - level: {} - logged at {}:{}\n",
                   static_cast<int>(level), where.file, where.line);
    WriteAll(STDOUT_FILENO, View(buffer));
}

void PrintAlways(fmt::string_view format, fmt::format_args args) {
    fmt::memory_buffer buffer;
    fmt::vformat_to(std::back_inserter(buffer), format, args);
    buffer.push_back('\n');
    WriteAll(STDOUT_FILENO, View(buffer));
}

void PrintError(Where where, std::string_view shape, long code, fmt::string_view format, fmt::format_args args) {
    fmt::memory_buffer buffer;
    fmt::format_to(std::back_inserter(buffer), fmt::runtime(shape), code, where.file, where.line);
    fmt::vformat_to(std::back_inserter(buffer), format, args);
    buffer.push_back('\n');
    WriteAll(STDERR_FILENO, View(buffer));
}

}  // namespace Detail

bool IsVerbose(int verbosity) {
    return VeltrixErrorLog::gVerbosity >= verbosity;
}

void PrintRaw(std::string_view text) {
    WriteAll(STDOUT_FILENO, text);
}

void PrintErrorRaw(std::string_view text) {
    WriteAll(STDERR_FILENO, text);
}

void Flush() {
    if (const auto& logger = VeltrixErrorLog::gRotatingLogger; logger != nullptr) {
        logger->flush();
    }
}

}  // namespace HalLog
