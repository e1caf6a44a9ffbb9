// One input for the framer: a pool, cuts, and the bytes of the line. What the framer delivers and reports is compared
// with the reference decoder after every call; packets are counted after every call.
//
//   byte 0     bits 0 to 2: packets in the pool (7: six as well); bit 3: the payload CRC of a long frame is right; bit
//              4: the process is stopping; bit 5, where the pool is 7: the line begins with a long frame; bits 6 and 7:
//              packets that the reader keeps back
//   then       of a long frame three bytes: the length that it announces, low byte first, and its command; its header
//              is right, its payload a ramp
//   next       how many cuts follow, and so many bytes: the sizes of the pieces, again and again (0: an empty poll);
//              without cuts all comes at once
//   the rest   the bytes of the line
#pragma once

#include "fuzz/ReferenceDecoder.h"

#include <cstddef>
#include <cstdint>

void ExerciseFramer(const std::uint8_t* data, std::size_t size, ReferenceDecoder::Crc crc);
