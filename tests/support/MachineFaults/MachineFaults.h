// A machine in trouble: its disk, its line and its clock as a test wants them.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/MachineFaults/MachineFaultSlots.h"
#include "tests/support/TempFolder.h"

// For a process that is started with the library of that name preloaded and VELTRIX_MACHINE_FAULTS set to Path(); it
// obeys at once. Throws std::runtime_error when the file cannot be made.
class MachineFaults {
public:
    MachineFaults();
    ~MachineFaults();
    MachineFaults(const MachineFaults&) = delete;
    MachineFaults& operator=(const MachineFaults&) = delete;

    std::string Path() const { return mFolder / "slots"; }

    void ShiftClock(std::int64_t seconds) { Set(MachineFaultSlot_ClockShift, seconds); }
    void ShortenWrites(std::int64_t count) { Set(MachineFaultSlot_ShortWrites, count); }
    void RefuseWrites(std::int64_t count) { Set(MachineFaultSlot_RefusedWrites, count); }
    void FailReads(bool areFailing) { Set(MachineFaultSlot_IsUnreadable, areFailing ? 1 : 0); }
    void FillDisk(bool isFull) { Set(MachineFaultSlot_IsDiskFull, isFull ? 1 : 0); }
    void ProtectDisk(bool isReadOnly) { Set(MachineFaultSlot_IsReadOnly, isReadOnly ? 1 : 0); }

    void RefuseForks(bool isRefused) { Set(MachineFaultSlot_IsForkRefused, isRefused ? 1 : 0); }
    void UseUpDescriptors(bool areUsedUp) { Set(MachineFaultSlot_IsUsedUp, areUsedUp ? 1 : 0); }

    // Calls that suffered so far.
    std::int64_t Hits() const;

private:
    void Set(MachineFaultSlot slot, std::int64_t value);

    TempFolder mFolder;
    std::int64_t* mSlots = nullptr;
};
