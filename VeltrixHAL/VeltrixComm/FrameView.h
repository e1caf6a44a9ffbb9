// Reading a whole frame: byte 0 is the start byte.
#pragma once

#include "VeltrixHAL/VeltrixComm/CommCommands.h"

#include <cstdint>

namespace FrameView {

constexpr int kPayloadOffset = 6;

inline CommCommands_t Command(const std::uint8_t* frame) {
    return static_cast<CommCommands_t>(frame[1]);
}

inline std::uint16_t PayloadLength(const std::uint8_t* frame) {
    return static_cast<std::uint16_t>(frame[2] | (frame[3] << 8));
}

inline const std::uint8_t* Payload(const std::uint8_t* frame) {
    return frame + kPayloadOffset;
}

// The reason in a Nack; one without a payload counts as an unknown command.
inline std::uint8_t NackCode(const std::uint8_t* frame) {
    return PayloadLength(frame) > 0 ? frame[kPayloadOffset] : std::uint8_t{MsgNack_UnknownCommand};
}

}  // namespace FrameView
