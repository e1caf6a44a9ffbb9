#!/usr/bin/env bash
# install-test.sh CMAKE BUILD: installs BUILD below a folder of its own, moves that, and looks at what is there.
set -euo pipefail
cmake=$1
build=$2
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

Fail() {
    echo "FAILED: $*" >&2
    find "$scratch" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$scratch/first" >"$scratch/log" 2>&1 || { cat "$scratch/log"; Fail "no installation"; }
prefix=$scratch/first
units=$prefix/lib/systemd/system
for file in bin/VeltrixHAL bin/CarrierSimulator include/Veltrix/EventClient.h include/Veltrix/DataTypes.h \
    lib/systemd/system/VeltrixHAL.service lib/systemd/system/VeltrixBus.service \
    share/VeltrixHAL/mosquitto.conf share/VeltrixHAL/identity.config share/VeltrixHAL/settings.json; do
    [[ -s "$prefix/$file" ]] || Fail "$file is missing"
done
[[ -n "$(find "$prefix" -name libVeltrix.so)" ]] || Fail "the library is missing"

Starts() {
    grep -qxF "ExecStart=$2" "$units/$1" || Fail "$1 starts something else: $(grep ExecStart= "$units/$1")"
}
Starts VeltrixHAL.service "$prefix/bin/VeltrixHAL -f"
Starts VeltrixBus.service "/usr/sbin/mosquitto -c $prefix/share/VeltrixHAL/mosquitto.conf"
! grep -q '@' "$units"/*.service || Fail "a placeholder is left in a unit file"
grep -q '"Core": 1$' "$prefix/share/VeltrixHAL/settings.json" || Fail "the sample settings leave the core service off"

# Moved away from where it was installed, and without the build's library: it must find its own beside it.
mv "$prefix" "$scratch/second"
prefix=$scratch/second
version=$(env -u LD_LIBRARY_PATH "$prefix/bin/VeltrixHAL" -V) || Fail "VeltrixHAL -V ended with status $?"
[[ "$version" =~ ^Version\ undefined\ [0-9a-f]{40}\ dirty$ ]] || Fail "unexpected version line: $version"
loaded=$(env -u LD_LIBRARY_PATH LD_TRACE_LOADED_OBJECTS=1 "$prefix/bin/VeltrixHAL" | sed -n 's/.*libVeltrix\.so => \([^ ]*\).*/\1/p')
[[ "$(readlink -f "$loaded")" == "$(readlink -f "$prefix")"/* ]] || Fail "the library comes from \"$loaded\""

# The broker refuses what the library would not read, and nothing less.
largest=$(sed -n 's/^constexpr std::size_t kMaxReceived = std::size_t{\([0-9]*\)} \* 1024 \* 1024;$/\1/p' \
    "$source/libVeltrix/src/BusLimits.h")
((largest > 0)) || Fail "the library's largest message is nowhere to be found"
largest=$((largest * 1024 * 1024))
grep -qxF "message_size_limit $largest" "$prefix/share/VeltrixHAL/mosquitto.conf" ||
    Fail "the library reads $largest bytes, and the broker takes another number"

# The sample configuration is one that the broker takes; the socket moves to the scratch folder.
bus=$scratch/bus
sed "s|/var/veltrix.unix|$bus|" "$prefix/share/VeltrixHAL/mosquitto.conf" >"$scratch/mosquitto.conf"
PATH=$PATH:/usr/sbin mosquitto -c "$scratch/mosquitto.conf" 2>"$scratch/broker.log" &
broker=$!
trap 'kill "$broker" 2>/dev/null; wait "$broker" 2>/dev/null; rm -rf "$scratch"' EXIT

BusFail() {
    cat "$scratch/broker.log" >&2
    Fail "$@"
}

# A process without a name or a password, which is slow: it subscribes, and reads only when all has been sent.
Listen() { mosquitto_sub --unix "$bus" -i slow -c -q 1 -t news "$@"; }
Send() { mosquitto_pub --unix "$bus" -q 1 -t news "$@" || BusFail "the broker does not take \"$*\""; }

isListening=false
for ((tries = 0; tries < 100; ++tries)); do
    ! Listen -E 2>"$scratch/refusal" || { isListening=true; break; }
    kill -0 "$broker" 2>/dev/null || break
    sleep 0.1
done
$isListening || BusFail "nobody hears the broker that mosquitto.conf makes: $(cat "$scratch/refusal")"

head -c "$largest" /dev/zero | tr '\0' x >"$scratch/largest"
{ cat "$scratch/largest" && printf x; } >"$scratch/overlarge"
seq 1500 >"$scratch/many"  # left to itself, the broker keeps a thousand
Send -l <"$scratch/many"
Send -f "$scratch/largest"
Send -f "$scratch/overlarge"
Send -m last
{ cat "$scratch/many" "$scratch/largest" && printf '\nlast\n'; } >"$scratch/expected"
Listen -C 1502 -W 60 >"$scratch/heard" || BusFail "only $(wc -l <"$scratch/heard") messages of 1502 are heard"
cmp "$scratch/expected" "$scratch/heard" || BusFail "something else is heard than was sent"
echo "installed, moved, started, heard"
