#include "tests/simulator/ModuleEnd.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

using SteadyClock = std::chrono::steady_clock;

bool WaitFor(int descriptor, short what, std::chrono::milliseconds time) {
    pollfd state{descriptor, what, 0};
    return ::poll(&state, 1, static_cast<int>(std::max<int64_t>(0, time.count()))) > 0;
}

void AppendHex(std::string& text, uint8_t byte) {
    std::array<char, 8> digits{};
    std::snprintf(digits.data(), digits.size(), text.empty() ? "%02X" : " %02X", byte);
    text += digits.data();
}

int DigitOf(char character) {
    return character <= '9' ? character - '0' : (character | 0x20) - 'a' + 10;
}

}  // namespace

ModuleEnd::ModuleEnd(const std::string& path)
    : mDescriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {}

ModuleEnd::~ModuleEnd() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
    }
}

bool ModuleEnd::Write(std::string_view hex) {
    std::string digits(hex);
    std::erase(digits, ' ');
    std::vector<uint8_t> bytes;
    for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
        bytes.push_back(static_cast<uint8_t>(DigitOf(digits[index]) * 16 + DigitOf(digits[index + 1])));
    }
    return WriteBytes(bytes);
}

bool ModuleEnd::WriteBytes(const std::vector<uint8_t>& bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(mDescriptor, bytes.data() + written, bytes.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (!WaitFor(mDescriptor, POLLOUT, std::chrono::seconds(10))) {
            return false;
        }
    }
    return true;
}

std::string ModuleEnd::Read(std::size_t count, std::chrono::milliseconds timeout) {
    const auto end = SteadyClock::now() + timeout;
    std::string text;
    for (std::size_t got = 0; got < count;) {
        uint8_t byte = 0;
        if (::read(mDescriptor, &byte, 1) == 1) {
            AppendHex(text, byte);
            ++got;
            continue;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - SteadyClock::now());
        if (left.count() <= 0 || !WaitFor(mDescriptor, POLLIN, left)) {
            break;
        }
    }
    return text;
}

std::string ModuleEnd::ReadUntilQuiet(std::chrono::milliseconds quiet) {
    std::string text;
    while (WaitFor(mDescriptor, POLLIN, quiet)) {
        uint8_t byte = 0;
        if (::read(mDescriptor, &byte, 1) != 1) {
            break;
        }
        AppendHex(text, byte);
    }
    return text;
}

bool ModuleEnd::WaitForHangUp(std::chrono::milliseconds timeout) const {
    pollfd state{mDescriptor, 0, 0};
    return ::poll(&state, 1, static_cast<int>(timeout.count())) > 0 && (state.revents & POLLHUP) != 0;
}
