#include "tests/e2e/Harness/BusView.h"

#include <stdexcept>

namespace {

constexpr std::size_t kLongestShown = 300;
constexpr std::size_t kMostShown = 200;

}  // namespace

std::vector<std::string> BusView::Payloads(const std::string& topic, std::size_t from) const {
    std::vector<std::string> payloads;
    const auto messages = mProbe.Messages();
    for (std::size_t i = from; i < messages.size(); ++i) {
        if (messages[i].topic == topic) {
            payloads.push_back(messages[i].payload);
        }
    }
    return payloads;
}

std::string BusView::Await(const std::string& topic, std::size_t from, const Predicate& isWanted,
                           std::chrono::milliseconds limit) const {
    const auto giveUpAt = std::chrono::steady_clock::now() + limit;
    while (true) {
        const std::size_t known = Count(topic);
        for (const std::string& payload : Payloads(topic, from)) {
            if (!isWanted || isWanted(payload)) {
                return payload;
            }
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(giveUpAt - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !mProbe.WaitFor(topic, known + 1, left)) {
            throw std::runtime_error("not on the bus: " + topic);
        }
    }
}

std::string BusView::AwaitPayload(const std::string& topic, const std::string& wanted, std::size_t from) const {
    try {
        return Await(topic, from, [&wanted](const std::string& payload) { return IsLine(payload, wanted); });
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(error.what() + (" " + wanted));
    }
}

std::string BusView::Trace() const {
    std::string text;
    const auto messages = mProbe.Messages();
    for (std::size_t i = messages.size() > kMostShown ? messages.size() - kMostShown : 0; i < messages.size(); ++i) {
        text += messages[i].topic + " " + messages[i].payload.substr(0, kLongestShown) + "\n";
    }
    return text;
}
