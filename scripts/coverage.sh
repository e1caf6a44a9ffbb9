#!/usr/bin/env bash
# coverage.sh BUILD: line coverage of each folder after the tests of an instrumented build ran. Below BUILD/coverage:
# lines.csv (each file) and index.html (each line).
set -euo pipefail
VELTRIX_TREE=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
source "$VELTRIX_TREE/scripts/common.sh"
(($# == 1)) || Die "usage: scripts/coverage.sh BUILD"
cd "$VELTRIX_TREE"
build=$1
mkdir -p "$build/coverage"

Heading "Line coverage"
# A process that exits while its threads run leaves counters that do not add up: gcov works out a negative one for some
# branch, which gcovr takes for an error of the file. Branches are not counted here.
gcovr --root . --object-directory "$build" --exclude-unreachable-branches --exclude-throw-branches \
    --gcov-ignore-parse-errors \
    --filter 'VeltrixHAL/' --filter 'Common/' --filter 'OSSpecific/' --filter 'ProcessorAgnostic/' \
    --filter 'libVeltrix/' --filter 'CarrierSimulator/' \
    --csv "$build/coverage/lines.csv" --html-details "$build/coverage/index.html"

awk -F, '
    NR == 1 { next }
    {
        folder = $1
        sub(/\/[^\/]*$/, "", folder)
        total[folder] += $2; covered[folder] += $3; all += $2; allCovered += $3
    }
    END {
        for (folder in total)
            printf "%-36s %6d of %6d lines  %6.2f %%\n", folder, covered[folder], total[folder],
                total[folder] ? 100 * covered[folder] / total[folder] : 100 | "sort"
        close("sort")
        if (all == 0) { print "no coverage data" > "/dev/stderr"; exit 1 }
        printf "%-36s %6d of %6d lines  %6.2f %%\n", "all", allCovered, all, 100 * allCovered / all
    }' "$build/coverage/lines.csv"
echo "each line: $build/coverage/index.html"
