// What the code under test finds around it: a silent console, a log that leads nowhere but composes its messages, and
// a folder of its own in place of the machine's files. Set up before the first input, by libFuzzer or by the replay.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Fuzz {

// The folder that stands for "/" (VELTRIX_ROOT); removed when the program ends by itself. Without a trailing slash.
const std::string& Root();

// A file below the folder, given by its path on the machine; the folders on the way are made.
void WriteRootedFile(std::string_view path, std::string_view content);
void RemoveRooted(std::string_view path);

// Writes to what was standard error when the program started.
void Report(std::string_view text);

}  // namespace Fuzz
