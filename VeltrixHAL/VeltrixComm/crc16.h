// The CRC that guards a frame's header and its payload.
#pragma once

#include <cstdint>

// CRC-16/X-25 (reflected 0x1021, initial and final 0xFFFF) with its two bytes swapped, so that stored as a
// little-endian word it stands on the wire high byte first. "123456789" gives 0x6E90. A length of 0 gives 0 and does
// not touch the data.
std::uint16_t getCrc16(const std::uint8_t* data, std::uint16_t length);
