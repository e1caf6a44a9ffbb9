// What a process costs the computer that it runs on.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>

struct ProcessFigures {
    double cpuSeconds = 0;
    std::size_t residentKiB = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

// From /proc; nothing when there is no such process (any more).
std::optional<ProcessFigures> FiguresOf(pid_t process);
