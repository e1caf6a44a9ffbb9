#include "tests/unit/VeltrixHAL/Carrier/LogWatch.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <mutex>
#include <utility>

namespace {

class Sink : public spdlog::sinks::base_sink<std::mutex> {
public:
    explicit Sink(std::function<void(const std::string& text)> action) : mAction(std::move(action)) {}

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        mAction(std::string(message.payload.data(), message.payload.size()));
    }
    void flush_() override {}

private:
    const std::function<void(const std::string& text)> mAction;
};

}  // namespace

struct LogWatch::LogBefore {
    std::shared_ptr<spdlog::logger> logger = VeltrixErrorLog::gRotatingLogger;
};

LogWatch::LogWatch(std::function<void(const std::string& text)> action) : mBefore(std::make_unique<LogBefore>()) {
    VeltrixErrorLog::gRotatingLogger =
        std::make_shared<spdlog::logger>("watch", std::make_shared<Sink>(std::move(action)));
}

LogWatch::~LogWatch() {
    VeltrixErrorLog::gRotatingLogger = mBefore->logger;
}
