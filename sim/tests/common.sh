# SPDX-License-Identifier: MIT
# For the tests of the device: $sim is the simulator, $act the program that acts on the device.
set -u
sim=$1
act=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
failures=0

# The machine lacks something: say what, as a skip.
if ! reason=$("$sim" run -- true 2>&1); then
    case $reason in
        *"/dev/fuse"* | *"namespace"*)
            echo "skipped: $reason"
            exit 77
            ;;
    esac
fi

# expect WHAT STATUS OUTPUT COMMAND...: run it and compare exit status and both outputs together.
expect() {
    local what=$1 status=$2 output=$3 got rc
    shift 3
    got=$("$@" 2>&1) && rc=0 || rc=$?
    if [ "$rc" != "$status" ] || [ "$got" != "$output" ]; then
        printf 'FAILED: %s\n  status %s, should be %s\n  got:    %q\n  should: %q\n' "$what" "$rc" "$status" "$got" \
            "$output"
        failures=$((failures + 1))
    fi
}

# on_device ARGUMENT...: a shell script on the all-families board.
on_device() {
    "$sim" run --board all-families -- bash -c "$1"
}

finish() {
    [ "$failures" = 0 ] || exit 1
    exit 0
}
