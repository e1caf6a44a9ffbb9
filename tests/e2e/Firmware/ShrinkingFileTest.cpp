// A file that loses its end after its size was taken and before it was read.
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

using testing::ElementsAre;

// Holds a process at its system calls, so that something can happen between two of them.
class SystemCallStops {
public:
    explicit SystemCallStops(pid_t process) : mProcess(process) {
        Check(ptrace(PTRACE_SEIZE, mProcess, nullptr, nullptr));
        Check(ptrace(PTRACE_INTERRUPT, mProcess, nullptr, nullptr));
        AwaitStop();
    }
    ~SystemCallStops() { ptrace(PTRACE_DETACH, mProcess, nullptr, nullptr); }
    SystemCallStops(const SystemCallStops&) = delete;
    SystemCallStops& operator=(const SystemCallStops&) = delete;

    // To the beginning or the end of the next one.
    void Next() {
        Check(ptrace(PTRACE_SYSCALL, mProcess, nullptr, mSignal));
        AwaitStop();
    }

private:
    static void Check(long result) {
        if (result != 0) {
            throw std::system_error(errno, std::generic_category(), "ptrace");
        }
    }

    void AwaitStop() {
        int status = 0;
        if (waitpid(mProcess, &status, 0) != mProcess || !WIFSTOPPED(status)) {
            throw std::runtime_error("the process has ended");
        }
        const int signal = WSTOPSIG(status);
        mSignal = signal == SIGTRAP ? 0 : signal;
    }

    pid_t mProcess;
    long mSignal = 0;  // to be passed on
};

bool HasOpen(pid_t process, const std::string& path) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error) == path) {
            return true;
        }
    }
    return false;
}

class FirmwareShrinkingFileTest : public FirmwareTest {};

TEST_F(FirmwareShrinkingFileTest, IsNotSent) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, 2500);
    const std::string path = std::filesystem::canonical(machine.Files().Path(file.path));
    const Since since(machine);
    {
        // Files are handled on the process's first thread.
        SystemCallStops stops(machine.Hal().Pid());
        Announce(machine, file.name, file.path, 0);
        while (!HasOpen(machine.Hal().Pid(), path)) {
            stops.Next();
        }
        std::filesystem::resize_file(path, 700);
    }
    AwaitIdle(machine);
    since.ExpectOut(ElementsAre("Opening update file: /Veltrix/update/VeltrixApp_CRC.bin",
                                "Reading update file: /Veltrix/update/VeltrixApp_CRC.bin",
                                "HAL - Failure reading firmware file. Aborting update", "Read 700 of 2500 expected."));
    EXPECT_THAT(since.Log(), ElementsAre("[error] HAL Errlog: Failure reading firmware file. Aborting update"));
    since.ExpectFrames(testing::IsEmpty());
    EXPECT_TRUE(IsThere(machine, file));
    ExpectThatUpdatesAreRefused(machine);
}

}  // namespace
