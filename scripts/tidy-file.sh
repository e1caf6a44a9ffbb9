#!/usr/bin/env bash
# tidy-file.sh BUILD FILE: clang-tidy over one file, its findings in one piece so that parallel runs do not mix.
set -euo pipefail
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
clang-tidy --quiet -p "$1" "$2" >"$log" 2>&1 || status=1
if ((status != 0)); then
    grep -vE '^[0-9]+ (warnings?|errors?)( and [0-9]+ errors?)? generated\.$|^Suppressed |^Use -header-filter' "$log" || true
fi
exit "$status"
