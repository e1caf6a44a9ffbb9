#!/usr/bin/env bash
# The whole machine on one computer, with a tour of what it does. See --help.
set -uo pipefail
VELTRIX_TREE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/common.sh
source "$VELTRIX_TREE/scripts/common.sh"
# shellcheck source=scripts/tour/machine.sh
source "$VELTRIX_TREE/scripts/tour/machine.sh"
# shellcheck source=scripts/tour/evidence.sh
source "$VELTRIX_TREE/scripts/tour/evidence.sh"
# shellcheck source=scripts/tour/steps-session.sh
source "$VELTRIX_TREE/scripts/tour/steps-session.sh"
# shellcheck source=scripts/tour/steps-services.sh
source "$VELTRIX_TREE/scripts/tour/steps-services.sh"
# shellcheck source=scripts/tour/steps-firmware.sh
source "$VELTRIX_TREE/scripts/tour/steps-firmware.sh"
# shellcheck source=scripts/tour/steps-power.sh
source "$VELTRIX_TREE/scripts/tour/steps-power.sh"

Usage() {
    cat <<'EOF'
usage: ./run.sh [--once] [--no-tour] [--uart DEVICE] [--root DIR]

Installs the packages that are missing, builds, starts an MQTT broker on a Unix-domain socket, a simulated carrier on
a pseudo terminal and VeltrixHAL, and plays a tour: what is done, and what comes out on which side. On a terminal the
machine then stays until Ctrl-C, shows what happens on bus and line, and passes what is typed to the simulated carrier.

  --once         end after the tour; status 0 only when every step was seen to work
  --no-tour      only start the machine, and stay, on a terminal or not
  --uart DEVICE  a real carrier on this serial device in place of the simulated one; what could change a carrier's
                 settings or firmware is left out of the tour
  --root DIR     keep the machine's files below DIR; otherwise below a scratch folder that goes with the machine
  --help         this text

Nothing outside that folder is touched: VELTRIX_ROOT keeps the files below it, restarts are only recorded, and this
computer's clock is not set. Root rights are needed at most for installing packages.
EOF
}

# One row a step of the tour: with which carrier, by which function, and what it shows. Whatever ends the process comes
# last, since another start takes 3 s.
kTour=(
    "any       |StepStart               |VeltrixHAL starts, and the carrier's first heartbeat sets off the start sequence"
    "simulator |StepClockFromCarrier    |The system clock is set once, from the carrier (here only recorded)"
    "any       |StepLeds                |LED states follow \"system_led_status\""
    "any       |StepLedSettings         |LED brightness follows \"led_settings\""
    "any       |StepIdentity            |Whoever asks learns which machine this is"
    "any       |StepWeld                |A weld, from start to end"
    "simulator |StepTessimorSettings    |Tessimor settings go to the carrier, cut to what a byte holds"
    "simulator |StepDataReporting       |A healthy Tessimor process turns the carrier's data reporting on"
    "simulator |StepServerCommands      |A server selects a sensor and an arc-start threshold, which is kept in a file"
    "simulator |StepTimeFromCloud       |Time from the cloud sets the carrier's clock"
    "any       |StepDeviceSettings      |Device settings, with the battery voltage, on request"
    "simulator |StepCarrierError        |A carrier error goes into the carrier's log, which is rotated when full"
    "simulator |StepSdCard              |The carrier asks whether there is an SD card"
    "simulator |StepCommsTest           |The carrier tests the line: what it sends comes back"
    "simulator |StepVersionRequest      |The carrier asks which firmware the module runs"
    "any       |StepCheckIn             |\"hal_status\" and \"system_health\" come every 5 s"
    "simulator |StepFirmwareUpdate      |A firmware file announced on the bus reaches the carrier, which restarts with it"
    "simulator |StepFirmwareRefused     |A carrier that finds the image corrupt: three attempts, and the file is kept"
    "simulator |StepAdminAccess         |Admin access goes to the carrier and restarts the module (here only recorded)"
    "simulator |StepPowerFail           |The carrier tells of a power failure"
    "simulator |StepReset               |The carrier asks for a restart of the module (here only recorded)"
    "any       |StepPowerDown           |Another process announces a power-down: VeltrixHAL stops"
    "any       |StepStop                |SIGTERM ends VeltrixHAL in order"
)

once=false
tour=true
gUart=''
gRoot=''
while (($# > 0)); do
    case "$1" in
        --once) once=true ;;
        --no-tour) tour=false ;;
        --uart | --root)
            [[ -n "${2:-}" ]] || Die "$1 needs an argument"
            if [[ $1 == --uart ]]; then gUart=$2; else gRoot=$2; fi
            shift
            ;;
        --help | -h) Usage; exit 0 ;;
        *) Die "unknown option \"$1\" (see --help)" ;;
    esac
    shift
done
if $once && ! $tour; then
    Die "--once and --no-tour together leave nothing to do"
fi
[[ -z "$gUart" || -c "$gUart" ]] || Die "$gUart is no serial device"

# Ctrl-C at any moment is the way to end this: nothing stays behind, and it is no failure, unless it cuts short what was
# to end by itself with a verdict.
trap 'TakeDown' EXIT
if $once; then
    trap 'exit 130' INT
    trap 'exit 143' TERM
    trap 'exit 129' HUP
else
    trap 'printf "\n"; exit 0' INT TERM HUP
fi

BuildMachine
PrepareRoot
RememberBefore
StartBus
StartCarrier

failures=0
played=0
if $tour; then
    RunTour
else
    StartHal
fi

if $once || { $tour && [[ ! -t 0 ]]; } || ((failures > 0)); then
    # A failed tour ends too: its logs are kept and named.
    exit "$((failures > 0))"
fi
HalIsRunning || StartHal
StayWithMachine
