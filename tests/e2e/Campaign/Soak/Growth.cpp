#include "tests/e2e/Campaign/Soak/Growth.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kMinute{60'000};

struct Averages {
    std::size_t samples = 0;
    double residentKiB = 0;
    double descriptors = 0;
    double threads = 0;
    double cpuPercent = 0;
};

Averages Average(const std::vector<SoakSample>& all, milliseconds after, milliseconds upTo) {
    Averages averages;
    for (const SoakSample& sample : all) {
        if (sample.elapsed <= after || sample.elapsed > upTo) {
            continue;
        }
        ++averages.samples;
        averages.residentKiB += static_cast<double>(sample.process.residentKiB);
        averages.descriptors += static_cast<double>(sample.process.descriptors);
        averages.threads += static_cast<double>(sample.process.threads);
        averages.cpuPercent += sample.cpuPercent;
    }
    const auto count = static_cast<double>(std::max<std::size_t>(averages.samples, 1));
    averages.residentKiB /= count;
    averages.descriptors /= count;
    averages.threads /= count;
    averages.cpuPercent /= count;
    return averages;
}

std::string Change(const char* what, double first, double last, const char* unit) {
    return fmt::format("{} {:.1f} -> {:.1f}{} ({:+.1f})", what, first, last, unit, last - first);
}

}  // namespace

std::string GrowthText(const std::vector<SoakSample>& samples) {
    const milliseconds end = samples.empty() ? milliseconds{0} : samples.back().elapsed;
    const bool isLong = end >= 3 * kMinute;
    const milliseconds part = isLong ? kMinute : end / 4;
    const Averages first = Average(samples, part, 2 * part);
    const Averages last = Average(samples, end - part, end);
    if (first.samples == 0 || last.samples == 0) {
        return "growth: too short a run to tell";
    }
    return std::string("growth, ") +
           (isLong ? "last minute against the second: " : "last quarter against the second: ") +
           Change("resident", first.residentKiB, last.residentKiB, " KiB") + ", " +
           Change("fds", first.descriptors, last.descriptors, "") + ", " +
           Change("threads", first.threads, last.threads, "") + ", " +
           Change("CPU", first.cpuPercent, last.cpuPercent, " %");
}

std::optional<ProcessFigures> AfterWarmUp(const std::vector<SoakSample>& samples) {
    if (samples.empty()) {
        return std::nullopt;
    }
    const auto warm =
        std::find_if(samples.begin(), samples.end(), [](const auto& sample) { return sample.elapsed >= kMinute; });
    return (warm == samples.end() ? samples.front() : *warm).process;
}

std::string ForbiddenGrowth(const ProcessFigures& before, const ProcessFigures& after, bool isMemoryItsOwn) {
    std::string grown;
    const auto look = [&grown](const char* what, std::size_t first, std::size_t last, std::size_t most) {
        if (last > first + most) {
            grown += fmt::format("{}{} {} -> {}", grown.empty() ? "" : ", ", what, first, last);
        }
    };
    look("descriptors", before.descriptors, after.descriptors, 0);
    look("threads", before.threads, after.threads, 0);
    if (isMemoryItsOwn) {
        look("resident KiB", before.residentKiB, after.residentKiB, kMostGrowthKiB);
    }
    return grown;
}
