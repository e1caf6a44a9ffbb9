# shellcheck shell=bash
# Steps of the tour: firmware updates. Sourced by run.sh.

kImageSize=262144

# DoAnnounceImage: a file of 256 KiB with a good check sum, put on the machine and announced.
DoAnnounceImage() {
    gImage=$gRoot/update/VeltrixApp_CRC.bin
    "$gBuild/CarrierSimulator" make-image "$gImage" "$kImageSize" || Fail "no firmware file"
    DoPublish carrier_file "{\"fileSize\":$kImageSize,\"fileName\":\"VeltrixApp_CRC.bin\",\"fileFullPath\":\"$gImage\"}"
}

# ShowProgress DONE TOTAL MICROSECONDS: on a terminal one line that is drawn over; elsewhere a line each quarter.
ShowProgress() {
    local done=$1 total=$2 time=$(($3 > 0 ? $3 : 1)) percent rate left bar
    percent=$((100 * done / total))
    rate=$((done * 1000000 / time))
    left=$((rate > 0 ? (total - done) / rate : 0))
    local text="$done of $total bytes, $percent %, $((rate / 1024)) KiB/s, $left s left"
    if [[ -t 1 ]]; then
        bar=$(printf '%*s' $((percent * 30 / 100)) '')
        printf '\r\e[K     %s%-9s%s [%-30s] %s' "$kGreen" carrier "$kPlain" "${bar// /#}" "$text"
    elif ((percent >= gNextQuarter)); then
        Tell carrier "$text"
        gNextQuarter=$((percent / 25 * 25 + 25))
    fi
}

# LastProgress FROM TO: what the carrier has received, by the last of its own "file RECEIVED/TOTAL" lines between these.
LastProgress() { sed -n "$1,$2p" "$gLogs/carrier.log" | grep -aE '^file [0-9]+/[0-9]+$' | tail -n 1; }

# Microseconds since the epoch of the time of day that a line begins with.
MomentOf() { date -d "${1%% *}" +%s%6N; }

# ExpectTransfer: follows a file to the command that ends it.
ExpectTransfer() {
    $gStepFailed && return
    Expect carrier '<- FileTransferStart'
    $gStepFailed && return
    local begin first=${gSeen[carrier]} last='$' deadline=$((${EPOCHREALTIME/./} + 60000000)) ended=false now
    begin=$(MomentOf "$gFound")
    gNextQuarter=25
    while ! $ended; do
        sleep 0.1
        now=${EPOCHREALTIME/./}
        if FindLine carrier '<- FileTransferEnd'; then
            ended=true
            last=${gSeen[carrier]} # behind it the next attempt may have begun
            now=$(MomentOf "$gFound")
        elif ((now > deadline)); then
            Fail "the file was not through after 60 s"
            return
        fi
        if [[ "$(LastProgress "$first" "$last")" =~ ^file\ ([0-9]+)/([1-9][0-9]*)$ ]]; then
            ShowProgress "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}" $((now - begin))
        fi
    done
    [[ ! -t 1 ]] || echo
    Tell carrier "$gFound"
}

StepFirmwareUpdate() {
    DoAnnounceImage
    Expect carrier '<- UpdatePhase \[2\] 02 00'
    ExpectTransfer
    Expect carrier '<- UpdatePhase \[2\] 03 00'
    Expect carrier '<- FileTransferApply'
    local applied=${gSeen[carrier]}
    Expect carrier '\*\* restarting'
    Expect carrier '\*\* back after the restart with version 531726R'
    Expect log 'Carrier connected after firmware update'
    # The word that it is back may come before the restart: a heartbeat that was under way counts as well.
    gSeen[carrier]=$applied
    Expect carrier '<- UpdatePhase \[2\] 04 00'
    ExpectThat 'the file is gone' test ! -e "$gImage"
    DoPublish firmware_update_end '{"wasUpdateSuccessful":true}'
    Expect carrier '<- UpdatePhase \[2\] 05 00 .*\(end\)$'
    MarkAll
    TellCarrier show
    Expect carrier '^app_version: 531726R'
    Expect carrier "^firmware_received: $kImageSize/$kImageSize"
}

StepFirmwareRefused() {
    DoCarrier 'refuse-image on'
    DoAnnounceImage
    Expect carrier '<- UpdatePhase \[2\] 02 00'
    local attempt
    for attempt in 1 2 3; do
        $gStepFailed || Tell "attempt" "$attempt"
        ExpectTransfer
    done
    Expect log 'Carrier reported CRC failure on VeltrixApp_CRC\.bin file transfer'
    Expect log 'File transer giving up after 3 attempts'
    ExpectThat 'the file is still there' test -s "$gImage"
    TellCarrier 'refuse-image off'
    DoPublish firmware_update_end '{"wasUpdateSuccessful":false}'
    Expect carrier '<- UpdatePhase \[2\] 07 00 .*\(failed\)$'
}
