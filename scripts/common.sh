# shellcheck shell=bash
# What the entry points share. Sourced, never run. Expects VELTRIX_TREE, the root of the source tree.

# The broker's package puts it where a user's PATH often does not look.
export PATH="$PATH:/usr/local/sbin:/usr/sbin:/sbin"

if [[ -t 1 && -z "${NO_COLOR:-}" && "${TERM:-dumb}" != dumb ]]; then
    kBold=$'\e[1m' kDim=$'\e[2m' kRed=$'\e[31m' kGreen=$'\e[32m' kYellow=$'\e[33m' kBlue=$'\e[34m' kPlain=$'\e[0m'
else
    kBold='' kDim='' kRed='' kGreen='' kYellow='' kBlue='' kPlain=''
fi
export kBold kDim kRed kGreen kYellow kBlue kPlain

Heading() { printf '%s== %s ==%s\n' "$kBold" "$*" "$kPlain"; }

# Die TEXT: an error of the caller's or of the machine, not of the code under test.
Die() {
    printf '%s%s: %s%s\n' "$kRed" "${0##*/}" "$*" "$kPlain" >&2
    exit 2
}

# Configure PRESET [CMAKE OPTION...]: with ccache where it is installed.
Configure() {
    local preset=$1
    shift
    if command -v ccache >/dev/null; then
        set -- -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
    fi
    (cd "$VELTRIX_TREE" && cmake --preset "$preset" "$@")
}

# TrackedFiles PATTERN...: files of the source tree, relative to its root; works in an unpacked archive as well.
TrackedFiles() {
    local pattern
    cd "$VELTRIX_TREE" || return
    # A checkout that belongs to another user is common in CI, where everything runs as root.
    if git -c safe.directory='*' rev-parse --git-dir >/dev/null 2>&1; then
        git -c safe.directory='*' ls-files -- "$@" | while IFS= read -r file; do
            [[ ! -f "$file" ]] || printf '%s\n' "$file"
        done
    else
        for pattern in "$@"; do
            find . -path ./build -prune -o -type f -name "$pattern" -printf '%P\n'
        done | sort -u
    fi
}
