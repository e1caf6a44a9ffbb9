#!/usr/bin/env bash
# Installs the Debian packages that are missing, and does nothing (nor asks for any right) when all are there.
set -euo pipefail
VELTRIX_TREE=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
source "$VELTRIX_TREE/scripts/common.sh"

declare -A kPackages=(
    [build]="g++ cmake ninja-build pkg-config git libmosquitto-dev libcjson-dev libspdlog-dev libfmt-dev libcli11-dev
        libgtest-dev libgmock-dev libbenchmark-dev"
    [run]="mosquitto mosquitto-clients procps util-linux"
    [sanitizers]="clang libclang-rt-dev llvm"
    [lint]="clang-format clang-tidy shellcheck"
    [coverage]="gcovr"
    [cross-armhf]="crossbuild-essential-armhf qemu-user"
)

Usage() {
    cat <<EOF
usage: scripts/install-dependencies.sh [--dry-run] GROUP...

groups:
$(for group in build run sanitizers lint coverage cross-armhf; do
        printf '  %-12s %s\n' "$group" "$(xargs <<<"${kPackages[$group]}")"
    done)

--dry-run  prints what is missing, one package a line, and installs nothing
EOF
}

IsInstalled() {
    [[ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" == installed ]]
}

MissingOf() {
    local package
    for package in "$@"; do
        IsInstalled "$package" || printf '%s\n' "$package"
    done
}

AsRoot() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        Die "installing packages needs root: run \"apt-get install ${missing[*]}\" as root, or install sudo"
    fi
}

# Debian starts a broker when its package is installed. Nothing here needs that one: keep the installation from starting
# services, unless this machine has a policy of its own. Services that run already are left alone.
kPolicy=/usr/sbin/policy-rc.d
Install() {
    AsRoot apt-get update
    # shellcheck disable=SC2016 # expanded by the inner shell
    AsRoot env DEBIAN_FRONTEND=noninteractive policy="$kPolicy" bash -c '
        set -e
        if [[ " $* " == *" mosquitto "* && ! -e "$policy" ]]; then
            trap "rm -f \"$policy\"" EXIT
            printf "#!/bin/sh\nexit 101\n" >"$policy"
            chmod 755 "$policy"
        fi
        apt-get install -y --no-install-recommends "$@" </dev/null' install "$@"
}

dryRun=false
wanted=()
for argument in "$@"; do
    case "$argument" in
        --help | -h) Usage; exit 0 ;;
        --dry-run) dryRun=true ;;
        *)
            [[ -n "${kPackages[$argument]:-}" ]] || Die "no such group: \"$argument\" (see --help)"
            read -r -d '' -a packages <<<"${kPackages[$argument]}" || true
            wanted+=("${packages[@]}")
            ;;
    esac
done
((${#wanted[@]} > 0)) || Die "which group? (see --help)"
command -v dpkg-query >/dev/null || Die "this is no Debian system; please install yourself: ${wanted[*]}"

mapfile -t missing < <(MissingOf "${wanted[@]}")
if $dryRun; then
    ((${#missing[@]} == 0)) || printf '%s\n' "${missing[@]}"
    exit 0
fi
((${#missing[@]} > 0)) || exit 0
Heading "Installing ${missing[*]}"
Install "${missing[@]}"
