#!/usr/bin/env bash
# failures.sh BUILD: what failed in the last run of CTest there, short enough to read: of each test its name, its first
# failures, or the end of its output where it names none. The whole outputs are in the log that this reads.
set -euo pipefail
log=$1/Testing/Temporary/LastTest.log
[[ -r "$log" ]] || exit 0
awk '
    function Take(line) { taken[++count] = substr(line, 1, 300) }
    function End(at) {
        if (name == "" || verdict == "Test Passed.") return
        printf "\n%s: %s\n", name, verdict == "" ? "not run" : verdict " " time
        if (count == 0)
            for (at = (lines > 20 ? lines - 19 : 1); at <= lines; ++at) Take(output[at])
        for (at = 1; at <= count; ++at) print "    " taken[at]
    }
    /^[0-9]+\/[0-9]+ Testing: / {
        End()
        name = $0; sub(/^[^:]*: /, "", name); sub(/  # GetParam.*/, "", name)
        verdict = time = ""; count = lines = failures = rest = 0; isOutput = 0
        split("", output); split("", taken)
        next
    }
    /^Output:$/ && lines == 0 { isOutput = 1; getline; next }
    /^<end of output>$/ { isOutput = 0; next }
    !isOutput && /^Test [A-Z]/ { verdict = $0 }
    !isOutput && /^Test time/ { time = $4 " s" }
    !isOutput { next }
    { output[++lines] = $0 }
    / Failure$|^FAILED: |ERROR: .*Sanitizer|WARNING: ThreadSanitizer|runtime error: / && ++failures <= 5 { rest = 8 }
    rest > 0 { Take($0); --rest }
    END { End() }
' "$log"
