// A firmware file through the real process to a simulated carrier, over a line paced to 115200 baud and over one as
// fast as it goes, beside XMODEM-1K (sx -k and rx of lrzsz) over the same lines.
//
//     TransferBench [KiB, default 256]
//
// The carrier answers each frame 1 ms after its last byte: the process looks for answers every 10 ms, so a frame's time
// is a staircase in that delay. The bound below is what frames of 1,024 bytes, 8 bytes of framing, an Ack of 6 bytes,
// that delay and whole polls leave.
#include "bench/BenchMachine.h"
#include "bench/PacedCable.h"
#include "bench/ProcessFigures.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <random>
#include <stdexcept>

namespace {

using simulator::Clock;
namespace command = simulator::command;

constexpr double kAnswerDelayMs = 1.0;
constexpr double kPollMs = 10.0;
constexpr unsigned int kBaud = 115200;

std::string RandomBytes(std::size_t size) {
    std::mt19937 random(20);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

double BoundSeconds(std::size_t size, unsigned int baud) {
    const double perByteMs = baud == 0 ? 0 : 10'000.0 / baud;
    double total = 0;
    for (std::size_t at = 0; at < size; at += 1024) {
        const double bytes = static_cast<double>(std::min<std::size_t>(1024, size - at)) + 8 + 6;
        total += std::ceil((bytes * perByteMs + kAnswerDelayMs) / kPollMs) * kPollMs;
    }
    return total / 1000;
}

void MeasureProcess(const std::string& image, unsigned int baud) {
    simulator::CarrierOptions options;
    options.baud = baud;
    options.answerDelay = simulator::Milliseconds(1);
    BenchMachine machine(options);
    machine.sandbox.Write("/update/VeltrixApp_CRC.bin", image);
    const auto before = ProcessFigures::Of(machine.process.Pid());
    const std::size_t from = machine.carrier.ReceivedCount();
    machine.bus.Publish("carrier_file", R"({"fileSize":)" + std::to_string(image.size()) +
                                            R"(,"fileName":"VeltrixApp_CRC.bin","fileFullPath":")" +
                                            machine.sandbox.Path("/update/VeltrixApp_CRC.bin") + R"("})");
    const auto limit = std::chrono::seconds(60 + image.size() / 4096);
    if (!machine.carrier.WaitForFrame(command::kFileTransferEnd, limit, from)) {
        throw std::runtime_error("the file did not arrive");
    }
    const auto after = ProcessFigures::Of(machine.process.Pid());
    // From the first frame's first byte to the next command, which leaves once the last frame's Ack has been seen.
    const auto first = *machine.carrier.WaitForFrame(command::kFileTransferPacket, limit, from);
    const auto end = *machine.carrier.WaitForFrame(command::kFileTransferEnd, limit, from);
    const double byteSeconds = baud == 0 ? 0 : 10.0 / baud;
    const double seconds = std::chrono::duration<double>(end.time - first.time).count() +
                           byteSeconds * (static_cast<double>(first.raw.size()) - static_cast<double>(end.raw.size()));
    const double bound = BoundSeconds(image.size(), baud);
    const double frames = std::ceil(static_cast<double>(image.size()) / 1024);
    const double mebibytes = static_cast<double>(image.size()) / (1024 * 1024);
    std::printf("VeltrixHAL   %6.2f s, %7.0f bytes/s, %.3f of the bound of %.2f s\n", seconds,
                static_cast<double>(image.size()) / seconds, seconds / bound, bound);
    std::printf("             %.3f CPU s per MiB; per frame %.0f reads, %.1f writes, %.0f waits; %ld KiB at the peak\n",
                (after.cpuSeconds - before.cpuSeconds) / mebibytes,
                static_cast<double>(after.readCalls - before.readCalls) / frames,
                static_cast<double>(after.writeCalls - before.writeCalls) / frames,
                static_cast<double>(after.waits - before.waits) / frames, after.peakKiB);
    if (machine.carrier.ReceivedFile() != simulator::Bytes(image.begin(), image.end())) {
        throw std::runtime_error("the file that arrived is another one");
    }
}

pid_t StartOnLine(const std::vector<std::string>& arguments, const std::string& line) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, line.c_str(), O_RDWR | O_NOCTTY, 0);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int error = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

bool EndedWell(pid_t pid) {
    int status = 0;
    return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void MeasureXmodem(const std::string& image, unsigned int baud) {
    const TempFolder folder;
    const std::string sent = folder / "sent";
    const std::string received = folder / "received";
    std::ofstream(sent, std::ios::binary) << image;
    const PacedCable cable(baud);
    const pid_t receiver = StartOnLine({"rx", "-b", "-q", received}, cable.Right());
    if (receiver < 0) {
        std::printf("sx -k and rx (lrzsz) are not installed\n");
        return;
    }
    const auto start = Clock::now();
    const pid_t sender = StartOnLine({"sx", "-k", "-b", "-q", sent}, cable.Left());
    const bool wasReceived = EndedWell(receiver);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    // The receiver's last answer may be flushed away at its end, and the sender wait for it for minutes.
    const bool wasSent = sender > 0;
    if (wasSent) {
        ::kill(sender, SIGTERM);
        ::waitpid(sender, nullptr, 0);
    }
    std::ifstream file(received, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!wasSent || !wasReceived || content.compare(0, image.size(), image) != 0) {
        throw std::runtime_error("XMODEM did not deliver the file");
    }
    std::printf("sx -k and rx %6.2f s, %7.0f bytes/s (from the start of both programs)\n", seconds,
                static_cast<double>(image.size()) / seconds);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::size_t size = (argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 256) * 1024;
        const std::string image = RandomBytes(size);
        for (const unsigned int baud : {kBaud, 0U}) {
            std::printf("%zu bytes, %s, answers after %.0f ms\n", size, baud == 0 ? "unpaced" : "115200 baud",
                        kAnswerDelayMs);
            MeasureProcess(image, baud);
            MeasureXmodem(image, baud);
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
}
