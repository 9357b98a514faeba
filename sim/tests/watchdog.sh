# SPDX-License-Identifier: MIT
. "$(dirname "$0")/common.sh"

start=$(date +%s%N)
expect "unfed it bites" 120 "1
velmor-sim: the watchdog bites: not fed for 1 s; the unit restarts" "$sim" run --trace trace -- "$act" watchdog 1 0 - 30
took=$((($(date +%s%N) - start) / 1000000))
# The bound above is generous: machines under load are slow.
if [ "$took" -lt 1000 ] || [ "$took" -gt 6000 ]; then
    echo "FAILED: it bit after $took ms"
    failures=$((failures + 1))
fi
expect "the record of it" 0 '{"act":"restart","command":"watchdog","result":0,"pid":0}' tail -1 trace
expect "fed for ten timeouts it stays, stopped it does not bite" 7 1 "$sim" run -- "$act" watchdog 1 20 V 2
expect "closed without a V it bites" 120 "1
velmor-sim: the watchdog bites: not fed for 1 s; the unit restarts" "$sim" run -- "$act" watchdog 1 2 - 30
expect "a second open" 1 "bash: line 1: /dev/watchdog: Device or resource busy" on_device \
    "exec 3>/dev/watchdog; echo >/dev/watchdog"
expect "a timeout below the range" 1 EINVAL "$sim" run -- "$act" watchdog 0 0 - 0
expect "a timeout above the range" 1 EINVAL "$sim" run -- "$act" watchdog 129 0 - 0
expect "a copy that a child closes does not stop it" 0 "1" on_device "exec 3>/dev/watchdog; printf V >&3; true; (true); $sim get watchdog.running; exec 3>&-"
finish
