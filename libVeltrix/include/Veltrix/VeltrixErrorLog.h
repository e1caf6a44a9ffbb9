// The process's rotating log file and its console verbosity.
#pragma once

#include <memory>
#include <string>

namespace spdlog {
class logger;
}

class VeltrixErrorLog {
public:
    VeltrixErrorLog() = delete;

    // Makes gRotatingLogger, registered with spdlog under `name`: "/Veltrix/log/<name>.log" below VELTRIX_ROOT,
    // 1 MiB a file and three old files, missing folders made, every message flushed to the file at once.
    // Where the file cannot be made the pointer stays null. Call once, before other threads start.
    static void initLogger(const std::string& name);

    // Null until initLogger has succeeded. The logger itself is thread-safe and never destroyed: threads may still
    // log while the process ends.
    static std::shared_ptr<spdlog::logger>& gRotatingLogger;

    // Console verbosity: 0 unless the process sets it. Set before other threads start.
    static int gVerbosity;
};
