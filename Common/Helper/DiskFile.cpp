#include "Common/Helper/DiskFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <utility>

static_assert(sizeof(::off_t) == 8, "files beyond 2 GiB on every processor");

namespace {

// Its type serves readv as well and so has no const; writev only reads.
iovec Piece(std::string_view content) {
    return {const_cast<char*>(content.data()), content.size()};
}

}  // namespace

DiskFile::~DiskFile() {
    static_cast<void>(Close());
}

int DiskFile::Close() {
    const int descriptor = std::exchange(mDescriptor, -1);
    return descriptor < 0 || ::close(descriptor) == 0 ? 0 : errno;
}

int DiskFile::Sync() {
    return ::fsync(mDescriptor) == 0 ? 0 : errno;
}

bool DiskFile::OpenForReading(const std::string& path) {
    return Open(path, O_RDONLY);
}

bool DiskFile::OpenForAppending(const std::string& path) {
    return Open(path, O_WRONLY | O_CREAT | O_APPEND);
}

bool DiskFile::OpenForReplacing(const std::string& path) {
    return Open(path, O_WRONLY | O_CREAT | O_TRUNC);
}

bool DiskFile::Open(const std::string& path, int flags) {
    static_cast<void>(Close());
    mDescriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0644);
    return mDescriptor >= 0;
}

std::size_t DiskFile::Read(std::uint8_t* buffer, std::size_t size) {
    std::size_t total = 0;
    while (total < size) {
        const ssize_t count = ::read(mDescriptor, buffer + total, size - total);
        if (count > 0) {
            total += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return total;
}

int DiskFile::Write(std::string_view content, std::string_view more) {
    while (!content.empty() || !more.empty()) {
        const std::array pieces = {Piece(content), Piece(more)};
        const ssize_t count = ::writev(mDescriptor, pieces.data(), static_cast<int>(pieces.size()));
        if (count > 0) {
            const std::size_t ofContent = std::min(content.size(), static_cast<std::size_t>(count));
            content.remove_prefix(ofContent);
            more.remove_prefix(static_cast<std::size_t>(count) - ofContent);
        } else if (count == 0) {
            return EIO;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

std::uint32_t DiskFile::Size(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || status.st_size < 0) {
        return 0;
    }
    constexpr auto kMost = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(status.st_size), kMost));
}

int DiskFile::Remove(const std::string& path) {
    return ::unlink(path.c_str()) == 0 ? 0 : errno;
}
