#include "tests/e2e/Harness/LineSource.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kPause{5};

}  // namespace

bool IsLine(std::string_view line, std::string_view wanted) {
    const std::size_t gap = wanted.find("{}");
    if (gap == std::string_view::npos) {
        return line == wanted;
    }
    if (line.substr(0, gap) != wanted.substr(0, gap)) {
        return false;
    }
    const std::string_view rest = wanted.substr(gap + 2);
    for (std::size_t at = gap; at <= line.size(); ++at) {
        if (IsLine(line.substr(at), rest)) {
            return true;
        }
    }
    return false;
}

std::size_t LineSource::Count(std::string_view wanted, std::size_t from) const {
    const std::vector<std::string> lines = Lines();
    std::size_t count = 0;
    for (std::size_t i = from; i < lines.size(); ++i) {
        count += IsLine(lines[i], wanted) ? 1U : 0U;
    }
    return count;
}

void LineSource::Await(std::string_view wanted, std::size_t from, std::size_t count,
                       std::chrono::milliseconds limit) const {
    const auto giveUpAt = std::chrono::steady_clock::now() + limit;
    while (Count(wanted, from) < count) {
        if (std::chrono::steady_clock::now() >= giveUpAt) {
            throw std::runtime_error("not in the " + mName + ": " + std::string(wanted));
        }
        std::this_thread::sleep_for(kPause);
    }
}

void LineSource::AwaitInOrder(const std::vector<std::string>& wanted, std::size_t from) const {
    const auto giveUpAt = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        const std::vector<std::string> lines = Lines();
        auto missing = wanted.begin();
        for (std::size_t i = from; i < lines.size() && missing != wanted.end(); ++i) {
            missing += IsLine(lines[i], *missing) ? 1 : 0;
        }
        if (missing == wanted.end()) {
            return;
        }
        if (std::chrono::steady_clock::now() >= giveUpAt) {
            throw std::runtime_error("not in the " + mName + ", or not in this order: " + *missing);
        }
        std::this_thread::sleep_for(kPause);
    }
}
