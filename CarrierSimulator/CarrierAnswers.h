#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "CarrierSimulator/CarrierClock.h"
#include "CarrierSimulator/CarrierFrame.h"
#include "CarrierSimulator/CarrierState.h"

namespace simulator {

// What the carrier answers: an Ack with a payload, or a Nack.
struct Answer {
    std::optional<uint8_t> nackCode;
    Bytes payload;
};

// Carries out one command of the module (all but those of the file transfer and the carrier's restart) and gives the
// answer. What the carrier does not know is answered with UnknownCommand, a payload of the wrong size with
// InvalidPayload.
Answer AnswerCommand(uint8_t command, std::span<const uint8_t> payload, CarrierState& state, CarrierClock& clock);

}  // namespace simulator
