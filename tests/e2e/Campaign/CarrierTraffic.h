// What the carrier of a busy machine says on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "CarrierSimulator/Carrier.h"
#include "tests/e2e/Campaign/Chance.h"

// Commands by seed. No error message and no comms test is like another one, so that each can be told from all others
// wherever it turns up.
class CarrierTraffic {
public:
    CarrierTraffic(simulator::Carrier& carrier, std::uint64_t seed)
        : mCarrier(carrier), mChance(seed), mName("E" + std::to_string(seed) + "-") {}

    // Few at a time: they wait in the carrier for their turn.
    bool HasRoom() const { return mOpen.size() < kMostOpen; }
    void SendOne();
    // Counts what has come to its end.
    void Settle();
    bool AreAllOver() const { return mOpen.empty(); }

    std::size_t Errors() const { return mErrors; }
    std::size_t ErrorsAcknowledged() const { return mErrorsAcknowledged; }
    std::size_t Sent() const { return mSent; }
    std::size_t Acknowledged() const { return mAcknowledged; }

private:
    static constexpr std::size_t kMostOpen = 4;

    std::uint64_t SendError();
    std::uint64_t SendCommsTest();

    simulator::Carrier& mCarrier;
    Chance mChance;
    std::string mName;
    std::deque<std::uint64_t> mOpen;
    std::size_t mErrors = 0;
    std::size_t mErrorsAcknowledged = 0;
    std::size_t mSent = 0;
    std::size_t mAcknowledged = 0;
};
