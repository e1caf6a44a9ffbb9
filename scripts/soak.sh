#!/usr/bin/env bash
# A busy machine for a long time, with figures. See --help.
set -uo pipefail
VELTRIX_TREE=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
source "$VELTRIX_TREE/scripts/common.sh"

Usage() {
    cat <<'EOF'
usage: scripts/soak.sh [MINUTES] [--seed N] [--csv FILE] [--loss PERCENT]

Installs the packages that are missing, builds, and runs VeltrixHAL with a broker and a simulated carrier for MINUTES
(10 if not given): heartbeats, LED and other settings, data reporting, carrier errors, welds and firmware updates, in
any order. Every ten seconds, and at the end, one line says what has happened and what the process costs.

  --seed N        of everything that is drawn; 1 if not given
  --csv FILE      the same figures for a spreadsheet
  --loss PERCENT  so many of the line's frames, in both directions, are lost, damaged, cut, doubled, late or preceded
                  by noise; 0 if not given
  --help          this text

Ctrl-C ends the run in order. Status 0 when the process lived, answered to its end, stopped with status 0, and had no
more descriptors or threads than after its warm-up (a minute, or the first ten seconds of a shorter run) and at most
256 KiB more memory.
Nothing outside a scratch folder is touched: restarts are only recorded, and this computer's clock is not set.
EOF
}

arguments=()
while (($# > 0)); do
    case "$1" in
        --seed | --csv | --loss)
            [[ -n "${2:-}" ]] || Die "$1 needs an argument"
            arguments+=("$1" "$2")
            shift
            ;;
        --help | -h) Usage; exit 0 ;;
        -*) Die "unknown option \"$1\" (see --help)" ;;
        *) arguments+=("$1") ;;
    esac
    shift
done

build=$VELTRIX_TREE/build/release
"$VELTRIX_TREE/scripts/install-dependencies.sh" build run || exit
Heading "Building"
Configure release | tail -n 1
((PIPESTATUS[0] == 0)) || Die "the build cannot be configured"
cmake --build "$build" --target veltrix_soak || Die "the build failed"

Heading "Running (Ctrl-C ends it)"
# A session of its own: Ctrl-C comes here only, and not to every process of the machine at once.
setsid "$build/tests/veltrix_soak" "${arguments[@]}" </dev/null &
soak=$!
trap 'kill -TERM "$soak" 2>/dev/null' INT TERM HUP
wait "$soak"
status=$?
while ((status > 128)) && kill -0 "$soak" 2>/dev/null; do # a wait that a signal interrupts is taken up again
    wait "$soak"
    status=$?
done
exit "$status"
