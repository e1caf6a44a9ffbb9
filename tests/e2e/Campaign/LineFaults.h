// A line that does every kind of harm.
#pragma once

#include "tests/e2e/Harness/Machine.h"

// In both directions that share of the frames is lost, damaged, cut short, doubled, late, or comes behind bytes or a
// frame that nobody sent. 0 for a clean line.
void SetLineFaults(Machine& machine, double share);
