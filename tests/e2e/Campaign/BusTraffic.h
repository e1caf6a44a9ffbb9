// What the other processes of a busy machine put on its bus.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "tests/e2e/Campaign/Chance.h"
#include "tests/support/BusProbe.h"

// Messages by seed, each with values of its own. Questions in between, which are answered in their turn, tell how far
// the process has come: no more is sent than it can follow.
class BusTraffic {
public:
    BusTraffic(const std::string& socket, std::uint64_t seed);

    // Whether the process has come far enough for more.
    bool HasRoom() const { return mAsked < kMostOpenQuestions || IsAnswered(mAsked + 1 - kMostOpenQuestions); }
    void SendOne();
    void Send(const std::string& topic, const std::string& payload) { mProbe.Publish(topic, payload); }

    // Puts a question behind everything that was sent, and gives its number.
    std::size_t Ask();
    bool IsAnswered(std::size_t question) const { return AwaitAnswer(question, std::chrono::milliseconds(0)); }
    bool AwaitAnswer(std::size_t question, std::chrono::milliseconds limit) const;

    std::size_t Sent() const { return mSent; }

private:
    static constexpr std::size_t kMostOpenQuestions = 2;

    BusProbe mProbe;
    Chance mChance;
    std::size_t mAsked = 0;
    std::size_t mSent = 0;
};
