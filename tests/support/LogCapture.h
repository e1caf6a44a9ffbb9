// Takes the place of the process's rotating log for the time of a test and keeps what is logged.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

enum class LogLevel { Information, Warning, Error, Critical, Other };

struct LogLine {
    LogLevel level;
    std::string text;

    bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

LogLine Information(std::string text);
LogLine Warning(std::string text);
LogLine Error(std::string text);
LogLine Critical(std::string text);

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // What was logged since the last call, oldest first. Any thread.
    std::vector<LogLine> Take();

private:
    struct Loggers;

    std::unique_ptr<Loggers> mLoggers;
};
