// What the library has to say goes to the process's rotating log; without one it stays silent.
#pragma once

#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/spdlog.h>

#include <exception>
#include <utility>

namespace VeltrixDetail {

// Any thread. Never throws: a message that cannot be written is not worth a process.
template <typename... Args>
void LogWarning(fmt::format_string<Args...> format, Args&&... args) noexcept {
    try {
        if (VeltrixErrorLog::gRotatingLogger) {
            VeltrixErrorLog::gRotatingLogger->warn(format, std::forward<Args>(args)...);
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): out of memory
    }
}

template <typename... Args>
void LogInfo(fmt::format_string<Args...> format, Args&&... args) noexcept {
    try {
        if (VeltrixErrorLog::gRotatingLogger) {
            VeltrixErrorLog::gRotatingLogger->info(format, std::forward<Args>(args)...);
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): out of memory
    }
}

}  // namespace VeltrixDetail
