// Stand-ins for the machine's clock and shell. A program that links this can neither set a clock nor run a command:
// both are refused, unless a FakeSystem is alive, which keeps the calls and answers as it is told.
#pragma once

#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// One at a time. Any thread.
class FakeSystem {
public:
    FakeSystem();
    ~FakeSystem();
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;

    // Results of the calls from now on; at first both succeed. `error` is 0 or a positive errno.
    void SetClockResult(int error);
    void SetShellResult(bool success);

    // Runs `action` at each shell command, before it is answered, on the thread that asks for it. Set it first.
    void WhenCommanded(std::function<void()> action) { mWhenCommanded = std::move(action); }
    // The same at each setting of the clock.
    void WhenClockIsSet(std::function<void()> action) { mWhenClockIsSet = std::move(action); }

    // The calls so far, oldest first.
    std::vector<timespec> ClockSettings() const;
    std::vector<std::string> ShellCommands() const;

    // For the stand-ins themselves.
    int SetClock(const timespec& time);
    bool RunCommand(const char* commandLine);

private:
    mutable std::mutex mMutex;
    int mClockResult = 0;
    bool mShellResult = true;
    std::function<void()> mWhenCommanded;
    std::function<void()> mWhenClockIsSet;
    std::vector<timespec> mClockSettings;
    std::vector<std::string> mShellCommands;
};
