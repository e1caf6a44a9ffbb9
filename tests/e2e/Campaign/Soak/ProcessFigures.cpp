#include "tests/e2e/Campaign/Soak/ProcessFigures.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>

namespace {

constexpr int kFieldsBeforeUserTime = 11;  // behind the name, which may hold blanks

std::size_t CountEntries(const std::string& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.path().empty() ? 0U : 1U;
    }
    return count;
}

double CpuSeconds(const std::string& folder) {
    std::ifstream file(folder + "/stat");
    file.ignore(std::numeric_limits<std::streamsize>::max(), ')');
    std::string skipped;
    for (int i = 0; i < kFieldsBeforeUserTime; ++i) {
        file >> skipped;
    }
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::size_t ResidentKiB(const std::string& folder) {
    std::ifstream file(folder + "/status");
    for (std::string word; file >> word;) {
        if (std::size_t size = 0; word == "VmRSS:" && file >> size) {
            return size;
        }
    }
    return 0;
}

}  // namespace

std::optional<ProcessFigures> FiguresOf(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    try {
        ProcessFigures figures;
        figures.cpuSeconds = CpuSeconds(folder);
        figures.residentKiB = ResidentKiB(folder);
        figures.descriptors = CountEntries(folder + "/fd");
        figures.threads = CountEntries(folder + "/task");
        if (figures.residentKiB == 0) {
            return std::nullopt;  // ended, though not yet waited for
        }
        return figures;
    } catch (const std::filesystem::filesystem_error&) {
        return std::nullopt;
    }
}
