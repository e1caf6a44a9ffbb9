#!/usr/bin/env bash
# lint.sh JOBS: format of all C and C++ files, which folder may include which, shellcheck over the scripts, clang-tidy
# over everything that is compiled.
set -euo pipefail
VELTRIX_TREE=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
source "$VELTRIX_TREE/scripts/common.sh"
(($# == 1)) || Die "usage: scripts/lint.sh JOBS"
cd "$VELTRIX_TREE"
jobs=$1
build=build/lint
status=0

Heading "Format"
mapfile -t sources < <(TrackedFiles '*.c' '*.cpp' '*.h')
((${#sources[@]} > 0)) || Die "no source files found"
if printf '%s\0' "${sources[@]}" | xargs -0 -n 32 -P "$jobs" clang-format --dry-run -Werror; then
    echo "${#sources[@]} files are formatted"
else
    status=1
fi

Heading "Layers"
# Of each folder, the folders whose headers it may include; of the platform library, all others have the public ones.
layers=(
    "libVeltrix: libVeltrix"
    "Common: Common"
    "ProcessorAgnostic: ProcessorAgnostic"
    "OSSpecific: OSSpecific Common"
    "VeltrixHAL: VeltrixHAL OSSpecific ProcessorAgnostic Common"
    "CarrierSimulator: CarrierSimulator"
)
isLayered=true
for layer in "${layers[@]}"; do
    allowed=${layer#*: }
    [[ -d "${layer%%:*}" ]] || Die "there is no folder ${layer%%:*}"
    if grep -rnE --include='*.cpp' --include='*.h' '#include "' "${layer%%:*}" | grep -vE "#include \"(${allowed// /|})/"; then
        isLayered=false
    fi
done
if $isLayered; then
    echo "${#layers[@]} folders include only what lies below them"
else
    status=1
fi

Heading "Shell scripts"
scripts=()
while IFS= read -r file; do
    # Files that are only sourced are checked as part of the script that does so.
    if head -c 64 "$file" | head -n 1 | grep -aq '^#!.*sh$'; then
        scripts+=("$file")
    fi
done < <(TrackedFiles '*.sh' '.ci/*')
if shellcheck --external-sources --check-sourced "${scripts[@]}"; then
    echo "${#scripts[@]} scripts are clean"
else
    status=1
fi

Heading "clang-tidy"
Configure lint | tail -n 1
cmake --build "$build" --target veltrix_commit >/dev/null
mapfile -t compiled < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$build/compile_commands.json" | sort -u)
tidied=()
for file in "${compiled[@]}"; do
    [[ "$file" == "$PWD"/build/* ]] || tidied+=("$file")
done
((${#tidied[@]} > 0)) || Die "nothing to check in $build/compile_commands.json"
findings=$(mktemp)
trap 'rm -f "$findings"' EXIT
# What clang-tidy counts and suppresses goes to standard error and says nothing; findings are on standard output.
if printf '%s\0' "${tidied[@]}" |
    xargs -0 -n 1 -P "$jobs" scripts/tidy-file.sh "$build" >"$findings"; then
    echo "${#tidied[@]} files are clean"
else
    # A finding in a header comes up once for each file that includes it.
    awk '/: (warning|error|note): / { skip = seen[$0]++ } !skip' "$findings"
    status=1
fi
exit "$status"
