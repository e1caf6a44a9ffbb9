// What the kernel says of a running process.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

struct ProcessFigures {
    double cpuSeconds = 0;  // user and system
    long residentKiB = 0;
    long peakKiB = 0;
    long readCalls = 0;
    long writeCalls = 0;
    long waits = 0;  // sleeps and other calls that gave the processor away, of all threads

    static ProcessFigures Of(pid_t pid) {
        const std::string folder = "/proc/" + std::to_string(pid) + "/";
        ProcessFigures figures;
        std::ifstream stat(folder + "stat");
        std::string text;
        std::getline(stat, text);
        // Behind the command's closing bracket stand the third field and the rest; 14 and 15 are the times.
        std::istringstream fields(text.substr(text.rfind(')') + 2));
        std::string field;
        for (int number = 3; fields >> field; ++number) {
            if (number == 14 || number == 15) {
                figures.cpuSeconds += std::stod(field) / static_cast<double>(::sysconf(_SC_CLK_TCK));
            }
        }
        const auto status = Table(folder + "status");
        figures.residentKiB = status.at("VmRSS:");
        figures.peakKiB = status.at("VmHWM:");
        const auto io = Table(folder + "io");
        figures.readCalls = io.at("syscr:");
        figures.writeCalls = io.at("syscw:");
        for (const auto& thread : std::filesystem::directory_iterator(folder + "task")) {
            figures.waits += Table(thread.path() / "status").at("voluntary_ctxt_switches:");
        }
        return figures;
    }

private:
    static std::map<std::string, long> Table(const std::string& file) {
        std::map<std::string, long> table;
        std::ifstream stream(file);
        for (std::string line; std::getline(stream, line);) {
            std::istringstream fields(line);
            std::string name;
            long value = 0;
            if (fields >> name >> value) {
                table[name] = value;
            }
        }
        return table;
    }
};
