// What the library has to say goes to the process's rotating log; without one it stays silent.
#pragma once

#include <fmt/core.h>

namespace VeltrixDetail {

void LogFormatted(bool isWarning, fmt::string_view format, fmt::format_args args) noexcept;

// Any thread. Never throw: a message that cannot be written is not worth a process.
template <typename... Args>
void LogWarning(fmt::format_string<Args...> format, const Args&... args) noexcept {
    LogFormatted(true, format, fmt::make_format_args(args...));
}

template <typename... Args>
void LogInfo(fmt::format_string<Args...> format, const Args&... args) noexcept {
    LogFormatted(false, format, fmt::make_format_args(args...));
}

}  // namespace VeltrixDetail
