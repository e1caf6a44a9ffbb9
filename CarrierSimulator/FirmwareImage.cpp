#include "CarrierSimulator/FirmwareImage.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <random>
#include <system_error>

namespace simulator {
namespace {

constexpr std::size_t kTrailerSize = 4;

constexpr std::array<uint32_t, 256> MakeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t index = 0; index < table.size(); ++index) {
        uint32_t crc = index;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xEDB88320U : crc >> 1U;
        }
        table[index] = crc;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kCrcTable = MakeCrcTable();

}  // namespace

// By table: the carrier answers the end of a file of megabytes well within the module's 200 ms.
uint32_t Crc32(std::span<const uint8_t> data) {
    uint32_t crc = 0xFFFFFFFFU;
    for (const uint8_t byte : data) {
        crc = kCrcTable[(crc ^ byte) & 0xFFU] ^ (crc >> 8U);
    }
    return crc ^ 0xFFFFFFFFU;
}

bool HasGoodTrailer(std::span<const uint8_t> image) {
    if (image.size() < kTrailerSize) {
        return false;
    }
    const std::span<const uint8_t> trailer = image.last(kTrailerSize);
    const uint32_t stored =
        trailer[0] | uint32_t{trailer[1]} << 8U | uint32_t{trailer[2]} << 16U | uint32_t{trailer[3]} << 24U;
    return stored == Crc32(image.first(image.size() - kTrailerSize));
}

Bytes MakeImage(std::size_t size, uint64_t seed) {
    std::mt19937_64 engine(seed);
    Bytes image(size);
    for (uint8_t& byte : image) {
        byte = static_cast<uint8_t>(engine() & 0xFFU);
    }
    if (size >= kTrailerSize) {
        const uint32_t crc = Crc32(std::span<const uint8_t>(image).first(size - kTrailerSize));
        for (std::size_t index = 0; index < kTrailerSize; ++index) {
            image[size - kTrailerSize + index] = static_cast<uint8_t>(crc >> (8 * index) & 0xFFU);
        }
    }
    return image;
}

std::string WriteImageFile(const std::string& path, std::size_t size, uint64_t seed) {
    const Bytes image = MakeImage(size, seed);
    const auto failure = [&path](const char* what) {
        return std::string("Cannot ") + what + " " + path + ": " + std::generic_category().message(errno);
    };
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file) {
        return failure("open");
    }
    if (std::fwrite(image.data(), 1, image.size(), file.get()) != image.size()) {
        return failure("write");
    }
    return std::fclose(file.release()) == 0 ? std::string() : failure("write");
}

}  // namespace simulator
