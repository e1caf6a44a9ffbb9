#include "VeltrixHAL/VeltrixComm/crc16.h"

std::uint16_t getCrc16(const std::uint8_t* data, std::uint16_t length) {
    if (length == 0) {
        return 0;
    }
    constexpr std::uint32_t kReflectedPolynomial = 0x8408;
    std::uint32_t crc = 0xFFFF;
    for (std::uint16_t i = 0; i < length; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            // All ones or all zeros instead of a branch that no predictor can learn.
            crc = (crc >> 1U) ^ (kReflectedPolynomial & (0U - (crc & 1U)));
        }
    }
    crc = ~crc & 0xFFFFU;
    return static_cast<std::uint16_t>((crc >> 8U) | (crc << 8U));
}
