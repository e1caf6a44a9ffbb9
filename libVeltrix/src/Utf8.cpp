#include "libVeltrix/src/Utf8.h"

#include <cstdint>

namespace VeltrixDetail {
namespace {

// What may follow a first byte: how many bytes in all, and the bounds of the second one, which keep out overlong forms,
// surrogates and what lies above U+10FFFF. All later bytes are 80..BF.
struct Lead {
    std::uint8_t first;
    std::uint8_t last;
    std::uint8_t length;
    std::uint8_t secondFrom;
    std::uint8_t secondTo;
};

constexpr Lead kLeads[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

bool Fits(const Lead& lead, std::string_view text, std::size_t at) {
    if (lead.length > text.size() - at) {
        return false;
    }
    for (std::size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<std::uint8_t>(text[at + i]);
        const std::uint8_t from = i == 1 ? lead.secondFrom : 0x80;
        const std::uint8_t to = i == 1 ? lead.secondTo : 0xBF;
        if (byte < from || byte > to) {
            return false;
        }
    }
    return true;
}

// Length in bytes of the character that begins at `at`; 0 when no well-formed one does.
std::size_t CharacterLength(std::string_view text, std::size_t at) {
    const auto byte = static_cast<std::uint8_t>(text[at]);
    for (const Lead& lead : kLeads) {
        if (byte >= lead.first && byte <= lead.last) {
            return Fits(lead, text, at) ? lead.length : 0;
        }
    }
    return 0;
}

}  // namespace

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = CharacterLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string ToUtf8(std::string_view text) {
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string good;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = CharacterLength(text, at);
        good += length == 0 ? kReplacement : text.substr(at, length);
        at += length == 0 ? 1 : length;
    }
    return good;
}

}  // namespace VeltrixDetail
