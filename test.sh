#!/usr/bin/env bash
# Installs what is missing, builds, and proves it. See --help.
set -euo pipefail
VELTRIX_TREE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/common.sh
source "$VELTRIX_TREE/scripts/common.sh"

Usage() {
    cat <<'EOF'
usage: ./test.sh [--asan | --tsan | --coverage | --lint] [--jobs N] [-R REGEX] [-E REGEX] [-L LABEL] [-LE LABEL]

Installs the packages that are missing, builds the tree and runs all of its tests with CTest, in parallel.

  --asan       the same tests under the address, undefined-behaviour and leak sanitizers (clang)
  --tsan       the same tests under the thread sanitizer (clang)
  --coverage   the same tests, then the line coverage of each folder
  --lint       no tests: format of every C++ file, includes across layers, clang-tidy, shellcheck; a finding is an error
  --jobs N     tests (or clang-tidy runs) at a time; tests mostly wait, so the default is four for each core, three
               under a sanitizer
  -R, -E       only, or not, the tests whose names match
  -L, -LE      only, or not, the tests with a matching label
  --help       this text

Status: 0 when everything passed, 1 when something failed (no test found counts as that), 2 for a wrong call.
Builds are kept in build/release, build/asan, build/tsan and build/coverage.
EOF
}

mode=release
jobs=
filters=()
SetMode() {
    [[ $mode == release ]] || Die "one of --asan, --tsan, --coverage and --lint at a time"
    mode=$1
}
while (($# > 0)); do
    case "$1" in
        --asan | --tsan | --coverage | --lint) SetMode "${1#--}" ;;
        --help | -h) Usage; exit 0 ;;
        --jobs | -j)
            [[ "${2:-}" =~ ^[1-9][0-9]*$ ]] || Die "$1 needs a number above 0"
            jobs=$2
            shift
            ;;
        -R | -E | -L | -LE)
            (($# > 1)) || Die "$1 needs an expression"
            filters+=("$1" "$2")
            shift
            ;;
        *) Die "unknown option \"$1\" (see --help)" ;;
    esac
    shift
done
[[ $mode != lint || ${#filters[@]} -eq 0 ]] || Die "--lint runs no tests: -R, -E, -L and -LE do not go with it"

cores=$(nproc)
groups=(build run)
case "$mode" in
    asan | tsan) groups+=(sanitizers) ;;
    coverage) groups+=(coverage) ;;
    lint) groups=(build lint) ;;
esac
"$VELTRIX_TREE/scripts/install-dependencies.sh" "${groups[@]}"

if [[ $mode == lint ]]; then
    exec "$VELTRIX_TREE/scripts/lint.sh" "${jobs:-$cores}"
fi

# The sanitizers' shadow memory of this compiler collides with the widest address-space randomisation of newer kernels.
launcher=()
if [[ $mode == asan || $mode == tsan ]] && setarch "$(uname -m)" -R true 2>/dev/null; then
    launcher=(setarch "$(uname -m)" -R)
fi

cd "$VELTRIX_TREE"
Heading "Building ($mode)"
Configure "$mode" | tail -n 3
"${launcher[@]}" cmake --build --preset "$mode" --parallel "$cores" || exit 1

Heading "Testing ($mode)"
[[ $mode != coverage ]] || find build/coverage -name '*.gcda' -delete
rm -f "build/$mode/failures.txt"
perCore=4
[[ $mode != asan && $mode != tsan ]] || perCore=3
status=0
"${launcher[@]}" ctest --preset "$mode" --parallel "${jobs:-$((perCore * cores))}" "${filters[@]}" || status=1
if ((status != 0)); then
    Heading "What failed ($mode)"
    scripts/failures.sh "build/$mode" | tee "build/$mode/failures.txt"
fi

if [[ $mode == coverage ]]; then
    scripts/coverage.sh build/coverage || status=1
fi
exit "$status"
