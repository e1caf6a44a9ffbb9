#include "VeltrixHAL/VeltrixComm/FirmwareFiles.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array kFiles = {
    FirmwareFile{"PreBoot.hex", Dest_BootloadProgram_Hex, UpdatePhase_1},
    FirmwareFile{"VeltrixBoot.hex", Dest_BootloadProgram_Hex, UpdatePhase_1},
    FirmwareFile{"VeltrixBoot_CRC.bin", Dest_BootloadProgram_Bin, UpdatePhase_1},
    FirmwareFile{"VeltrixApp.hex", Dest_MainCarrierProgram_Hex, UpdatePhase_2},
    FirmwareFile{"VeltrixApp_CRC.bin", Dest_MainCarrierProgram_Bin, UpdatePhase_2},
};

}  // namespace

const FirmwareFile* FindFirmwareFile(std::string_view fileName) {
    const auto* const found =
        std::find_if(kFiles.begin(), kFiles.end(), [&](const FirmwareFile& file) { return file.name == fileName; });
    return found == kFiles.end() ? nullptr : found;
}

bool IsApplicationFile(std::string_view fileName) {
    const FirmwareFile* const file = FindFirmwareFile(fileName);
    return file != nullptr && file->phase == UpdatePhase_2;
}
