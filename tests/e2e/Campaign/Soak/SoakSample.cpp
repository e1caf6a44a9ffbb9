#include "tests/e2e/Campaign/Soak/SoakSample.h"

#include <fmt/format.h>

namespace {

double Seconds(const SoakSample& sample) {
    return static_cast<double>(sample.elapsed.count()) / 1000;
}

}  // namespace

void WriteCsvHeader(std::ostream& out) {
    out << "seconds,frames_from_module,frames_to_module,bus_messages,carrier_errors,carrier_errors_acknowledged,"
           "retries,updates,updates_failed,cpu_seconds,cpu_percent,resident_kib,descriptors,threads,"
           "watcher_resident_kib\n";
}

void WriteCsv(std::ostream& out, const SoakSample& sample) {
    out << fmt::format("{:.1f},{},{},{},{},{},{},{},{},{:.2f},{:.2f},{},{},{},{}\n", Seconds(sample),
                       sample.framesFromModule, sample.framesToModule, sample.busMessages, sample.errors,
                       sample.errorsAcknowledged, sample.retries, sample.updates, sample.updatesFailed,
                       sample.process.cpuSeconds, sample.cpuPercent, sample.process.residentKiB,
                       sample.process.descriptors, sample.process.threads, sample.watcher.residentKiB)
        << std::flush;
}

void WriteLine(std::ostream& out, const SoakSample& sample) {
    out << fmt::format(
               "{:>6.0f} s  frames {}/{} from/to module  bus {}  errors {} acked of {}  retries {}  updates {} (+{} "
               "failed)  CPU {:.2f} s {:.1f} %  {} KiB  {} fds  {} threads",
               Seconds(sample), sample.framesFromModule, sample.framesToModule, sample.busMessages,
               sample.errorsAcknowledged, sample.errors, sample.retries, sample.updates, sample.updatesFailed,
               sample.process.cpuSeconds, sample.cpuPercent, sample.process.residentKiB, sample.process.descriptors,
               sample.process.threads)
        << std::endl;
}
