// veltrix_soak: see scripts/soak.sh.
#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <exception>
#include <iostream>

#include "tests/e2e/Campaign/Soak/Soak.h"

namespace {

std::atomic<bool> gIsToEnd = false;
static_assert(std::atomic<bool>::is_always_lock_free, "for a signal handler");

extern "C" void EndSoon(int /*signal*/) {
    gIsToEnd = true;
}

}  // namespace

int main(int argc, char** argv) {
    SoakOptions options;
    CLI::App program("Runs a busy machine for a long time and shows what it costs.");
    program.add_option("minutes", options.minutes, "how long")->check(CLI::PositiveNumber)->capture_default_str();
    program.add_option("--seed", options.seed, "of everything that is drawn")->capture_default_str();
    program.add_option("--csv", options.csvFile, "the same figures for a spreadsheet");
    program.add_option("--loss", options.lossPercent, "percentage of the line's frames that suffer something")
        ->check(CLI::Range(0, 50))
        ->capture_default_str();
    CLI11_PARSE(program, argc, argv);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (std::signal(signal, EndSoon) == SIG_ERR) {
            return 2;
        }
    }
    try {
        return Soak(options).Run([] { return gIsToEnd.load(); }) ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "veltrix_soak: " << error.what() << "\n";
        return 1;
    }
}
