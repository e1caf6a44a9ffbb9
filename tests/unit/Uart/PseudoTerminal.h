#pragma once

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

// A device to connect to, and its other end.
class PseudoTerminal {
public:
    PseudoTerminal() : mMaster(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        char path[128];
        if (mMaster < 0 || ::grantpt(mMaster) != 0 || ::unlockpt(mMaster) != 0 ||
            ::ptsname_r(mMaster, path, sizeof path) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        mPath = path;
    }
    ~PseudoTerminal() { ::close(mMaster); }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    const std::string& Path() const { return mPath; }
    int Master() const { return mMaster; }

    bool Send(std::string_view bytes) const {
        return ::write(mMaster, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }

    // So many bytes, or those that came until nothing more did.
    std::string Receive(std::size_t count) const {
        std::string bytes;
        while (bytes.size() < count && IsReadable(mMaster)) {
            char block[4096];
            const ssize_t got = ::read(mMaster, block, std::min(sizeof block, count - bytes.size()));
            if (got <= 0) {
                break;
            }
            bytes.append(block, static_cast<std::size_t>(got));
        }
        return bytes;
    }

    // Waits until there is something to read.
    static bool IsReadable(int descriptor, int patienceMs = 5000) {
        pollfd wanted{.fd = descriptor, .events = POLLIN, .revents = 0};
        return ::poll(&wanted, 1, patienceMs) == 1;
    }

private:
    int mMaster;
    std::string mPath;
};
