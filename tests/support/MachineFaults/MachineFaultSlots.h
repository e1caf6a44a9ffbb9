// What the test and the preloaded library tell each other: a file of 64-bit numbers that both have mapped, one per
// slot. Named to the library by VELTRIX_MACHINE_FAULTS; without it nothing is changed.
#pragma once

enum MachineFaultSlot {
    MachineFaultSlot_ClockShift,     // seconds that the time of day is ahead; steady time is as it is
    MachineFaultSlot_ShortWrites,    // as many coming writes to a terminal take half of their bytes
    MachineFaultSlot_RefusedWrites,  // as many coming writes to a terminal fail with EAGAIN
    MachineFaultSlot_IsUnreadable,   // reading from a terminal fails with EIO
    MachineFaultSlot_IsDiskFull,     // writing to a file below VELTRIX_ROOT/Veltrix fails with ENOSPC
    MachineFaultSlot_IsReadOnly,     // changing anything below VELTRIX_ROOT/Veltrix fails with EROFS
    MachineFaultSlot_IsForkRefused,  // no new process: EAGAIN
    MachineFaultSlot_IsUsedUp,       // no new file descriptor: EMFILE
    MachineFaultSlot_Hits,           // how many calls have suffered from one of these, the clock aside
    MachineFaultSlot_Count
};
