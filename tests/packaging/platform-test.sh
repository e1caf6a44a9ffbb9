#!/usr/bin/env bash
# platform-test.sh CMAKE SOURCE BUILD: builds the process on BUILD's installed platform library and headers, as if they
# had come with the system image, and runs it.
set -euo pipefail
cmake=$1
source=$2
build=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

Fail() {
    echo "FAILED: $*" >&2
    tail -n 40 "$scratch/log" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$scratch/image" >"$scratch/log" 2>&1 || Fail "no installation"
library=$(find "$scratch/image" -name libVeltrix.so)
"$cmake" -S "$source" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELTRIX_BUILD_BENCH=OFF \
    -DVELTRIX_PLATFORM_LIBRARY="$library" -DVELTRIX_PLATFORM_INCLUDE_DIR="$scratch/image/include" \
    >"$scratch/log" 2>&1 || Fail "it cannot be configured"
"$cmake" --build "$scratch/build" --parallel 1 --target VeltrixHAL >"$scratch/log" 2>&1 || Fail "it cannot be built"
[[ ! -e "$scratch/build/libVeltrix.so" ]] || Fail "it has built a library of its own"
version=$("$scratch/build/VeltrixHAL" -V) || Fail "VeltrixHAL -V ended with status $?"
[[ "$version" =~ ^Version\ undefined\ [0-9a-f]{40}\ dirty$ ]] || Fail "unexpected version line: $version"
loaded=$(LD_TRACE_LOADED_OBJECTS=1 "$scratch/build/VeltrixHAL" | sed -n 's/.*libVeltrix\.so => \([^ ]*\).*/\1/p')
[[ "$(readlink -f "$loaded")" == "$(readlink -f "$library")" ]] || Fail "the library comes from \"$loaded\""
echo "built and run on $(basename "$library")"
