#include "libVeltrix/src/LibraryLog.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <fmt/format.h>
#include <spdlog/logger.h>

#include <exception>
#include <iterator>

namespace VeltrixDetail {

void LogFormatted(bool isWarning, fmt::string_view format, fmt::format_args args) noexcept {
    try {
        if (const auto& logger = VeltrixErrorLog::gRotatingLogger) {
            fmt::memory_buffer text;
            fmt::vformat_to(std::back_inserter(text), format, args);
            logger->log(isWarning ? spdlog::level::warn : spdlog::level::info,
                        spdlog::string_view_t(text.data(), text.size()));
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): out of memory
    }
}

}  // namespace VeltrixDetail
