// A real VeltrixHAL, started in a sandbox and watched from outside.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/e2e/Harness/LineSource.h"
#include "tests/e2e/Harness/Sandbox.h"

// What a process has written to one of its outputs: everything up to the moment of the question. The points that it
// prints while it waits are left out where they stand before a line.
class OutputText : public LineSource {
public:
    using LineSource::LineSource;

    std::vector<std::string> Lines() const override;
    // All of it, as it was written.
    std::string Text() const;
    // The whole lines so far, which are forgotten here: for a process that runs too long for all of it to be kept.
    std::string Take();

    // The end of a pipe to read from, without waiting; from now on it belongs here.
    void Attach(int pipe);
    // Closes the pipe; what was read stays.
    void Detach();
    // Takes what is in the pipe. False at its end.
    bool Drain() const;

private:
    mutable std::mutex mMutex;  // guards everything below
    mutable std::string mText;
    mutable int mPipe = -1;
};

// Used by one thread. Operations throw std::runtime_error where the process cannot be started or does not do what is
// waited for.
class HalProcess {
public:
    // Starts it. Throws before anything is started when the sandbox has no recording `shutdown` or no clock guard, and
    // ends the process at once when the guard turns out not to be loaded into it. With `areErrorsInOut`, standard error
    // goes where standard output goes, so that the order of both shows.
    HalProcess(const Sandbox& sandbox, const std::vector<std::string>& arguments, bool areErrorsInOut = false);
    // Kills it when it still runs.
    ~HalProcess();
    HalProcess(const HalProcess&) = delete;
    HalProcess& operator=(const HalProcess&) = delete;

    pid_t Pid() const { return mPid; }
    // Standard output and standard error. A daemon's stay open here after its parent's end.
    OutputText& Out() { return mOut; }
    OutputText& Err() { return mErr; }

    bool IsRunning();
    void Signal(int signal) const;
    // The exit status, or the negative number of the signal that ended it; nothing when it still runs after `limit`.
    // Then all of its output is here, too, unless a process that it started still holds it.
    std::optional<int> WaitForExit(std::chrono::milliseconds limit = kPatience);
    // Nobody reads its outputs any more: what it writes from now on is an error to it.
    void CloseOutputs();
    // From now on the process is meant that has taken over from the one started (a daemon), whose exit was waited for.
    void Follow(pid_t daemon);

    // KiB of physical memory that it holds.
    std::size_t ResidentKiB() const;

private:
    void Start(const Sandbox& sandbox, const std::vector<std::string>& arguments, bool areErrorsInOut);
    void CheckGuard();
    void ReadOutputs();

    pid_t mPid = 0;
    std::optional<int> mStatus;
    std::atomic<bool> mIsOutputAtEnd = false;
    int mOutPipe = -1;  // to wait on; they belong to the texts
    int mErrPipe = -1;
    int mStopPipe[2] = {-1, -1};
    OutputText mOut{"standard output"};
    OutputText mErr{"standard error"};
    std::thread mReader;
};
