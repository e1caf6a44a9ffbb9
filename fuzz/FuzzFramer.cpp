// The framer on arbitrary bytes in arbitrary pieces. The input is described in FramerExercise.h.
#include "fuzz/FramerExercise.h"
#include "fuzz/Support/Surroundings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ExerciseFramer(data, size, ReferenceDecoder::Crc::Checked);
    return 0;
}
