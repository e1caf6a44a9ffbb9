# shellcheck shell=bash
# The tour's eyes and voice: runs the steps of run.sh's table, waits for what must come out and shows it. Sourced by
# run.sh.
#
# A step is a plain sequence of Do... and Expect...: the first expectation that is not met within its time ends it.

# Await SECONDS COMMAND...: true as soon as the command is.
Await() {
    local deadline=$((${EPOCHREALTIME/./} + $1 * 1000000))
    shift
    until "$@"; do
        ((${EPOCHREALTIME/./} < deadline)) || return 1
        sleep 0.05
    done
}

# The sides, and where each says what happens there.
declare -A kSideFiles=([bus]=tour/bus.log [carrier]=tour/carrier.log [console]=tour/console.log
    [log]=Veltrix/log/HAL.log [clock]=tour/clock.log [shutdown]=tour/shutdown.log)
declare -A kSideColours=([bus]=$kBlue [carrier]=$kGreen [log]=$kYellow [console]=$kYellow)
declare -A gSeen=()  # side: lines of its file that belong to the past
declare -A gBefore=() # side: lines that were there before this machine
gStepFailed=false

LinesOf() { if [[ -f "$1" ]]; then wc -l <"$1"; else echo 0; fi; }

MarkAll() {
    local side
    for side in "${!kSideFiles[@]}"; do
        gSeen[$side]=$(LinesOf "$gRoot/${kSideFiles[$side]}")
    done
}

# RememberBefore: all that is there now is another machine's. Rewind SIDE...: looks at all that came since then.
RememberBefore() {
    local side
    MarkAll
    for side in "${!gSeen[@]}"; do
        gBefore[$side]=${gSeen[$side]}
    done
}
Rewind() {
    local side
    for side in "$@"; do
        gSeen[$side]=${gBefore[$side]}
    done
}

# Tell SIDE TEXT
Tell() {
    local text=$2 width=$((${COLUMNS:-120} - 16))
    # The watcher of the bus writes nanoseconds.
    [[ ! "$text" =~ ^([0-9:]{8}\.[0-9]{3})[0-9]{6}\ (.*)$ ]] || text="${BASH_REMATCH[1]} ${BASH_REMATCH[2]}"
    ((${#text} <= width)) || text=${text:0:width-3}...
    printf '     %s%-9s%s %s\n' "${kSideColours[$1]:-$kDim}" "$1" "$kPlain" "$text"
}

Fail() {
    $gStepFailed && return
    gStepFailed=true
    printf '     %sFAILED: %s%s\n' "$kRed" "$*" "$kPlain"
}

# DoPublish TOPIC JSON: as any other process of the machine does.
DoPublish() {
    $gStepFailed && return
    Tell publish "$1 $2"
    mosquitto_pub --unix "$gSocket" -q 1 -t "$1" -m "$2" || Fail "mosquitto_pub ended with status $?"
}

# DoCarrier COMMAND: something that the carrier does by itself.
DoCarrier() {
    $gStepFailed && return
    Tell "does" "the carrier is told: $1"
    TellCarrier "$1"
}

# FindLine SIDE PATTERN: the first matching line since the last one found, into gFound; gSeen moves behind it.
FindLine() {
    local hit file=$gRoot/${kSideFiles[$1]}
    [[ -f "$file" ]] || return 1
    hit=$(tail -n "+$((gSeen[$1] + 1))" "$file" | grep -anE -m 1 -e "$2") || return 1
    gSeen[$1]=$((gSeen[$1] + ${hit%%:*}))
    gFound=${hit#*:}
}

# ExpectWithin SECONDS SIDE PATTERN, Expect SIDE PATTERN: a line that has to come, behind the one expected before it on
# the same side. A real carrier's line cannot be listened to: the step says so and goes on.
ExpectWithin() {
    $gStepFailed && return
    if [[ "$2" == carrier && -n "$gUart" ]]; then
        Tell "unseen" "$3"
        return
    fi
    if Await "$1" FindLine "$2" "$3"; then
        Tell "$2" "$gFound"
    else
        Fail "nothing like \"$3\" came from the $2 within $1 s"
    fi
}
Expect() { ExpectWithin 15 "$@"; }

# ExpectThat DESCRIPTION COMMAND...: something that must become true.
ExpectThat() {
    $gStepFailed && return
    if Await 15 "${@:2}"; then
        Tell "seen" "$1"
    else
        Fail "not seen within 15 s: $1"
    fi
}

# ExpectEnd: the process ends by itself, with status 0, in less than 6 s.
ExpectEnd() {
    $gStepFailed && return
    if ! Await 6 HalIsGone; then
        Fail "VeltrixHAL still runs after 6 s"
        return
    fi
    local status=0
    wait "$gHal" || status=$?
    gHal=''
    if ((status == 0)); then
        Tell "process" "VeltrixHAL has ended with status 0"
    else
        Fail "VeltrixHAL has ended with status $status"
    fi
}

# ShowNews: what bus and carrier said since the last time, but for heartbeats and what acknowledges them.
ShowNews() {
    local side line
    for side in carrier bus; do
        while IFS= read -r line; do
            gSeen[$side]=$((gSeen[$side] + 1))
            [[ "$line" =~ (CarrierAlive|(<-|->)\ Ack$) ]] || Tell "$side" "$line"
        done < <(tail -n "+$((gSeen[$side] + 1))" "$gRoot/${kSideFiles[$side]}")
    done
}

RunTour() {
    local row where step title begin number=0 took start=$SECONDS
    for row in "${kTour[@]}"; do
        IFS='|' read -r where step title <<<"$row"
        number=$((number + 1))
        printf '\n%s%2d  %s%s\n' "$kBold" "$number" "$title" "$kPlain"
        if [[ "${where// /}" == simulator && -n "$gUart" ]]; then
            Tell "left out" "this needs the simulated carrier"
            continue
        fi
        if ((failures > 0)) && [[ "${step// /}" != StepStop ]] && HalIsGone; then
            StartHal
        fi
        MarkAll
        gStepFailed=false
        begin=${EPOCHREALTIME/./}
        "${step// /}"
        took=$(((${EPOCHREALTIME/./} - begin) / 100000))
        played=$((played + 1))
        if $gStepFailed; then
            failures=$((failures + 1))
        else
            printf '     %sworked%s, %d.%d s\n' "$kGreen" "$kPlain" $((took / 10)) $((took % 10))
        fi
    done
    echo
    if ((failures == 0)); then
        printf '%sAll %d steps were seen to work, in %d s.%s\n' "$kGreen" "$played" $((SECONDS - start)) "$kPlain"
    else
        printf '%s%d of %d steps failed.%s\n' "$kRed" "$failures" "$played" "$kPlain"
    fi
}
