// An input read from its start; past its end everything is zero and empty.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace Fuzz {

class ByteSource {
public:
    ByteSource(const std::uint8_t* data, std::size_t size) : mRest(data, size) {}

    bool IsEmpty() const { return mRest.empty(); }

    std::uint8_t Byte() {
        if (mRest.empty()) {
            return 0;
        }
        const std::uint8_t byte = mRest.front();
        mRest = mRest.subspan(1);
        return byte;
    }

    bool Flag() { return (Byte() & 1U) != 0; }

    // Low byte first.
    std::uint64_t Number(unsigned int bytes) {
        std::uint64_t number = 0;
        for (unsigned int i = 0; i < bytes; ++i) {
            number |= std::uint64_t{Byte()} << (8 * i);
        }
        return number;
    }

    std::uint16_t Word() { return static_cast<std::uint16_t>(Number(2)); }

    // Up to `count` bytes.
    std::span<const std::uint8_t> Bytes(std::size_t count) {
        const auto bytes = mRest.first(std::min(count, mRest.size()));
        mRest = mRest.subspan(bytes.size());
        return bytes;
    }

    std::span<const std::uint8_t> Rest() { return Bytes(mRest.size()); }

    // What stands before the next `separator`, which is taken too, or the rest.
    std::string TextUntil(std::uint8_t separator) {
        const auto end = std::find(mRest.begin(), mRest.end(), separator);
        const std::string text = ToText(Bytes(static_cast<std::size_t>(end - mRest.begin())));
        Byte();
        return text;
    }

    std::string Text(std::size_t count) { return ToText(Bytes(count)); }
    std::string RestText() { return ToText(Rest()); }

    template <typename T, std::size_t size>
    const T& Pick(const std::array<T, size>& table) {
        return table[Byte() % size];
    }

private:
    static std::string ToText(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

    std::span<const std::uint8_t> mRest;
};

}  // namespace Fuzz
