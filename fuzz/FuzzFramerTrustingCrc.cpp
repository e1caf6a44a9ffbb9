// The framer on arbitrary bytes, with every CRC right: mutations get past the two comparisons. The input is described
// in FramerExercise.h.
#include "VeltrixHAL/VeltrixComm/crc16.h"
#include "fuzz/FramerExercise.h"
#include "fuzz/Support/Surroundings.h"

// In place of the real one: the two bytes that follow the data, as the framer reads them. In both of its buffers the
// received CRC stands directly behind the data.
std::uint16_t getCrc16(const std::uint8_t* data, std::uint16_t length) {
    return static_cast<std::uint16_t>(data[length] | (data[length + 1] << 8));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ExerciseFramer(data, size, ReferenceDecoder::Crc::Trusted);
    return 0;
}
