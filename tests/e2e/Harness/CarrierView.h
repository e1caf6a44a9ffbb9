// What the module under test has put on the line, byte for byte.
#pragma once

#include <string>
#include <vector>

#include "CarrierSimulator/Carrier.h"
#include "tests/e2e/Harness/LineSource.h"

// Frames and broken pieces as text, "0A 01 00 00 7A AC". A position is a number of frames: what a search skips at the
// beginning. Operations that wait throw std::runtime_error when what they wait for does not come.
class CarrierView {
public:
    explicit CarrierView(const simulator::Carrier& carrier) : mCarrier(carrier) {}

    std::size_t Position() const { return mCarrier.ReceivedCount(); }
    std::vector<std::string> Frames(std::size_t from = 0) const;
    std::size_t Count(const std::string& frame, std::size_t from = 0) const;

    // Waits until so many have come, and returns all that have.
    std::vector<std::string> AwaitFrames(std::size_t count, std::size_t from = 0,
                                         std::chrono::milliseconds limit = kPatience) const;
    void AwaitFrame(const std::string& frame, std::size_t from = 0, std::size_t count = 1) const;

    // Both directions in the order of time, one frame per line, long ones cut.
    std::string Trace() const;

private:
    const simulator::Carrier& mCarrier;
};
