#include "tests/unit/DiskCalls.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

// The linker sends the program's calls here.
extern "C" {
int RealSync(int descriptor) asm("__real_fsync");
int RealRename(const char* from, const char* to) asm("__real_rename");
int SyncSeen(int descriptor) asm("__wrap_fsync");
int RenameSeen(const char* from, const char* to) asm("__wrap_rename");
}

namespace {

DiskCalls* sCalls = nullptr;

}  // namespace

int SyncSeen(int descriptor) {
    return sCalls != nullptr ? sCalls->Sync(descriptor) : RealSync(descriptor);
}

int RenameSeen(const char* from, const char* to) {
    return sCalls != nullptr ? sCalls->Rename(from, to) : RealRename(from, to);
}

DiskCalls::DiskCalls() {
    if (sCalls != nullptr) {
        std::fputs("The disk's calls are watched twice at the same time\n", stderr);
        std::abort();
    }
    sCalls = this;
}

DiskCalls::~DiskCalls() {
    sCalls = nullptr;
}

int DiskCalls::Sync(int descriptor) {
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
    mCalls.push_back("fsync " + path.string());
    if (mSyncError != 0) {
        errno = mSyncError;
        return -1;
    }
    return RealSync(descriptor);
}

int DiskCalls::Rename(const char* from, const char* to) {
    mCalls.push_back(std::string("rename ") + from + ' ' + to);
    const int result = RealRename(from, to);
    const int error = errno;
    if (mWhenRenamed) {
        mWhenRenamed();
    }
    errno = error;
    return result;
}
