// The command line: what it sets, and what it prints.
#pragma once

#include <optional>
#include <string>

inline constexpr const char* kDefaultUart = "/dev/ttymxc3";

struct CommandLineSettings {
    std::string busSocket;      // -s
    std::string uart;           // -u
    std::string identityFile;   // -i
    std::string pidFile;        // -p; empty for none
    bool isForeground = false;  // -f
    bool isTestMode = false;    // -t; never goes into the background either
};

// Reads the options in their order into `settings`, whose files and socket start as the default ones below
// VELTRIX_ROOT, and the verbosity into VeltrixErrorLog::gVerbosity. Returns the exit status when the process has to end
// (version, help, unknown options), else nothing.
std::optional<int> ParseCommandLine(int argc, char* const argv[], CommandLineSettings& settings);
