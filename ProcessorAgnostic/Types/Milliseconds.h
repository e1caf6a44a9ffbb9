#pragma once

#include <cstdint>

// A span of time, or a point on the steady clock, in milliseconds; points wrap after about 49.7 days.
using ms_t = std::uint32_t;
