// Shows each line to an action while it is being logged, on the thread that logs it, in the place of any other log.
#pragma once

#include <functional>
#include <memory>
#include <string>

class LogWatch {
public:
    // The action must not log.
    explicit LogWatch(std::function<void(const std::string& text)> action);
    ~LogWatch();
    LogWatch(const LogWatch&) = delete;
    LogWatch& operator=(const LogWatch&) = delete;

private:
    struct LogBefore;

    std::unique_ptr<LogBefore> mBefore;
};
