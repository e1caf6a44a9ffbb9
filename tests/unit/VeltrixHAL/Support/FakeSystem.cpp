#include "tests/unit/VeltrixHAL/Support/FakeSystem.h"

#include "OSSpecific/Linux/System/Shell.h"
#include "OSSpecific/Linux/System/SystemClock.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

std::atomic<FakeSystem*> sSystem{nullptr};

}  // namespace

int SetSystemClock(const timespec& time) {
    FakeSystem* const system = sSystem.load();
    return system != nullptr ? system->SetClock(time) : EPERM;
}

bool RunShell(const char* commandLine) {
    FakeSystem* const system = sSystem.load();
    return system != nullptr && system->RunCommand(commandLine);
}

FakeSystem::FakeSystem() {
    if (sSystem.exchange(this) != nullptr) {
        std::fputs("Two stand-ins for the machine at the same time\n", stderr);
        std::abort();
    }
}

FakeSystem::~FakeSystem() {
    sSystem = nullptr;
}

void FakeSystem::SetClockResult(int error) {
    const std::lock_guard lock(mMutex);
    mClockResult = error;
}

void FakeSystem::SetShellResult(bool success) {
    const std::lock_guard lock(mMutex);
    mShellResult = success;
}

std::vector<timespec> FakeSystem::ClockSettings() const {
    const std::lock_guard lock(mMutex);
    return mClockSettings;
}

std::vector<std::string> FakeSystem::ShellCommands() const {
    const std::lock_guard lock(mMutex);
    return mShellCommands;
}

int FakeSystem::SetClock(const timespec& time) {
    if (mWhenClockIsSet) {
        mWhenClockIsSet();
    }
    const std::lock_guard lock(mMutex);
    mClockSettings.push_back(time);
    return mClockResult;
}

bool FakeSystem::RunCommand(const char* commandLine) {
    if (mWhenCommanded) {
        mWhenCommanded();
    }
    const std::lock_guard lock(mMutex);
    mShellCommands.emplace_back(commandLine);
    return mShellResult;
}
