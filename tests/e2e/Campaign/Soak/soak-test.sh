#!/usr/bin/env bash
# soak-test.sh VELTRIX_SOAK: a short soak ends well, with all its lines, and one whose process dies does not.
set -uo pipefail
soak=$1
folder=$(mktemp -d)
running=
trap '[[ -z "$running" ]] || kill -TERM "$running" 2>/dev/null; rm -rf "$folder"' EXIT

Fail() {
    echo "FAILED: $*"
    cat "$folder/out"
    exit 1
}

# Expect PATTERN [FILE]: a line of it matches, from its beginning to its end.
Expect() {
    grep -Exq -- "$1" "${2:-$folder/out}" || Fail "no line \"$1\""
}

sample='^ *[0-9]+ s  frames [0-9]+/[0-9]+ from/to module  bus [1-9][0-9]*  errors [0-9]+ acked of [0-9]+  retries [0-9]+'
sample+='  updates [0-9]+ \(\+[0-9]+ failed\)  CPU [0-9.]+ s [0-9.]+ %  [1-9][0-9]* KiB  [1-9][0-9]* fds  [1-9]+ threads'
header='seconds,frames_from_module,frames_to_module,bus_messages,carrier_errors,carrier_errors_acknowledged,retries,'
header+='updates,updates_failed,cpu_seconds,cpu_percent,resident_kib,descriptors,threads,watcher_resident_kib'

echo "A short one, of twelve seconds"
"$soak" 0.2 --seed 3 --loss 1 --csv "$folder/csv" >"$folder/out" 2>&1 || Fail "status $?"
cat "$folder/out"
Expect "$sample"
Expect 'growth, last quarter against the second: .*|growth: too short a run to tell'
Expect 'stopped with status 0, images that nobody made: 0'
[[ $(head -n 1 "$folder/csv") == "$header" ]] || Fail "the table's header is $(head -n 1 "$folder/csv")"
(($(wc -l <"$folder/csv") == $(grep -Exc -- "$sample" "$folder/out") + 1)) || Fail "the table has other samples"
tail -n +2 "$folder/csv" | grep -Evx '[0-9.]+(,[0-9.]+){14}' && Fail "the table has a line that is none"

echo "One whose process is killed"
"$soak" 10 --seed 4 --csv "$folder/begun" >"$folder/out" 2>&1 &
running=$!
until [[ -e "$folder/begun" ]]; do # the machine is ready
    kill -0 "$running" 2>/dev/null || Fail "it ended before its machine was ready"
    sleep 0.05
done
process=$(pgrep -P "$running" -x VeltrixHAL) || Fail "there is no process to kill"
kill -KILL "$process"
wait "$running"
status=$?
running=
((status == 1)) || Fail "status $status"
cat "$folder/out"
Expect "${sample/\[1-9\]\[0-9\]\*  errors/[0-9]+  errors}"
Expect 'growth: too short a run to tell'
Expect 'the process has ended by itself, with status -9, images that nobody made: 0'
