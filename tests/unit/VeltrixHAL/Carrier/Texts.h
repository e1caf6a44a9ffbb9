// Frames and console output in a form that reads well in a test.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// "0A 01 00 00 7A AC"
inline std::string Hex(const std::vector<std::uint8_t>& bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

// Console output line by line, without the points that waiting for the carrier leaves in front of them.
inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        const std::string line = text.substr(at, end - at);
        lines.push_back(line.substr(std::min(line.find_first_not_of('.'), line.size())));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

inline std::vector<std::string> Repeat(const std::string& text, std::size_t count) {
    return std::vector<std::string>(count, text);
}
