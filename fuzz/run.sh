#!/bin/bash
# Runs the fuzzers.
#
#     fuzz/run.sh [seconds] [target...]      each target for so many seconds (10), all of them by default
#     fuzz/run.sh --merge [target...]        takes new inputs into the corpus of the tree
#
# As many at a time as there are processors. One line per target: executions, coverage, findings. Status 1 when there was a finding, 2 when nothing could be run.
# Builds with clang in $VELTRIX_FUZZ_BUILD (build-fuzz in the tree), where the inputs found so far are kept as well.
set -u -o pipefail

tree=$(cd "$(dirname "$0")/.." && pwd) || exit 2
build=${VELTRIX_FUZZ_BUILD:-$tree/build-fuzz}
all="Framer FramerTrustingCrc Link DataTypes Configuration Identity StoredConfig DateTime IfconfigParsers"

seconds=10
merge=no
if [[ ${1:-} == --merge ]]; then
    merge=yes
    shift
elif [[ ${1:-} =~ ^[0-9]+$ ]]; then
    seconds=$1
    shift
fi
targets=${*:-$all}

die() {
    echo "fuzz/run.sh: $*" >&2
    exit 2
}

for target in $targets; do
    [[ " $all " == *" $target "* ]] || die "no target $target; there are: $all"
done

# The harnesses' machine folders are small and short-lived; the settings they write must not wait for a disk.
if [[ -z ${TMPDIR:-} && -w /dev/shm ]]; then
    export TMPDIR=/dev/shm
fi
if ! command -v llvm-symbolizer >/dev/null; then
    for each in /usr/lib/llvm-*/bin/llvm-symbolizer; do
        [[ -x $each ]] && export ASAN_SYMBOLIZER_PATH=$each
    done
fi
export UBSAN_OPTIONS=print_stacktrace=1:${UBSAN_OPTIONS:-}

build_all() {
    mkdir -p "$build/log"
    {
        cmake -S "$tree" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="${CXX:-clang++}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
            -DVELTRIX_BUILD_FUZZERS=ON -DVELTRIX_BUILD_BENCH=OFF &&
            cmake --build "$build" --target fuzzers
    } >"$build/log/build.log" 2>&1 || {
        tail -n 30 "$build/log/build.log" >&2
        die "the build failed, see $build/log/build.log"
    }
}

dictionary_of() {
    local parts=$1
    case $1 in
        FramerTrustingCrc) parts=Framer ;;
        DataTypes | Configuration | Identity | StoredConfig) parts="Json $1" ;;
    esac
    for part in $parts; do
        cat "$tree/fuzz/dictionaries/$part.dict"
    done
}

run_target() {
    local target=$1
    local log=$build/log/$target.log
    local findings=$build/findings/$target
    mkdir -p "$build/corpus/$target" "$findings"
    dictionary_of "$target" >"$build/log/$target.dict"
    touch "$build/log/$target.begin"
    # Both console streams of the code under test are closed; libFuzzer keeps a way out for itself.
    # Slow is what a busy computer makes slow: only what hangs is a finding.
    "$build/fuzz/Fuzz$target" -max_total_time="$seconds" -timeout=60 -report_slow_units=60 -rss_limit_mb=3072 \
        -close_fd_mask=3 -print_final_stats=1 -dict="$build/log/$target.dict" -artifact_prefix="$findings/" \
        "$build/corpus/$target" "$tree/fuzz/corpus/$target" >"$log" 2>&1
    local status=$?
    local found executions speed coverage
    found=$(find "$findings" -type f -newer "$build/log/$target.begin" | wc -l)
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
    coverage=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -n 1 | sed -E 's/cov: ([0-9]+) ft: ([0-9]+)/\1 edges \2 features/')
    if ((status != 0 && found == 0)); then
        found=1
    fi
    printf '%-18s %10s executions %7s/s   %-28s %s findings\n' "$target" "${executions:-?}" "${speed:-?}" \
        "${coverage:-no coverage}" "$found"
    if ((found != 0)); then
        grep -vE '^#[0-9]+\s' "$log" | tail -n 40 >&2
        echo "    inputs: $findings, log: $log" >&2
        return 1
    fi
}

# Takes over what reaches new code (how often does not matter), under names that tell found inputs from written ones.
merge_target() {
    local target=$1
    local corpus=$tree/fuzz/corpus/$target
    mkdir -p "$build/corpus/$target"
    "$build/fuzz/Fuzz$target" -set_cover_merge=1 -use_counters=0 -close_fd_mask=3 "$corpus" "$build/corpus/$target" \
        >"$build/log/$target.merge.log" 2>&1 || die "the merge of $target failed, see $build/log/$target.merge.log"
    local file
    for file in "$corpus"/*; do
        if [[ ${file##*/} =~ ^[0-9a-f]{40}$ ]]; then
            mv "$file" "$corpus/found-$(basename "$file" | cut -c1-10)"
        fi
    done
    printf '%-18s %5s files %8s bytes\n' "$target" "$(find "$corpus" -type f | wc -l)" \
        "$(find "$corpus" -type f -printf '%s\n' | awk '{sum += $1} END {print sum + 0}')"
}

build_all
if [[ $merge == yes ]]; then
    for target in $targets; do
        merge_target "$target"
    done
    exit 0
fi
# One for each processor at a time: a fuzzer has one thread.
result=0
for target in $targets; do
    while (($(jobs -pr | wc -l) >= $(nproc))); do
        wait -n || result=1
    done
    run_target "$target" &
done
while [[ -n $(jobs -p) ]]; do
    wait -n || result=1
done
exit $result
