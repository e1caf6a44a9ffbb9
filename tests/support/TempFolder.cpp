#include "tests/support/TempFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace {

// Room that is left for names below the folder.
constexpr std::size_t kLongestParent = 50;

std::string Parent() {
    const char* const value = std::getenv("TMPDIR");  // nothing sets it
    const std::string folder = value == nullptr ? "" : value;
    return folder.empty() || folder.size() > kLongestParent ? "/tmp" : folder;
}

}  // namespace

TempFolder::TempFolder() : mPath(Parent() + "/veltrix-XXXXXX") {
    if (mkdtemp(mPath.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + mPath + ": " + std::strerror(errno));
    }
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}
