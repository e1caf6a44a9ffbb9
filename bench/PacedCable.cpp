#include "bench/PacedCable.h"

#include "CarrierSimulator/LinePacer.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

PacedCable::End PacedCable::OpenEnd(std::string& path) {
    End end;
    end.master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 128> name{};
    if (end.master < 0 || ::grantpt(end.master) != 0 || ::unlockpt(end.master) != 0 ||
        ::ptsname_r(end.master, name.data(), name.size()) != 0) {
        throw std::runtime_error("no pseudo terminal");
    }
    path = name.data();
    end.heldSlave = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (end.heldSlave < 0 || ::tcgetattr(end.heldSlave, &settings) != 0) {
        throw std::runtime_error("the pseudo terminal cannot be opened");
    }
    ::cfmakeraw(&settings);
    if (::tcsetattr(end.heldSlave, TCSANOW, &settings) != 0) {
        throw std::runtime_error("the pseudo terminal cannot be set up");
    }
    return end;
}

PacedCable::PacedCable(unsigned int baud) : mLeft(OpenEnd(mLeftPath)), mRight(OpenEnd(mRightPath)) {
    if (::pipe2(mStopPipe, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    mLeftToRight = std::thread([this, baud] { Carry(mLeft.master, mRight.master, baud); });
    mRightToLeft = std::thread([this, baud] { Carry(mRight.master, mLeft.master, baud); });
}

PacedCable::~PacedCable() {
    ::close(mStopPipe[1]);
    mLeftToRight.join();
    mRightToLeft.join();
    for (const int descriptor : {mStopPipe[0], mLeft.master, mLeft.heldSlave, mRight.master, mRight.heldSlave}) {
        ::close(descriptor);
    }
}

// A few bytes at a time, each lot handed on when its last byte would be through.
void PacedCable::Carry(int from, int to, unsigned int baud) const {
    simulator::LinePacer pacer(baud);
    std::array<unsigned char, 16> bytes{};
    while (true) {
        pollfd polled[2] = {{from, POLLIN, 0}, {mStopPipe[0], POLLIN, 0}};
        if (::poll(polled, 2, -1) < 0 || polled[1].revents != 0) {
            return;
        }
        const ssize_t count = ::read(from, bytes.data(), bytes.size());
        if (count <= 0) {
            return;
        }
        pacer.Occupy(simulator::Clock::now(), static_cast<std::size_t>(count));
        if (pacer.IsPaced()) {
            std::this_thread::sleep_until(pacer.FreeAt());
        }
        if (::write(to, bytes.data(), static_cast<std::size_t>(count)) != count) {
            return;
        }
    }
}
