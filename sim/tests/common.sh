# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2034
# Sourced by the tests: $sim is the simulator, $act the program that acts on the device.
set -u
unset VELMOR_SIM_NAME
sim=$1
act=${2-}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$scratch" || exit 1
failures=0

skip() {
    echo "skipped: $1"
    exit 77
}

# If the machine lacks something, skip the test and say what.
if ! reason=$("$sim" run -- true 2>&1); then
    case $reason in
        *"/dev/fuse"* | *"namespace"*) skip "$reason" ;;
    esac
fi

# installed PROGRAM PACKAGE: skip the test unless the program is installed.
installed() {
    command -v "$1" >/dev/null || skip "no $1; Debian's package $2 has it"
}

# fail TEXT: report a failure and go on; finish makes the test fail.
fail() {
    printf 'FAILED: %s\n' "$1"
    failures=$((failures + 1))
}

# expect WHAT STATUS OUTPUT COMMAND...: run the command; compare its exit status, and both outputs taken together.
expect() {
    local what=$1 status=$2 output=$3 got rc
    shift 3
    got=$("$@" 2>&1) && rc=0 || rc=$?
    [ "$rc" = "$status" ] && [ "$got" = "$output" ] && return
    fail "$(printf '%s\n  status %s, should be %s\n  got:    %q\n  should: %q' "$what" "$rc" "$status" "$got" "$output")"
}

# on_device SCRIPT: run a shell script on the all-families board, in a run named on-$$.
on_device() {
    "$sim" run --name "on-$$" --board all-families -- bash -c "$1"
}

# Milliseconds since the epoch.
now() {
    echo $(($(date +%s%N) / 1000000))
}

finish() {
    [ "$failures" = 0 ] || exit 1
    exit 0
}
