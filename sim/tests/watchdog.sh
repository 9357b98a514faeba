# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

start=$(now)
expect "it bites if it is not fed" 120 "1
velmor-sim: the watchdog bites: not fed for 1 s; the unit restarts" "$sim" run --trace trace -- "$act" watchdog 1 0 - 600
took=$(($(now) - start))
# The upper bound allows for machines under load; the program itself would run for ten minutes.
if [ "$took" -lt 1000 ] || [ "$took" -gt 300000 ]; then fail "it bit after $took ms"; fi
expect "the record of it" 0 '{"act":"restart","command":"watchdog","result":0,"pid":0}' tail -1 trace
"$sim" run --explain -- "$act" watchdog 12 1 V 0 2>explained >/dev/null
expect "its requests in words" 0 "(timeout 12 s)
(fed)" sh -c "grep ' ioctl ' explained | grep -o '([^()]*)\$'"
expect "it does not bite while it is fed" 7 12 "$sim" run -- "$act" watchdog 12 3 V 0
expect "it does not bite when it is stopped" 7 6 "$sim" run -- "$act" watchdog 6 0 V 7
expect "it bites if it is closed without a V" 120 "1
velmor-sim: the watchdog bites: not fed for 1 s; the unit restarts" "$sim" run -- "$act" watchdog 1 2 - 30
expect "a second open" 1 "bash: line 1: /dev/watchdog: Device or resource busy" on_device \
    "exec 3>/dev/watchdog; echo >/dev/watchdog"
expect "a timeout below the range" 1 EINVAL "$sim" run -- "$act" watchdog 0 0 - 0
expect "a timeout above the range" 1 EINVAL "$sim" run -- "$act" watchdog 4294968 0 - 0
expect "a copy that a child closes does not stop it" 0 "1" on_device "exec 3>/dev/watchdog; printf V >&3; true; (true); $sim get --name on-$$ watchdog.running; exec 3>&-"
expect "as a class device" 0 "inactive 60
active 60
active 12" on_device "cd /sys/class/watchdog/watchdog0; echo \$(cat state timeout); exec 3>/dev/watchdog
    echo \$(cat state timeout); $sim set --name on-$$ watchdog.timeout 12 >&2; echo \$(cat state timeout); printf V >&3"
finish
