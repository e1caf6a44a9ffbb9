#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The module's end of the line in a test: plain bytes on the pseudo terminal, no frames, no CRC.
class ModuleEnd {
public:
    explicit ModuleEnd(const std::string& path);
    ~ModuleEnd();
    ModuleEnd(const ModuleEnd&) = delete;
    ModuleEnd& operator=(const ModuleEnd&) = delete;

    bool IsOpen() const { return mDescriptor >= 0; }

    // Bytes as hexadecimal text, blanks ignored; false when not all of them could be written.
    bool Write(std::string_view hex);
    bool WriteBytes(const std::vector<uint8_t>& bytes);

    // "0A 01 ...", `count` bytes, or fewer when they do not come in time.
    std::string Read(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10));

    // Everything that comes until nothing has come for that long.
    std::string ReadUntilQuiet(std::chrono::milliseconds quiet);

    // True when the far end hangs up in time.
    bool WaitForHangUp(std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

private:
    int mDescriptor = -1;
};
