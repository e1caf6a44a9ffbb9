# shellcheck shell=bash
# Steps of the tour: settings and commands to the carrier, and what the carrier asks for. Sourced by run.sh.

StepTessimorSettings() {
    DoPublish tessimor_settings '{"is10KHzRawData":true,"currentSensorType":2,"useWireFeedSensor":true,"useGasSensor":false,"gasType":3,"preWeldDataTenthSeconds":5,"postWeldDataTenthSeconds":6,"weldEndRequirementMSecs":400,"weldStartCurrentThresholdAmps":300.4}'
    # 400 ms and 300.4 A are more than a byte holds: FF.
    Expect carrier '<- SetTessimorSettings \[9\] 01 02 01 00 03 05 06 FF FF'
    Expect log 'Tessimor Settings sent to Carrier\.'
}

StepDataReporting() {
    DoPublish system_health '{"processName":"VeltrixTessimor","code":4096}'
    Expect carrier '<- DataTransmitEnable \[1\] 01'
    Tell "does" "no more word from that process for 2 s"
    Expect carrier '<- DataTransmitEnable \[1\] 00'
}

StepServerCommands() {
    DoPublish incoming_commands '{"currentSensorTypeReceived":true,"currentSensorType":2,"arcStartThreshold":25.0}'
    Expect carrier '<- CurrentSensorSelection \[1\] 02'
    Expect bus ' device_settings .*"currentSensorConfig":3'
    Expect bus ' device_settings .*"arcStartThreshold":25'
    ExpectThat '/Veltrix/system.config holds "ArcStartAmps": 25' \
        grep -qE '"ArcStartAmps":\s*25$' "$gRoot/Veltrix/system.config"
}

StepTimeFromCloud() {
    DoPublish time_sync '{"serverTimestamp":"2026-05-06T07:08:09.123Z","receivedTimeFromCloud":true}'
    Expect carrier '<- SetRTC \[8\] 1A 05 06 07 08 09 00 00'
    Expect log 'Syncing Carrier to year 26, month 5, day 6\. Hour 7, min 8, sec 9'
}

StepDeviceSettings() {
    DoPublish req_delayed_device_settings '{}'
    Expect bus ' delayed_device_settings .*"batteryVoltage":'"$([[ -n "$gUart" ]] || echo '3\.25')"
}

StepCarrierError() {
    local log=$gRoot/Veltrix/log/Carrier.log
    head -c 100001 /dev/zero | tr '\0' '.' >"$log"
    Tell "does" "/Veltrix/log/Carrier.log is filled to 100,001 bytes, one more than it may have"
    DoCarrier 'error E42 arc fault'
    Expect carrier '-> CarrierErrorMessage .*"E42 arc fault"'
    Expect carrier '<- Ack'
    ExpectThat 'the full log lies aside as Carrier.log.1' grep -q '^\.\.\.' "$log.1"
    ExpectThat 'the new log holds the error' grep -qE '^\([0-9T:-]+\) - E42 arc fault$' "$log"
    $gStepFailed || Tell "file" "$(cat "$log")"
}

StepSdCard() {
    DoCarrier sdcard
    Expect carrier '<- SDCardStatus \[1\] 00'
    mkdir -p "$gRoot/run/media/mmcblk0p1"
    Tell "does" "a card is mounted on /run/media/mmcblk0p1"
    DoCarrier sdcard
    Expect carrier '<- SDCardStatus \[1\] 01'
}

StepCommsTest() {
    DoCarrier 'commstest 8'
    Expect carrier '-> CommsTest \[8\] 00 01 02 03 04 05 06 07'
    Expect carrier '<- Ack \[8\] 00 01 02 03 04 05 06 07'
}

StepVersionRequest() {
    DoCarrier versions
    Expect carrier '<- Ack \[35\] .*531720M_NTP_Disabled_Patch_250220a'
}
