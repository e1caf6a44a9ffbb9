// The idle process's CPU time and memory, and the time from a heartbeat's last byte to its Ack.
//
//     MachineBench [idle seconds, default 20] [heartbeats, default 500]
#include "bench/BenchMachine.h"
#include "bench/ProcessFigures.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <thread>
#include <vector>

namespace {

using simulator::Clock;
namespace command = simulator::command;

void MeasureIdle(BenchMachine& machine, int seconds) {
    const auto before = ProcessFigures::Of(machine.process.Pid());
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const auto after = ProcessFigures::Of(machine.process.Pid());
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("idle: %.2f %% of one processor over %.1f s, %ld KiB resident, %ld KiB at the peak\n",
                100.0 * (after.cpuSeconds - before.cpuSeconds) / elapsed, elapsed, after.residentKiB, after.peakKiB);
}

// The moment of a heartbeat falls anywhere in the 5 ms between two polls: steps of 7.3 ms walk through all of it.
bool MeasureHeartbeats(BenchMachine& machine, int count) {
    std::vector<double> milliseconds;
    for (int i = 0; i < count; ++i) {
        const std::size_t sentFrom = machine.carrier.SentCount();
        const std::size_t receivedFrom = machine.carrier.ReceivedCount();
        machine.carrier.SendHeartbeat();
        const auto sent =
            machine.carrier.WaitForSent([](const auto& record) { return record.IsCommand(command::kCarrierAlive); },
                                        std::chrono::seconds(2), sentFrom);
        const auto ack = machine.carrier.WaitForFrame(command::kAck, std::chrono::seconds(2), receivedFrom);
        if (!sent || !ack) {
            std::fprintf(stderr, "heartbeat %d was not acknowledged\n", i);
            return false;
        }
        milliseconds.push_back(std::chrono::duration<double, std::milli>(ack->time - sent->time).count());
        std::this_thread::sleep_for(std::chrono::microseconds(7300));
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](double share) {
        return milliseconds[static_cast<std::size_t>(share * static_cast<double>(milliseconds.size() - 1))];
    };
    std::printf("heartbeat's last byte to its Ack: median %.2f ms, 99 %% within %.2f ms, at most %.2f ms (%d beats)\n",
                at(0.5), at(0.99), at(1.0), count);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        BenchMachine machine{{}};
        MeasureIdle(machine, argc > 1 ? std::atoi(argv[1]) : 20);
        return MeasureHeartbeats(machine, argc > 2 ? std::atoi(argv[2]) : 500) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
}
