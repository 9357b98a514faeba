# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# The device keeps up with everything else while requests keep coming.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
load=${act}_load
temp=/sys/class/thermal/thermal_zone0/temp

: >said
"$sim" run --name "busy-$$" --trace /dev/null -- "$load" busy $temp 64 >said &
device=$!
until [ "$(wc -l <said)" = 64 ]; do sleep 0.05; done
expect "a command" 0 45000 timeout 600 "$sim" get --name "busy-$$" thermal.temp
expect "a wait" 1 "velmor-sim: timed out waiting for thermal.temp=1; the last value is 45000" \
    timeout 600 "$sim" wait-for --name "busy-$$" thermal.temp=1 100ms
kill -TERM "$device"
timeout 600 tail --pid="$device" -f /dev/null || fail "a signal does not arrive"
kill -KILL "$device" 2>/dev/null
wait "$device" 2>/dev/null
expect "the watchdog" 120 "velmor-sim: the watchdog bites: not fed for 2 s; the unit restarts" \
    timeout --foreground -s KILL 600 "$sim" run --set watchdog.timeout=2 --trace /dev/null -- \
    sh -c "exec 3>/dev/watchdog; exec '$load' busy $temp 64 >/dev/null"
expect "the restart call" 121 "velmor-sim: the unit restarts: restart call" \
    timeout --foreground -s KILL 600 "$sim" run --trace /dev/null -- \
    sh -c "'$load' busy $temp 64 >/dev/null & sleep 1; exec '$act' restart 0x1234567 ''"
expect "the end of the program" 0 "" timeout --foreground -s KILL 600 "$sim" run --trace /dev/null -- \
    sh -c "'$load' busy $temp 64 >/dev/null & sleep 1"
# Linux has finished a close before the next open of the program.
expect "the last close, before the next open" 0 0 timeout --foreground -s KILL 600 "$sim" run -- "$load" reopen $temp 64 500
finish
