// The files that the carrier is updated from, and the phases that it is told of.
#pragma once

#include <cstdint>
#include <string_view>

enum FileDest_t : std::uint8_t {
    Dest_MainCarrierProgram_Hex = 0,
    Dest_BootloadProgram_Hex = 1,
    Dest_MainCarrierProgram_Bin = 2,
    Dest_BootloadProgram_Bin = 3,
};

enum FirmwareUpdateState_e : std::uint16_t {
    UpdatePhase_1 = 1,      // a boot-loader file is being sent
    UpdatePhase_2 = 2,      // an application file is being sent
    UpdatePhase_3 = 3,      // the application has been sent and is about to be applied
    UpdatePhase_4 = 4,      // the application has been applied and the carrier is back
    UpdatePhase_End = 5,    // the whole update was successful
    UpdatePhase_Clear = 6,  // never sent by the module
    UpdatePhase_Fail = 7,   // the whole update failed
};

struct FirmwareFile {
    std::string_view name;
    FileDest_t destination;
    FirmwareUpdateState_e phase;
};

// The entry of a file name, compared to the letter; null for a name that is not accepted.
const FirmwareFile* FindFirmwareFile(std::string_view fileName);

// Whether the name is that of an application file: only these are announced with phases 3 and 4.
bool IsApplicationFile(std::string_view fileName);
