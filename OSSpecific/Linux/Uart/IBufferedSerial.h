#pragma once

#include <cstdint>

// A port for bytes. Reading and writing may go on at the same time on two threads; each on one thread at a time.
class IBufferedSerial {
public:
    // True when a byte was received and stored in `byte`.
    virtual bool ReadByte(std::uint8_t& byte) = 0;

    // Hands `length` bytes to the port; what it does not take is lost.
    virtual void WriteBytes(const std::uint8_t* data, std::uint16_t length) = 0;

    virtual ~IBufferedSerial() = default;

protected:
    IBufferedSerial() = default;
    IBufferedSerial(const IBufferedSerial&) = default;
    IBufferedSerial& operator=(const IBufferedSerial&) = default;
};
