// Waiting for what other threads and processes do.
#pragma once

#include <chrono>
#include <thread>

// Asks the predicate about every millisecond until it says true, for at most `limit`; returns what it said last.
template <typename Predicate>
bool WaitUntil(Predicate predicate, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto giveUpAt = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= giveUpAt) {
            return predicate();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
