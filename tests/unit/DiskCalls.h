// The calls that make a replaced or moved file last, seen on their way to the system: fsync and rename. Of the
// program's own parts only: the shared libraries have theirs.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

// One at a time, one thread. Without one the calls go through unseen.
class DiskCalls {
public:
    DiskCalls();
    ~DiskCalls();
    DiskCalls(const DiskCalls&) = delete;
    DiskCalls& operator=(const DiskCalls&) = delete;

    // From now on fsync fails so, a positive errno.
    void LetSyncFail(int error) { mSyncError = error; }
    // Runs `action` behind each rename.
    void WhenRenamed(std::function<void()> action) { mWhenRenamed = std::move(action); }

    // The calls so far, oldest first: "fsync PATH" and "rename FROM TO".
    const std::vector<std::string>& Calls() const { return mCalls; }

    // For the stand-ins themselves.
    int Sync(int descriptor);
    int Rename(const char* from, const char* to);

private:
    int mSyncError = 0;
    std::function<void()> mWhenRenamed;
    std::vector<std::string> mCalls;
};
