#include "tests/support/Broker.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/WaitUntil.h"

namespace {

// Not always in the PATH of somebody who is not root.
constexpr const char* kPrograms[] = {"/usr/sbin/mosquitto", "/usr/local/sbin/mosquitto", "/usr/bin/mosquitto"};

const char* FindProgram() {
    for (const char* const program : kPrograms) {
        if (access(program, X_OK) == 0) {
            return program;
        }
    }
    throw std::runtime_error("mosquitto is not installed");
}

bool HasState(pid_t pid, char state) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t nameEnd = line.rfind(')');  // the name may hold anything
    return nameEnd != std::string::npos && nameEnd + 2 < line.size() && line[nameEnd + 2] == state;
}

}  // namespace

Broker::Broker() : Broker(Options{}) {}

Broker::Broker(const Options& options)
    : mSocket(options.socket.empty() ? mFolder / "bus" : options.socket), mLogFile(mFolder / "log") {
    WriteConfiguration(options);
    Start();
}

Broker::~Broker() {
    if (mPid > 0) {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
}

void Broker::WriteConfiguration(const Options& options) const {
    std::ofstream file(mFolder / "conf");
    file << "listener 0 " << mSocket << "\nallow_anonymous true\npersistence false\nlog_dest stderr\nlog_type all\n";
    if (geteuid() == 0) {
        file << "user root\n";  // as its own user it could not write to the folder
    }
    if (options.isQueueUnlimited) {
        file << "max_queued_messages 0\n";
    }
    file << options.moreLines;
    if (!file.flush()) {
        Fail("cannot write its configuration");
    }
}

void Broker::Start() {
    const char* const program = FindProgram();
    const std::string configuration = mFolder / "conf";
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0) {
        // Not to be left behind when the test is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int log = open(mLogFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (getppid() == parent && log >= 0 && dup2(log, STDOUT_FILENO) >= 0 && dup2(log, STDERR_FILENO) >= 0) {
            execl(program, program, "-c", configuration.c_str(), nullptr);
        }
        _exit(127);
    }
    if (pid < 0) {
        Fail("fork");
    }
    mPid = pid;
    const bool isUp = WaitUntil([this] {
        if (waitpid(mPid, nullptr, WNOHANG) == mPid) {
            mPid = 0;
        }
        return mPid == 0 || IsAccepting();
    });
    if (!isUp || mPid == 0) {
        Fail("does not start");
    }
}

bool Broker::IsAccepting() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (mSocket.size() >= sizeof address.sun_path) {
        Fail("path too long: " + mSocket);
    }
    std::memcpy(address.sun_path, mSocket.c_str(), mSocket.size() + 1);
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isAccepting = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return isAccepting;
}

void Broker::Stop() {
    End(SIGTERM);
}

void Broker::Kill() {
    End(SIGKILL);
}

void Broker::Restart() {
    Stop();
    Start();
}

void Broker::Pause() {
    Send(SIGSTOP);
    if (!WaitUntil([this] { return HasState(mPid, 'T'); })) {
        Fail("does not pause");
    }
}

void Broker::Resume() {
    Send(SIGCONT);
    if (!WaitUntil([this] { return !HasState(mPid, 'T'); })) {
        Fail("does not resume");
    }
}

void Broker::Send(int signal) const {
    if (mPid <= 0 || kill(mPid, signal) != 0) {
        Fail("is not there for signal " + std::to_string(signal));
    }
}

void Broker::End(int signal) {
    Send(signal);
    kill(mPid, SIGCONT);  // paused it would not hear a SIGTERM
    if (!WaitUntil([this] { return waitpid(mPid, nullptr, WNOHANG) == mPid; })) {
        Fail("does not end");
    }
    mPid = 0;
}

std::string Broker::Log() const {
    std::ostringstream text;
    text << std::ifstream(mLogFile).rdbuf();
    return text.str();
}

void Broker::Fail(const std::string& what) const {
    throw std::runtime_error("mosquitto: " + what + "\n" + Log());
}
