// The carrier simulator for people and scripts: a carrier on a pseudo terminal, driven by lines on standard input.
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "CarrierSimulator/Carrier.h"
#include "CarrierSimulator/ConsoleCommands.h"
#include "CarrierSimulator/ConsoleOutput.h"
#include "CarrierSimulator/FirmwareImage.h"
#include "CarrierSimulator/SimulatorCommandLine.h"

namespace {

using simulator::Carrier;
using simulator::ConsoleOutput;

// SIGINT, SIGTERM and SIGHUP as a descriptor, so that the loop below is woken by them; before any thread starts, so
// that none of them gets the signals.
int MakeSignalDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    if (::pthread_sigmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return -1;
    }
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

// Takes what is there of standard input and runs the whole lines of it; false when the simulator is to end.
bool TakeInput(std::string& pending, bool& isInputOpen, Carrier& carrier, ConsoleOutput& output) {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (count <= 0) {
        isInputOpen = false;
        pending += '\n';  // a last line without a newline counts too
    } else {
        pending.append(buffer.data(), static_cast<std::size_t>(count));
    }
    for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
        const simulator::ConsoleReply reply = simulator::RunConsoleCommand(pending.substr(0, end), carrier);
        pending.erase(0, end + 1);
        output.Print(reply.text);
        if (reply.isQuit) {
            return false;
        }
    }
    return true;
}

void RunUntilTold(int signals, bool endsWithInput, Carrier& carrier, ConsoleOutput& output) {
    std::string pending;
    bool isInputOpen = true;
    while (isInputOpen || !endsWithInput) {
        std::array<pollfd, 2> states{pollfd{signals, POLLIN, 0}, pollfd{isInputOpen ? STDIN_FILENO : -1, POLLIN, 0}};
        if (::poll(states.data(), states.size(), -1) < 0 && errno != EINTR) {
            std::perror("CarrierSimulator: poll");
            return;
        }
        if (states[0].revents != 0) {
            return;
        }
        if (states[1].revents != 0 && !TakeInput(pending, isInputOpen, carrier, output)) {
            return;
        }
    }
}

int MakeImage(const simulator::SimulatorSettings& settings) {
    const std::string failure =
        simulator::WriteImageFile(settings.imagePath, settings.imageSize, settings.carrier.seed);
    if (!failure.empty()) {
        std::fprintf(stderr, "CarrierSimulator: %s\n", failure.c_str());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    int status = EXIT_SUCCESS;
    const auto settings = simulator::ReadCommandLine(argc, argv, status);
    if (!settings) {
        return status;
    }
    if (settings->isMakingImage) {
        return MakeImage(*settings);
    }
    std::signal(SIGPIPE, SIG_IGN);
    const int signals = MakeSignalDescriptor();
    if (signals < 0) {
        std::perror("CarrierSimulator: signals");
        return EXIT_FAILURE;
    }
    ConsoleOutput output(settings->isQuiet, settings->isColoured && ::isatty(STDOUT_FILENO) != 0);
    Carrier carrier(settings->carrier);
    // The first line says where the carrier is; frames come after it.
    carrier.SetListener(&output);
    if (!carrier.Open()) {
        std::fprintf(stderr, "CarrierSimulator: %s\n", carrier.Error().c_str());
        ::close(signals);
        return EXIT_FAILURE;
    }
    output.Print("Carrier ready on " + carrier.DevicePath() + "\n");
    carrier.Begin();
    RunUntilTold(signals, settings->endsWithInput, carrier, output);
    carrier.Stop();
    ::close(signals);
    return EXIT_SUCCESS;
}
