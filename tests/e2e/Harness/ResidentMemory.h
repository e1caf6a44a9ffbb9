// Whether the resident memory of the process says what the process itself holds.
#pragma once

// Under a sanitizer it does not: the runtime keeps what was freed (up to 256 MiB) and fills stacks of its own, for
// minutes. There, what was lost is found at the process's end; what is hoarded shows in every other build.
inline constexpr bool kIsResidentMemoryItsOwn = !VELTRIX_IS_SANITIZED;
