#include "tests/e2e/Harness/HalLogFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

namespace {

constexpr int kOldFiles = 3;
constexpr std::string_view kBeforeLevel = "] [HAL] ";

std::string WithoutTimeAndName(const std::string& line) {
    const std::size_t at = line.find(kBeforeLevel);
    return at == std::string::npos || line.front() != '[' ? line : line.substr(at + kBeforeLevel.size());
}

}  // namespace

std::string HalLogFile::Text() const {
    const std::filesystem::path path = mPath;
    std::string text;
    for (int age = kOldFiles; age >= 0; --age) {
        std::filesystem::path name = path;
        if (age > 0) {
            name.replace_filename(path.stem().string() + "." + std::to_string(age) + path.extension().string());
        }
        std::ifstream file(name, std::ios::binary);
        text.append(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return text;
}

std::vector<std::string> HalLogFile::Lines() const {
    std::vector<std::string> lines;
    const std::string text = Text();
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(WithoutTimeAndName(text.substr(start, end - start)));
    }
    return lines;
}
