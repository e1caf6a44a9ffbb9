# shellcheck shell=bash
# Steps of the tour: start, identity, LEDs, welds, status. Sourced by run.sh.

# ExpectStart VERSION: from the start of the process to "carrier_info", with the carrier's application version.
ExpectStart() {
    Expect carrier '-> CarrierAlive .*comm 0$'
    Expect carrier '<- Ack$'
    Expect carrier '<- GetBootloaderVersion'
    Expect carrier '<- GetCarrierVersion'
    Expect carrier "-> Ack .*\"$1\""
    Expect carrier '<- BoardRevision'
    Expect carrier '<- AdminAccess'
    Expect carrier '<- GetVBat'
    Expect carrier '<- GetRTC'
    Expect bus ' carrier_info .*"HALVersion":'
}

StepStart() {
    Tell "does" "VeltrixHAL -f -u $gUartPath; it waits 3 s before it uses the line"
    StartHal
    Expect bus ' hal_info .*"serialNumber":"VX-000001"'
    Expect bus ' process_ready .*512'
    ExpectStart 531725R
    [[ -n "$gUart" ]] || ExpectMismatch
}

# The simulated carrier starts with a version that is not the expected one.
ExpectMismatch() {
    Rewind bus
    Expect bus ' error_log .*SWMismatch_System.*531725R received, but expecting 531726R'
    Expect bus ' device_settings .*"batteryVoltage":3.25'
}

StepClockFromCarrier() {
    # It happened during the start.
    Rewind bus log clock
    Expect clock '^1767323045\.000000000$'
    Expect log 'INITIAL TIME SYNCHING SOM to 2026-01-02T03:04:05\.000Z from carrier'
    Expect bus ' time_sync .*"2026-01-02T03:04:05\.000Z".*false'
}

StepLeds() {
    DoPublish system_led_status '{"ethernetIsUp":true,"wifiIsUp":true,"operatorIsUp":true,"internetIsUp":true,"internetQueried":false,"isAccessingUSB":false,"doNotSendToCarrier":false}'
    Expect carrier '<- EnetUp'
    Expect carrier '<- WiFiUp'
    Expect carrier '<- OperatorUp'
    Expect carrier '<- InternetUp'
    DoPublish system_led_status '{"ethernetIsUp":true,"wifiIsUp":false,"operatorIsUp":true,"internetIsUp":true,"internetQueried":false,"isAccessingUSB":true,"doNotSendToCarrier":false}'
    Expect carrier '<- WiFiDown'
    Expect carrier '<- USBActivity \[1\] 01'
}

StepLedSettings() {
    DoPublish led_settings '{"cloudGreenLed":10,"cloudYellowLed":20,"wifiGreenLed":30,"wifiYellowLed":40,"ethernetGreenLed":50,"ethernetYellowLed":60,"usbGreenLed":70,"opIDGreenLed":80,"opIDYellowLed":90}'
    Expect carrier '<- SetStrovanelLedSettings \[9\] 0A 14 1E 28 32 3C 46 50 5A'
}

StepIdentity() {
    DoPublish req_hal_info '{}'
    Expect bus ' hal_info .*"serialNumber":"VX-000001"'
}

StepWeld() {
    DoPublish weld_trigger_start '{"tag":7,"timestamp":1760000000,"settings":"S3","gas":"Argon"}'
    Expect log 'Weld started at '
    DoPublish weld_trace_data '{"sequence":1,"data":{"amps":120.5,"volts":21.5,"wfs":300}}'
    Expect console 'Sample: 1, Voltage: 21.5, Current: 120.5, WFS: 300'
    DoPublish weld_trigger_end '{"tag":7,"metrics":{"ArcDuration":{"unit":"s","value":3.2},"AverageVoltage":{"unit":"V","value":21.4},"AverageAmperage":{"unit":"A","value":119.5},"AverageWFS":{"unit":"IPM","value":301}}}'
    Expect log 'Weld 7 ended\. Duration is 3\.2s\. Averages are 21\.4 Volts, 119\.5 Amps, 301 IPM'
}

# SecondsApart TIME TIME: of two times of day as the watcher writes them.
SecondsApart() {
    awk -v a="$1" -v b="$2" 'function s(t, p) { split(t, p, ":"); return p[1] * 3600 + p[2] * 60 + p[3] }
        BEGIN { d = s(b) - s(a); if (d < 0) d += 86400; printf "%.1f\n", d }'
}

# ExpectTwice PATTERN: two in a row; how far apart goes into gApart.
ExpectTwice() {
    local first
    Expect bus "$1"
    first=${gFound%% *}
    Expect bus "$1"
    gApart=$(SecondsApart "$first" "${gFound%% *}")
    $gStepFailed || Tell "seen" "$gApart s apart"
}

StepCheckIn() {
    Rewind bus # most of them came during the steps before
    ExpectTwice ' system_health .*"processName":"HAL".*560'
    awk -v d="$gApart" 'BEGIN { exit !(d > 4 && d < 9) }' || Fail "that is not 5 s"
    Rewind bus
    # Counted in passes of the main loop, so on a busy computer these come later.
    ExpectTwice ' hal_status .*"ready":true'
    awk -v d="$gApart" 'BEGIN { exit !(d > 4) }' || Fail "that is less than 5 s"
}
