#include "fuzz/IfconfigReader.h"

#include <algorithm>
#include <array>
#include <vector>

namespace IfconfigReader {
namespace {

constexpr std::array<std::string_view, 3> kNames = {"eth0", "eth1", "wlan0"};

struct Word {
    std::size_t begin;
    std::string_view text;
};

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::vector<Word> Words(std::string_view text) {
    std::vector<Word> words;
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || IsBlank(text[i])) {
            if (i != begin) {
                words.push_back({begin, text.substr(begin, i - begin)});
            }
            begin = i + 1;
        }
    }
    return words;
}

std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == '\n') {
            lines.push_back(text.substr(begin, i - begin));
            begin = i + 1;
        }
    }
    return lines;
}

bool Tells(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end()) != text.end();
}

bool TellsOfAny(std::string_view line) {
    return std::any_of(kNames.begin(), kNames.end(), [line](std::string_view name) { return Tells(line, name); });
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsMac(std::string_view text) {
    if (text.size() != 17) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isHex = IsDigit(text[i]) || (text[i] >= 'a' && text[i] <= 'f') || (text[i] >= 'A' && text[i] <= 'F');
        if (i % 3 == 2 ? text[i] != ':' : !isHex) {
            return false;
        }
    }
    return true;
}

bool IsDotted(std::string_view text) {
    const bool isOfDigits = std::all_of(text.begin(), text.end(), [](char c) { return IsDigit(c) || c == '.'; });
    return isOfDigits && text.size() >= 7 && text.size() <= 15 && std::count(text.begin(), text.end(), '.') == 3;
}

// The one word in which the label stands, or the end.
auto OnlyWordWith(const std::vector<Word>& words, std::string_view label) {
    const auto tells = [label](const Word& word) { return Tells(word.text, label); };
    const auto found = std::find_if(words.begin(), words.end(), tells);
    return std::count_if(words.begin(), words.end(), tells) == 1 ? found : words.end();
}

// A word, one blank, the next word.
bool AreNeighbours(const Word& one, const Word& next, std::string_view text) {
    const std::size_t end = one.begin + one.text.size();
    return next.begin == end + 1 && text[end] == ' ';
}

}  // namespace

Finding Mac(std::string_view text) {
    const std::vector<Word> words = Words(text);
    const auto label = OnlyWordWith(words, "HWaddr");
    if (label == words.end() || label->text != "HWaddr" || label + 1 == words.end()) {
        return std::nullopt;
    }
    const Word& address = label[1];
    return AreNeighbours(*label, address, text) && IsMac(address.text) ? Finding(address.text) : std::nullopt;
}

Finding AddressAndMask(std::string_view text) {
    const std::vector<Word> words = Words(text);
    const auto address = OnlyWordWith(words, "addr:");
    const auto mask = OnlyWordWith(words, "Mask:");
    if (address == words.end() || address == words.begin() || mask == words.end()) {
        return std::nullopt;
    }
    const Word& inet = address[-1];
    if (inet.text != "inet" || !AreNeighbours(inet, *address, text) || !address->text.starts_with("addr:") ||
        !mask->text.starts_with("Mask:")) {
        return std::nullopt;
    }
    const std::string_view first = address->text.substr(5);
    const std::string_view second = mask->text.substr(5);
    return IsDotted(first) && IsDotted(second) ? Finding(std::string(first) + "  " + std::string(second))
                                               : std::nullopt;
}

Finding Interface(std::string_view text, std::string_view name) {
    const std::vector<std::string_view> lines = Lines(text);
    const auto tells = [name](std::string_view line) { return Tells(line, name); };
    const auto line = std::find_if(lines.begin(), lines.end(), tells);
    if (std::count_if(lines.begin(), lines.end(), tells) != 1 || line + 1 == lines.end() || TellsOfAny(line[1]) ||
        (line != lines.begin() && TellsOfAny(line[-1])) ||
        std::count_if(kNames.begin(), kNames.end(), [&](std::string_view each) { return Tells(*line, each); }) != 1) {
        return std::nullopt;
    }
    const Finding mac = Mac(*line);
    const Finding addresses = AddressAndMask(line[1]);
    return mac && addresses ? Finding(*mac + "  " + *addresses) : std::nullopt;
}

Finding Release(std::string_view text) {
    const std::vector<std::string_view> lines = Lines(text);
    const auto line =
        std::find_if(lines.begin(), lines.end(), [](std::string_view each) { return Tells(each, "Yocto"); });
    if (line == lines.end()) {
        return std::nullopt;
    }
    std::size_t end = line->size();
    for (std::size_t i = 0; i + 1 < line->size(); ++i) {
        if ((*line)[i] == '-' && (*line)[i + 1] == 'r') {
            end = i;
        }
    }
    return std::string(line->substr(0, end));
}

Finding Mask(std::string_view prefixLength) {
    const std::string digits = Bare(prefixLength);
    if (digits.empty() || digits.size() > 2 || !std::all_of(digits.begin(), digits.end(), IsDigit)) {
        return std::nullopt;
    }
    const int bits = std::stoi(digits);
    if (bits > 32) {
        return std::nullopt;
    }
    std::string mask;
    for (int byte = 0; byte < 4; ++byte) {
        const int ones = std::clamp(bits - 8 * byte, 0, 8);
        mask += (byte == 0 ? "" : ".") + std::to_string(256 - (1 << (8 - ones)));
    }
    return mask;
}

std::string Bare(std::string_view text) {
    const auto begin = std::find_if_not(text.begin(), text.end(), IsBlank);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), IsBlank).base();
    return {begin, end};
}

}  // namespace IfconfigReader
