// The bus of a machine under test, seen from outside.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/e2e/Harness/LineSource.h"
#include "tests/support/BusProbe.h"

// Sees every message on the bus. A position is a number of messages: what a search skips at the beginning.
// Operations that wait throw std::runtime_error when what they wait for does not come.
class BusView {
public:
    using Predicate = std::function<bool(const std::string& payload)>;

    explicit BusView(const std::string& socket) : mProbe(socket) { mProbe.Subscribe("#"); }

    // Taken by the broker on return.
    void Publish(const std::string& topic, const std::string& payload) { mProbe.Publish(topic, payload); }
    // Returns without waiting for the broker; in order all the same.
    void PublishLater(const std::string& topic, const std::string& payload) { mProbe.PublishLater(topic, payload); }
    void PublishRetained(const std::string& topic, const std::string& payload) { mProbe.Publish(topic, payload, true); }

    std::size_t Position() const { return mProbe.Messages().size(); }
    std::vector<std::string> Payloads(const std::string& topic, std::size_t from = 0) const;
    std::size_t Count(const std::string& topic, std::size_t from = 0) const { return Payloads(topic, from).size(); }

    // The first payload on the topic that the predicate likes.
    std::string Await(const std::string& topic, std::size_t from = 0, const Predicate& isWanted = {},
                      std::chrono::milliseconds limit = kPatience) const;
    // Exactly that payload; each "{}" in it stands for any text.
    std::string AwaitPayload(const std::string& topic, const std::string& wanted, std::size_t from = 0) const;

    // "topic payload" per message, long payloads cut.
    std::string Trace() const;

private:
    BusProbe mProbe;
};
