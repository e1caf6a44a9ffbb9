// The whole link: a sequence of events on the carrier interface with a scripted port and a clock of its own.
//
//   byte 0   bit 0: verbose; bit 1: the clock is about to wrap; bit 2: the module's clock is set from the carrier's;
//            bit 3: the Tessimor process is alive; bit 4: setting the clock fails; bit 5: the shell fails
//   then events, each a byte (modulo 17) and what it takes (delays in 4 ms; a payload is a length and so many bytes, or
//   255 and a 16-bit length of a ramp; words low byte first):
//    0 bytes on the line: delay, length, bytes           9 firmware update: name, kind, size, time to the stop
//    1 a frame: delay, command, payload                 10 LED: name, state
//    2 a damaged frame: delay, place, command, payload  11 threshold: two bytes
//    3 answer to the next command: delay, kind ...      12 a wait without a command: command, time-out
//    4 usual answer: delay, kind ...                    13 time passes: milliseconds, two bytes
//    5 polls of the processing thread: how many         14 SD card: kind
//    6 command: command, length, time-out, first byte   15 check-in with the system monitor
//    7 request: command, size of the answer buffer      16 the process stops during the next operation
//    8 bus message: type, fields
#include "fuzz/Link/LinkRun.h"
#include "fuzz/Support/Surroundings.h"

namespace {

constexpr unsigned int kMostEvents = 64;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::ByteSource source(data, size);
    LinkRun run(source);
    for (unsigned int i = 0; i < kMostEvents && !source.IsEmpty(); ++i) {
        run.Step(source);
    }
    return 0;
}
