# shellcheck shell=bash
# Steps of the tour that end the process: any "power_down_status" does so 2 s later, VeltrixHAL's own as well. Each step
# but the last ones starts it again, as the machine does after its restart. Sourced by run.sh.

DoStartAgain() {
    $gStepFailed && return
    MarkAll
    Tell "does" "VeltrixHAL is started again"
    StartHal
    Expect bus ' hal_info '
    Expect bus ' carrier_info .*"HALVersion":'
}

StepAdminAccess() {
    DoPublish admin_access '{"expiryDate":"2026-12-31T23:59:58.123Z","enableConsole":true,"enableShell":false}'
    Expect carrier '<- AdminAccess \[10\] 1A 0C 1F 17 3B 3A 7B 00 01 00'
    Expect shutdown '^-r now$'
    Expect bus ' power_down_status .*Admin access status has been set'
    ExpectEnd
    DoStartAgain
}

StepPowerFail() {
    DoCarrier powerfail
    Expect bus ' power_down_status .*Carrier indicated a power fail'
    Expect carrier '<- Ack'
    ExpectEnd
    DoStartAgain
}

StepReset() {
    DoCarrier reset
    Expect carrier '<- Ack'
    Expect shutdown '^-r now$'
    Expect bus ' power_down_status .*Received a reset request from Carrier'
    ExpectEnd
    DoStartAgain
}

StepPowerDown() {
    DoPublish power_down_status '{"isPoweringDown":true,"nameOfCaller":"SystemMonitor","reasonForPowerdown":"Service"}'
    Expect log 'Powerdown received from SystemMonitor - Service\.'
    ExpectEnd
    Expect log 'HAL shutting down'
    DoStartAgain
}

StepStop() {
    Tell "does" "SIGTERM to process $gHal"
    kill "$gHal" || Fail "there is no VeltrixHAL to stop"
    ExpectEnd
    Expect log 'HAL shutting down'
}
