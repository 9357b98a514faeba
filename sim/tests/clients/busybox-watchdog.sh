# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed busybox busybox
# The file with its process id does not go to the machine's directory.
on_own_run() {
    local options=()
    while [ "$1" != -- ]; do
        options+=("$1")
        shift
    done
    "$sim" run "${options[@]}" -- unshare --mount sh -c 'mount -t tmpfs none /run && exec "$@"' _ "${@:2}"
}

# acts: its open, ioctls, writes and close, without the keys and what differs from run to run.
acts() {
    sed -E '/^.*watchdog"/!d; s/,"(out|pid)":[^,}]*//g; s/"(act|path|mode|result|request|in|text|hex)"://g; s/[{}"]//g; s/,/ /g' trace
}
# Opening the device and setting its time feed it too: at five, it has written three times.
on_own_run --trace trace -- sh -c 'busybox watchdog -F -t 1 -T 60 /dev/watchdog &
    "$0" wait-for "watchdog.feedings>=5" 120s; kill $!; wait $!' "$sim" >said 2>&1
expect "what it says" 0 "" cat said
expect "it starts the watchdog, feeds it and stops it" 0 "open /dev/watchdog w 0
ioctl /dev/watchdog 0x80045704 02000000 0
ioctl /dev/watchdog 0xc0045706 3c000000 0
close" sh -c "$(declare -f acts); acts | sed -E '/write/d; s/close.*/close/'"
expect "its last write" 0 'V' sh -c "$(declare -f acts); acts | grep write | tail -1 | cut -d' ' -f3"
[ "$(grep -c '"act":"write"' trace)" -ge 3 ] || fail "it did not feed it every second: $(cat trace)"
expect "if it may not start the watchdog" 0 "watchdog: WDIOC_SETOPTIONS: Input/output error" \
    on_own_run --fault /dev/watchdog:ioctl:EIO:1 -- sh -c 'busybox watchdog -F -t 1 /dev/watchdog &
    "$0" wait-for "watchdog.feedings>=3" 120s; kill $!; wait $!' "$sim"
expect "if it is stopped" 120 "velmor-sim: the watchdog bites: not fed for 3 s; the unit restarts" \
    on_own_run -- sh -c 'busybox watchdog -F -t 1 -T 3 /dev/watchdog &
    "$0" wait-for "watchdog.feedings>=3" 120s; kill -STOP $!; sleep 600' "$sim"
finish
