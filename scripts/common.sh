# What the scripts of this folder share. Sourced by them, never run: it moves to the repository's root.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the comment that heads the script (from its second line on) and ends with the given code.
usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
    exit "$1"
}

# configure PRESET: writes the build files of build/PRESET; silent unless it fails.
configure() {
    local log=build/$1.log
    mkdir -p build
    cmake --preset "$1" >"$log" 2>&1 && return
    tail -n 60 "$log" >&2
    fail "build/$1 could not be configured; all of the output is in $log"
}

# build PRESET [TARGET...]: brings build/PRESET up to date, all of it if no target is named.
# Silent, except for a progress line on a terminal, and for the compiler's words when it fails.
build() {
    local preset=$1 log=build/$1.log
    shift
    local compile=(cmake --build --preset "$preset" --parallel "$(nproc)")
    (($# == 0)) || compile+=(--target "$@")
    configure "$preset"
    if [[ -t 1 ]]; then
        "${compile[@]}" || fail "build/$preset could not be built; the compiler's words are above"
    elif ! "${compile[@]}" >"$log" 2>&1; then
        tail -n 100 "$log" >&2
        fail "build/$preset could not be built; all of the output is in $log"
    fi
}
