#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// CRC-32 as of Ethernet and zip files: "123456789" gives 0xCBF43926.
uint32_t Crc32(std::span<const uint8_t> data);

// True when the last four bytes are the CRC-32 of those before, low byte first.
bool HasGoodTrailer(std::span<const uint8_t> image);

// Random bytes of the whole `size`, of which the last four are a good trailer; below four bytes there is no room for
// one, and all are random. The same seed gives the same image.
Bytes MakeImage(std::size_t size, uint64_t seed);

// Writes such an image to a file. Empty on success, otherwise what failed.
std::string WriteImageFile(const std::string& path, std::size_t size, uint64_t seed);

}  // namespace simulator
