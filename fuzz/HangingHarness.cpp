// A harness that never comes back: for the test of the replay's watchdog.
#include "fuzz/Support/Surroundings.h"

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* /*data*/, std::size_t /*size*/) {
    while (true) {
        ::pause();
    }
}
