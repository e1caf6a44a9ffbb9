#include "CarrierSimulator/CarrierLine.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>

namespace simulator {
namespace {

// While nobody has the pseudo terminal open, poll() reports the hang-up at once each time: look again this often.
constexpr Milliseconds kHangUpLook{3};

bool SetRaw(int descriptor) {
    termios settings{};
    if (::tcgetattr(descriptor, &settings) != 0) {
        return false;
    }
    ::cfmakeraw(&settings);
    settings.c_cflag &= ~tcflag_t{CSTOPB | CRTSCTS};
    settings.c_cflag |= CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    return ::cfsetispeed(&settings, B115200) == 0 && ::cfsetospeed(&settings, B115200) == 0 &&
           ::tcsetattr(descriptor, TCSANOW, &settings) == 0;
}

// Keeps other simulators from the links of a folder: to look at a link and to replace or remove it are two steps, and
// the carrier that ends may be just the one whose link the next one replaces. Where the folder cannot be locked in time
// it does without: somebody else's lock must not keep a carrier from starting or ending.
class FolderLock {
public:
    explicit FolderLock(const std::string& link) {
        const std::string folder = std::filesystem::path(link).parent_path().string();
        mDescriptor = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const TimePoint giveUpAt = Clock::now() + kLockLimit;
        while (mDescriptor >= 0 && ::flock(mDescriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK &&
               Clock::now() < giveUpAt) {
            std::this_thread::sleep_for(kLockLook);
        }
    }
    ~FolderLock() {
        if (mDescriptor >= 0) {
            ::close(mDescriptor);
        }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    static constexpr Milliseconds kLockLimit{1000};
    static constexpr Milliseconds kLockLook{1};

    int mDescriptor = -1;
};

// Rounded up: a wait that ends early would only begin again.
timespec TimeUntil(TimePoint deadline) {
    const auto left = std::max(Clock::duration{0}, deadline - Clock::now());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    timespec time{};
    time.tv_sec = static_cast<time_t>(std::min<int64_t>(seconds.count(), 3600));
    time.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    return time;
}

}  // namespace

CarrierLine::CarrierLine() : mWake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CarrierLine::~CarrierLine() {
    Close();
    if (mWake >= 0) {
        ::close(mWake);
    }
}

bool CarrierLine::Fail(const std::string& what) {
    const std::string reason = std::generic_category().message(errno);
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
        mDescriptor = -1;
    }
    mSlavePath.clear();
    mError = what + ": " + reason;
    return false;
}

bool CarrierLine::OpenPty(const std::string& link) {
    Close();
    const std::lock_guard lock(mMutex);
    mDescriptor = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (mDescriptor < 0 || ::grantpt(mDescriptor) != 0 || ::unlockpt(mDescriptor) != 0) {
        return Fail("Cannot make a pseudo terminal");
    }
    std::array<char, 64> name{};
    if (::ptsname_r(mDescriptor, name.data(), name.size()) != 0) {
        return Fail("Cannot get the name of the pseudo terminal");
    }
    mSlavePath = name.data();
    // Raw from the start: the other side may send before it sets its own modes, and nothing may be echoed. Closing it
    // again makes the hang-up visible that means "nobody there".
    const int slave = ::open(mSlavePath.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const bool isRaw = slave >= 0 && SetRaw(slave);
    if (!isRaw) {
        const int reason = errno;
        if (slave >= 0) {
            ::close(slave);
        }
        errno = reason;
        return Fail("Cannot set up " + mSlavePath);
    }
    ::close(slave);
    return link.empty() || MakeLink(link);
}

bool CarrierLine::MakeLink(const std::string& link) {
    const FolderLock folder(link);
    struct stat status {};
    if (::lstat(link.c_str(), &status) == 0) {
        if (!S_ISLNK(status.st_mode)) {
            errno = EEXIST;
            return Fail("Cannot make the link " + link);
        }
        if (::unlink(link.c_str()) != 0) {
            return Fail("Cannot replace the link " + link);
        }
    }
    if (::symlink(mSlavePath.c_str(), link.c_str()) != 0) {
        return Fail("Cannot make the link " + link);
    }
    mLink = link;
    return true;
}

bool CarrierLine::OpenDevice(const std::string& path) {
    Close();
    const std::lock_guard lock(mMutex);
    mDescriptor = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (mDescriptor < 0) {
        return Fail("Cannot open " + path);
    }
    if (!SetRaw(mDescriptor) || ::tcflush(mDescriptor, TCIOFLUSH) != 0) {
        return Fail("Cannot set up " + path);
    }
    mSlavePath = path;
    return true;
}

void CarrierLine::Close() {
    const std::lock_guard lock(mMutex);
    if (!mLink.empty()) {
        // Only our own: by now another simulator may have put its link there.
        const FolderLock folder(mLink);
        std::array<char, 256> target{};
        const ssize_t size = ::readlink(mLink.c_str(), target.data(), target.size());
        if (size > 0 && mSlavePath == std::string(target.data(), static_cast<std::size_t>(size))) {
            ::unlink(mLink.c_str());
        }
        mLink.clear();
    }
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
        mDescriptor = -1;
    }
    mSlavePath.clear();
}

bool CarrierLine::IsOpen() const {
    return Descriptor() >= 0;
}

int CarrierLine::Descriptor() const {
    const std::lock_guard lock(mMutex);
    return mDescriptor;
}

std::string CarrierLine::Error() const {
    const std::lock_guard lock(mMutex);
    return mError;
}

std::string CarrierLine::DevicePath() const {
    const std::lock_guard lock(mMutex);
    return mLink.empty() ? mSlavePath : mLink;
}

bool CarrierLine::IsHungUp(int descriptor) const {
    pollfd state{descriptor, 0, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

CarrierLine::Readiness CarrierLine::WaitReadable(TimePoint deadline) {
    for (;;) {
        const int descriptor = Descriptor();
        std::array<pollfd, 2> states{pollfd{mWake, POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
        const timespec patience = TimeUntil(deadline);
        if (::ppoll(states.data(), states.size(), &patience, nullptr) < 0 && errno != EINTR) {
            return Readiness::Closed;
        }
        if ((states[0].revents & POLLIN) != 0) {
            uint64_t count = 0;
            [[maybe_unused]] const ssize_t drained = ::read(mWake, &count, sizeof count);
            return (states[1].revents & POLLIN) != 0 ? Readiness::Data : Readiness::Nothing;
        }
        if ((states[1].revents & POLLIN) != 0) {
            return Readiness::Data;
        }
        if (Clock::now() >= deadline) {
            return descriptor < 0 ? Readiness::Closed : Readiness::Nothing;
        }
        if (states[1].revents != 0) {
            pollfd wake{mWake, POLLIN, 0};
            const timespec pause = TimeUntil(std::min(deadline, Clock::now() + kHangUpLook));
            ::ppoll(&wake, 1, &pause, nullptr);
        }
    }
}

bool CarrierLine::HasData() const {
    pollfd state{Descriptor(), POLLIN, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & POLLIN) != 0;
}

std::size_t CarrierLine::Read(std::span<uint8_t> buffer) {
    const ssize_t count = ::read(Descriptor(), buffer.data(), buffer.size());
    // EIO: nobody has the other end open. EAGAIN: somebody else was told of the data too. Both are "nothing".
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool CarrierLine::WaitForRoom(int descriptor, Milliseconds patience, const std::atomic<bool>& isStopping) {
    constexpr Milliseconds kLook{20};
    const TimePoint end = Clock::now() + patience;
    while (!isStopping) {
        pollfd state{descriptor, POLLOUT, 0};
        if (::poll(&state, 1, static_cast<int>(std::min(patience, kLook).count())) > 0) {
            return true;
        }
        if (Clock::now() >= end) {
            break;
        }
    }
    return false;
}

std::size_t CarrierLine::Write(std::span<const uint8_t> bytes, Milliseconds patience,
                               const std::atomic<bool>& isStopping) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const int descriptor = Descriptor();
        if (descriptor < 0 || IsHungUp(descriptor)) {
            return written;
        }
        const ssize_t count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
            continue;
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if ((count < 0 && errno != EAGAIN) || !WaitForRoom(descriptor, patience, isStopping)) {
            return written;
        }
    }
    return written;
}

void CarrierLine::Wake() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = ::write(mWake, &one, sizeof one);
}

}  // namespace simulator
