// Takes the place of the process's rotating log for the time of a test and keeps what is logged.
#pragma once

#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

struct LogLine {
    spdlog::level::level_enum level;
    std::string text;

    bool operator==(const LogLine&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << '[' << spdlog::level::to_string_view(line.level).data() << "] " << line.text;
}

inline LogLine Information(std::string text) {
    return {spdlog::level::info, std::move(text)};
}
inline LogLine Warning(std::string text) {
    return {spdlog::level::warn, std::move(text)};
}
inline LogLine Error(std::string text) {
    return {spdlog::level::err, std::move(text)};
}
inline LogLine Critical(std::string text) {
    return {spdlog::level::critical, std::move(text)};
}

class LogCapture {
public:
    LogCapture() : mSink(std::make_shared<Sink>()), mBefore(VeltrixErrorLog::gRotatingLogger) {
        VeltrixErrorLog::gRotatingLogger = std::make_shared<spdlog::logger>("capture", mSink);
    }
    ~LogCapture() { VeltrixErrorLog::gRotatingLogger = mBefore; }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // What was logged since the last call, oldest first. Any thread.
    std::vector<LogLine> Take() { return mSink->Take(); }

private:
    class Sink : public spdlog::sinks::base_sink<std::mutex> {
    public:
        std::vector<LogLine> Take() {
            const std::lock_guard<std::mutex> lock(mutex_);
            return std::exchange(mLines, {});
        }

    protected:
        void sink_it_(const spdlog::details::log_msg& message) override {
            mLines.push_back({message.level, std::string(message.payload.data(), message.payload.size())});
        }
        void flush_() override {}

    private:
        std::vector<LogLine> mLines;
    };

    std::shared_ptr<Sink> mSink;
    std::shared_ptr<spdlog::logger> mBefore;
};
