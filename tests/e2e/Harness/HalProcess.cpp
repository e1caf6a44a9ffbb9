#include "tests/e2e/Harness/HalProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/e2e/Harness/BuiltFiles.h"
#include "tests/support/WaitUntil.h"

namespace {

constexpr int kCannotStart = 127;
constexpr std::chrono::milliseconds kRestOfOutput{500};

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error("VeltrixHAL: " + what + ": " + std::strerror(errno));
}

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::array<int, 2> MakePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        Fail("pipe");
    }
    return ends;
}

}  // namespace

void OutputText::Attach(int pipe) {
    const std::lock_guard lock(mMutex);
    mPipe = pipe;
    if (fcntl(mPipe, F_SETFL, O_NONBLOCK) != 0) {
        Fail("fcntl");
    }
}

void OutputText::Detach() {
    Drain();
    const std::lock_guard lock(mMutex);
    close(mPipe);
    mPipe = -1;
}

bool OutputText::Drain() const {
    const std::lock_guard lock(mMutex);
    std::array<char, 65536> buffer{};
    while (true) {
        const ssize_t size = read(mPipe, buffer.data(), buffer.size());
        if (size > 0) {
            mText.append(buffer.data(), static_cast<std::size_t>(size));
        } else if (size == 0 || errno != EINTR) {
            return size < 0 && errno == EAGAIN;
        }
    }
}

std::string OutputText::Text() const {
    Drain();
    const std::lock_guard lock(mMutex);
    return mText;
}

std::string OutputText::Take() {
    Drain();
    const std::lock_guard lock(mMutex);
    const std::size_t end = mText.rfind('\n') + 1;  // 0 where there is none
    std::string taken = mText.substr(0, end);
    mText.erase(0, end);
    return taken;
}

std::vector<std::string> OutputText::Lines() const {
    std::vector<std::string> lines;
    const std::string text = Text();
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::size_t first = std::min(text.find_first_not_of('.', start), end);
        lines.push_back(text.substr(first, end - first));
    }
    return lines;
}

HalProcess::HalProcess(const Sandbox& sandbox, const std::vector<std::string>& arguments, bool areErrorsInOut) {
    Start(sandbox, arguments, areErrorsInOut);
    mReader = std::thread(&HalProcess::ReadOutputs, this);
    CheckGuard();
}

HalProcess::~HalProcess() {
    if (IsRunning()) {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    CloseOutputs();
    close(mStopPipe[0]);
}

void HalProcess::Start(const Sandbox& sandbox, const std::vector<std::string>& arguments, bool areErrorsInOut) {
    std::vector<std::string> environmentTexts = sandbox.Environment();
    std::vector<std::string> argumentTexts = {kHalExecutable};
    argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
    const std::vector<char*> environment = Pointers(environmentTexts);
    const std::vector<char*> argv = Pointers(argumentTexts);
    // A daemon's status comes to whoever stands in for init.
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        Fail("prctl");
    }
    const auto out = MakePipe();
    const auto err = MakePipe();
    const auto stop = MakePipe();
    mOut.Attach(out[0]);
    mErr.Attach(err[0]);
    mOutPipe = out[0];
    mErrPipe = err[0];
    mStopPipe[0] = stop[0];
    mStopPipe[1] = stop[1];
    const pid_t parent = getpid();
    mPid = fork();
    if (mPid == 0) {
        // Not to be left behind when the test is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (getppid() == parent && dup2(null, STDIN_FILENO) >= 0 && dup2(out[1], STDOUT_FILENO) >= 0 &&
            dup2(areErrorsInOut ? out[1] : err[1], STDERR_FILENO) >= 0) {
            execve(argv[0], argv.data(), environment.data());
        }
        _exit(kCannotStart);
    }
    close(out[1]);
    close(err[1]);
    if (mPid < 0) {
        Fail("fork");
    }
}

// The loader maps what is preloaded before what the program itself needs.
void HalProcess::CheckGuard() {
    const std::string process = "/proc/" + std::to_string(mPid);
    std::string seen;
    const bool isLoaded = WaitUntil(
        [&] {
            // Until then it is a copy of this program, which may use the library as well.
            std::error_code error;
            const bool isHal = std::filesystem::equivalent(process + "/exe", kHalExecutable, error);
            const std::string now = isHal ? ReadAll(process + "/maps") : "";
            seen = now.find("libVeltrix") != std::string::npos ? now : "";
            return !seen.empty() || !IsRunning();
        },
        kPatience);
    if (!isLoaded || (!seen.empty() && seen.find("libclock_guard") == std::string::npos)) {
        kill(mPid, SIGKILL);
        WaitForExit();
        CloseOutputs();
        throw std::runtime_error("VeltrixHAL runs without the clock guard: this computer's clock could be set");
    }
}

void HalProcess::ReadOutputs() {
    std::array<pollfd, 3> files = {pollfd{mOutPipe, POLLIN, 0}, pollfd{mErrPipe, POLLIN, 0},
                                   pollfd{mStopPipe[0], POLLIN, 0}};
    // The third one hangs up when the process is no longer of interest.
    while ((files[0].fd >= 0 || files[1].fd >= 0) && poll(files.data(), files.size(), -1) >= 0) {
        if (files[0].revents != 0 && !mOut.Drain()) {
            files[0].fd = -1;
        }
        if (files[1].revents != 0 && !mErr.Drain()) {
            files[1].fd = -1;
        }
        if (files[2].revents != 0) {
            return;
        }
    }
    mIsOutputAtEnd = true;
}

bool HalProcess::IsRunning() {
    if (mPid <= 0 || mStatus.has_value()) {
        return false;
    }
    int status = 0;
    const pid_t ended = waitpid(mPid, &status, WNOHANG);
    if (ended == mPid) {
        mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    return ended == 0;
}

void HalProcess::Signal(int signal) const {
    if (mStatus.has_value() || kill(mPid, signal) != 0) {
        Fail("is not there for signal " + std::to_string(signal));
    }
}

std::optional<int> HalProcess::WaitForExit(std::chrono::milliseconds limit) {
    if (WaitUntil([this] { return !IsRunning(); }, limit)) {
        WaitUntil([this] { return mIsOutputAtEnd.load(); }, kRestOfOutput);
    }
    return mStatus;
}

void HalProcess::CloseOutputs() {
    if (!mReader.joinable()) {
        return;
    }
    close(mStopPipe[1]);
    mReader.join();
    mOut.Detach();
    mErr.Detach();
    mIsOutputAtEnd = true;
}

void HalProcess::Follow(pid_t daemon) {
    mPid = daemon;
    mStatus.reset();
    CheckGuard();
}

std::size_t HalProcess::ResidentKiB() const {
    std::ifstream file("/proc/" + std::to_string(mPid) + "/status");
    for (std::string word; file >> word;) {
        if (std::size_t size = 0; word == "VmRSS:" && file >> size) {
            return size;
        }
    }
    Fail("no VmRSS");
}
