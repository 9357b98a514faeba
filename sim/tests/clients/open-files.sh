# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed lsof lsof
installed fuser psmisc

# -w: the machine may have file systems that this user cannot look at, and lsof would say so.
expect "lsof" 0 "sleep 3r /dev/input/event0
sleep 4w /dev/watchdog" on_device 'sleep 60 3</dev/input/event0 4>/dev/watchdog &
    until [ "$(cat /proc/$!/comm)" = sleep ]; do sleep 0.05; done
    lsof -w -a -c sleep /dev/input/event0 /dev/watchdog | tail -n +2 | tr -s " " | cut -d" " -f1,4,9; kill $!'
# Of process 1, which is in another user namespace, it may not see what is open, and says so.
expect "fuser" 0 "/dev/input/event0:       2" \
    on_device 'exec 3</dev/input/event0; fuser /dev/input/event0 >said 2>&1 && exec 3<&- && grep -v "/proc/1/" said'
expect "fuser, if nobody has it open" 1 "" on_device 'fuser /dev/input/event0 2>/dev/null'
finish
