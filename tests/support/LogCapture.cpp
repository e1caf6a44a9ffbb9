#include "tests/support/LogCapture.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <mutex>
#include <ostream>
#include <utility>

namespace {

LogLevel FromSpdlog(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::info:
            return LogLevel::Information;
        case spdlog::level::warn:
            return LogLevel::Warning;
        case spdlog::level::err:
            return LogLevel::Error;
        case spdlog::level::critical:
            return LogLevel::Critical;
        default:
            return LogLevel::Other;
    }
}

const char* NameOf(LogLevel level) {
    switch (level) {
        case LogLevel::Information:
            return "info";
        case LogLevel::Warning:
            return "warning";
        case LogLevel::Error:
            return "error";
        case LogLevel::Critical:
            return "critical";
        case LogLevel::Other:
            break;
    }
    return "other";
}

class Sink : public spdlog::sinks::base_sink<std::mutex> {
public:
    std::vector<LogLine> Take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(mLines, {});
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        mLines.push_back({FromSpdlog(message.level), std::string(message.payload.data(), message.payload.size())});
    }
    void flush_() override {}

private:
    std::vector<LogLine> mLines;
};

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << '[' << NameOf(line.level) << "] " << line.text;
}

LogLine Information(std::string text) {
    return {LogLevel::Information, std::move(text)};
}

LogLine Warning(std::string text) {
    return {LogLevel::Warning, std::move(text)};
}

LogLine Error(std::string text) {
    return {LogLevel::Error, std::move(text)};
}

LogLine Critical(std::string text) {
    return {LogLevel::Critical, std::move(text)};
}

struct LogCapture::Loggers {
    std::shared_ptr<Sink> sink = std::make_shared<Sink>();
    std::shared_ptr<spdlog::logger> before = VeltrixErrorLog::gRotatingLogger;
};

LogCapture::LogCapture() : mLoggers(std::make_unique<Loggers>()) {
    VeltrixErrorLog::gRotatingLogger = std::make_shared<spdlog::logger>("capture", mLoggers->sink);
}

LogCapture::~LogCapture() {
    VeltrixErrorLog::gRotatingLogger = mLoggers->before;
}

std::vector<LogLine> LogCapture::Take() {
    return mLoggers->sink->Take();
}
