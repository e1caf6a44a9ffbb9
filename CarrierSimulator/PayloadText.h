#pragma once

#include <string>

#include "CarrierSimulator/FrameLog.h"

namespace simulator {

// What a good frame's payload means, in words; empty where there is nothing to say. "Busy", "phase 2 (application is
// being sent)", "until 2025-03-07T08:05:09.000Z, console on, shell off", "\"531726R\"".
std::string PayloadMeaning(const FrameRecord& record);

// One line without a newline: direction, command name or what is wrong, length, bytes and meaning of the payload.
std::string FrameText(const FrameRecord& record);

}  // namespace simulator
