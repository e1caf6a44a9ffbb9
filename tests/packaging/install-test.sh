#!/usr/bin/env bash
# install-test.sh CMAKE BUILD: installs BUILD below a folder of its own, moves that, and looks at what is there.
set -euo pipefail
cmake=$1
build=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

Fail() {
    echo "FAILED: $*" >&2
    find "$scratch" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$scratch/first" >"$scratch/log" 2>&1 || { cat "$scratch/log"; Fail "no installation"; }
prefix=$scratch/first
unit=$prefix/lib/systemd/system/VeltrixHAL.service
for file in bin/VeltrixHAL bin/CarrierSimulator include/Veltrix/EventClient.h include/Veltrix/DataTypes.h \
    lib/systemd/system/VeltrixHAL.service lib/systemd/system/VeltrixBus.service \
    share/VeltrixHAL/mosquitto.conf share/VeltrixHAL/identity.config share/VeltrixHAL/settings.json; do
    [[ -s "$prefix/$file" ]] || Fail "$file is missing"
done
[[ -n "$(find "$prefix" -name libVeltrix.so)" ]] || Fail "the library is missing"

grep -qx "ExecStart=$prefix/bin/VeltrixHAL -f" "$unit" || Fail "the unit starts something else: $(grep ExecStart "$unit")"
! grep -q '@' "$prefix"/lib/systemd/system/*.service || Fail "a placeholder is left in a unit file"
grep -q '"Core": 1$' "$prefix/share/VeltrixHAL/settings.json" || Fail "the sample settings leave the core service off"

# Moved away from where it was installed, and without the build's library: it must find its own beside it.
mv "$prefix" "$scratch/second"
prefix=$scratch/second
version=$(env -u LD_LIBRARY_PATH "$prefix/bin/VeltrixHAL" -V) || Fail "VeltrixHAL -V ended with status $?"
[[ "$version" =~ ^Version\ undefined\ [0-9a-f]{40}\ dirty$ ]] || Fail "unexpected version line: $version"
loaded=$(env -u LD_LIBRARY_PATH LD_TRACE_LOADED_OBJECTS=1 "$prefix/bin/VeltrixHAL" | sed -n 's/.*libVeltrix\.so => \([^ ]*\).*/\1/p')
[[ "$(readlink -f "$loaded")" == "$(readlink -f "$prefix")"/* ]] || Fail "the library comes from \"$loaded\""

# The sample configuration is one that the broker takes; the socket moves to the scratch folder.
sed "s|/var/veltrix.unix|$scratch/bus|" "$prefix/share/VeltrixHAL/mosquitto.conf" >"$scratch/mosquitto.conf"
PATH=$PATH:/usr/sbin mosquitto -c "$scratch/mosquitto.conf" 2>"$scratch/broker.log" &
broker=$!
trap 'kill "$broker" 2>/dev/null; wait "$broker" 2>/dev/null; rm -rf "$scratch"' EXIT
for ((tries = 0; tries < 100; ++tries)); do
    [[ ! -S "$scratch/bus" ]] || break
    kill -0 "$broker" 2>/dev/null || break
    sleep 0.1
done
[[ -S "$scratch/bus" ]] || { cat "$scratch/broker.log" >&2; Fail "the broker does not take mosquitto.conf"; }
echo "installed, moved, started"
