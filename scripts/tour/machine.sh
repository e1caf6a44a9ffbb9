# shellcheck shell=bash
# The machine: broker, carrier and VeltrixHAL below one folder, each known by its process id. Sourced by run.sh.
#
# gRoot  the folder that stands for "/"          gUart  a real carrier's device, or empty for the simulated one
# Below gRoot/tour: what each side says (bus.log, carrier.log, console.log) and what was only recorded (clock.log,
# shutdown.log).

gBuild=$VELTRIX_TREE/build/release
gBroker='' gWatcher='' gCarrier='' gHal=''
gCarrierInput=''
gRootIsScratch=false

BuildMachine() {
    "$VELTRIX_TREE/scripts/install-dependencies.sh" build run || exit
    Heading "Building"
    Configure release | tail -n 1
    ((PIPESTATUS[0] == 0)) || Die "the build cannot be configured"
    cmake --build "$gBuild" --target VeltrixHAL CarrierSimulator clock_guard || Die "the build failed"
}

PrepareRoot() {
    if [[ -z "$gRoot" ]]; then
        gRoot=$(mktemp -d "${TMPDIR:-/tmp}/veltrix.XXXXXX") || Die "no scratch folder"
        gRootIsScratch=true
    fi
    mkdir -p "$gRoot" || exit 2
    gRoot=$(cd "$gRoot" && pwd)
    [[ "$gRoot" != / ]] || Die "--root / would be this computer itself"
    gSocket=$gRoot/var/veltrix.unix
    ((${#gSocket} <= 107)) || Die "$gSocket is longer than a socket's name may be; give a shorter --root"
    gLogs=$gRoot/tour
    mkdir -p "$gRoot"/{var,dev,Veltrix/log,run/media,update} "$gLogs/bin" || exit 2
    exec {gLock}>"$gLogs/lock"
    flock --nonblock "$gLock" || Die "another machine runs below $gRoot"
    local file
    for file in bus carrier console clock shutdown broker; do
        : >"$gLogs/$file.log"
    done

    # "Core" on: VeltrixHAL may set the clock, which the guard turns into a line of clock.log.
    cp "$VELTRIX_TREE"/packaging/samples/{identity.config,settings.json} "$gRoot/Veltrix/"
    # Found first in PATH: a restart that was asked for is recorded, not done.
    printf '#!/bin/sh\necho "$@" >>%q\n' "$gLogs/shutdown.log" >"$gLogs/bin/shutdown"
    chmod +x "$gLogs/bin/shutdown"
    gGuard=$gBuild/tests/libclock_guard.so
    [[ -f "$gGuard" ]] || Die "$gGuard is missing, and without it this computer's clock would be set"
    gUartPath=${gUart:-$gRoot/dev/carrier}
}

StartBus() {
    Heading "Starting the machine below $gRoot"
    {
        printf 'listener 0 %s\nallow_anonymous true\nmax_queued_messages 0\n' "$gSocket"
        ((EUID != 0)) || echo "user root" # the scratch folder is root's
    } >"$gLogs/mosquitto.conf"
    mosquitto -c "$gLogs/mosquitto.conf" >"$gLogs/broker.log" 2>&1 {gLock}>&- &
    gBroker=$!
    Await 10 BusAnswers || Die "the broker did not start: $(tail -n 3 "$gLogs/broker.log")"
    mosquitto_sub --unix "$gSocket" -t '#' -q 1 -F '@H:@M:@S.@N %t %p' >"$gLogs/bus.log" 2>&1 {gLock}>&- &
    gWatcher=$!
    Await 10 WatcherListens || Die "mosquitto_sub does not hear the bus: $(tail -n 3 "$gLogs/bus.log")"
}

BusAnswers() { [[ -S "$gSocket" ]] && mosquitto_pub --unix "$gSocket" -t tour -n 2>/dev/null; }
WatcherListens() { mosquitto_pub --unix "$gSocket" -t tour -m '{}' && [[ -s "$gLogs/bus.log" ]]; }

StartCarrier() {
    [[ -z "$gUart" ]] || return 0
    rm -f "$gLogs/carrier.in"
    mkfifo "$gLogs/carrier.in" || Die "no pipe to the carrier"
    exec {gCarrierInput}<>"$gLogs/carrier.in"
    # An application version other than the one that VeltrixHAL expects, until the update brings that; a clock that
    # stands, so that what comes of it can be told in advance.
    "$gBuild/CarrierSimulator" --link "$gUartPath" --no-color --app-version 531725R --next-version 531726R \
        --clock 2026-01-02T03:04:05Z --battery 3.25 \
        <"$gLogs/carrier.in" >"$gLogs/carrier.log" 2>&1 {gCarrierInput}>&- {gLock}>&- &
    gCarrier=$!
    Await 10 grep -q '^Carrier ready' "$gLogs/carrier.log" ||
        Die "the carrier did not start: $(tail -n 3 "$gLogs/carrier.log")"
}

# TellCarrier COMMAND: a line for the simulated carrier's standard input.
TellCarrier() { printf '%s\n' "$1" >&"$gCarrierInput"; }

StartHal() {
    local closed=${gCarrierInput:-$gLock}
    PATH=$gLogs/bin:$PATH LD_PRELOAD=$gGuard VELTRIX_CLOCK_GUARD_LOG=$gLogs/clock.log VELTRIX_ROOT=$gRoot \
        "$gBuild/VeltrixHAL" -f -v 2 -u "$gUartPath" >>"$gLogs/console.log" 2>&1 {closed}>&- {gLock}>&- &
    gHal=$!
}

HalIsRunning() { [[ -n "$gHal" ]] && kill -0 "$gHal" 2>/dev/null; }
HalIsGone() { ! HalIsRunning; }

# Stop PID: in order, and after 8 s by force.
Stop() {
    [[ -n "$1" ]] || return 0
    kill "$1" 2>/dev/null
    Await 8 IsGone "$1" || kill -KILL "$1" 2>/dev/null
    wait "$1" 2>/dev/null
}
IsGone() { ! kill -0 "$1" 2>/dev/null; }

# Runs once, at every exit.
TakeDown() {
    local status=$?
    trap '' INT TERM HUP
    local each
    for each in "$gHal" "$gWatcher" "$gCarrier" "$gBroker"; do
        Stop "$each"
    done
    if $gRootIsScratch && ((status == 0)); then
        rm -rf "$gRoot"
    elif [[ -n "$gRoot" && -d "$gRoot/tour" ]]; then
        echo "logs: $gRoot/tour, $gRoot/Veltrix/log"
    fi
    exit "$status"
}

# StayWithMachine: shows what happens and passes on what is typed, until Ctrl-C or the end of what is typed. Without a
# terminal it stays until a signal.
StayWithMachine() {
    local part line='' status isRead=true
    Heading "The machine runs until Ctrl-C"
    echo "watch it:  mosquitto_sub --unix $gSocket -t '#' -v"
    echo "drive it:  mosquitto_pub --unix $gSocket -t req_hal_info -m '{}'"
    if [[ -z "$gUart" ]]; then
        echo "the carrier's side: type a command here, for example \"error E42\"; \"help\" lists them"
    fi
    MarkAll
    while true; do
        status=0
        if $isRead; then
            IFS= read -r -t 0.3 part || status=$?
        else
            part=''
            sleep 0.3
            status=142 # as when the time runs out
        fi
        line+=$part # the time may run out in the middle of a line
        if ((status == 0)); then
            [[ -n "$gUart" || -z "$line" ]] || TellCarrier "$line"
            line=''
        elif ((status <= 128)); then
            [[ ! -t 0 ]] || return 0
            isRead=false
        fi
        ShowNews
        if HalIsGone; then
            wait "$gHal"
            echo "VeltrixHAL ended with status $?; it is started again, as the machine does after a restart"
            StartHal
        fi
    done
}
