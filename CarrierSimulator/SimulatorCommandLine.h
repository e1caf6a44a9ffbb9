#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "CarrierSimulator/CarrierOptions.h"

namespace simulator {

// What the command line asks for.
struct SimulatorSettings {
    CarrierOptions carrier;
    bool isQuiet = false;
    bool isColoured = true;
    bool endsWithInput = false;
    // make-image: write a file and end.
    bool isMakingImage = false;
    std::string imagePath;
    std::size_t imageSize = 0;
};

// Reads the command line. Nothing when the program is to end at once (help, or an error, both already printed); then
// `status` is the exit status.
std::optional<SimulatorSettings> ReadCommandLine(int argc, char** argv, int& status);

}  // namespace simulator
