# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

expect "a restart with a text" 121 'velmor-sim: the unit restarts: restart call with "wdt"' \
    "$sim" run --trace trace -- "$act" restart 0xA1B2C3D4 wdt
expect "the record of it" 0 '{"act":"restart","command":"0xa1b2c3d4","text":"wdt","result":0,"pid":2}' cat trace
expect "a plain restart" 121 'velmor-sim: the unit restarts: restart call' "$sim" run -- "$act" restart 0x1234567 ""
expect "a power-off" 122 'velmor-sim: the unit powers off: power-off call' "$sim" run -- "$act" restart 0x4321FEDC ""
expect "an unknown command" 5 '-1 EINVAL' "$sim" run -- "$act" restart 0x1111 ""
expect "a restart that is made to fail" 5 '-1 EPERM' "$sim" run --fault restart:call:EPERM -- "$act" restart 0xA1B2C3D4 wdt
expect "the restart program" 121 "velmor-sim: the unit restarts: /sbin/reboot" "$sim" run -- /sbin/reboot
expect "under its other name" 121 "velmor-sim: the unit restarts: /sbin/reboot" "$sim" run -- sh -c 'PATH=$PATH:/sbin exec reboot'
expect "the power-off program" 122 "velmor-sim: the unit powers off: /sbin/poweroff" "$sim" run -- /sbin/poweroff
expect "a restart program that fails" 3 "" "$sim" run --set reboot.exit=3 -- /sbin/reboot
expect "a restart program that cannot be run" 126 "velmor-sim: /sbin/reboot: Permission denied" \
    "$sim" run --fault /sbin/reboot:open:EACCES -- /sbin/reboot
expect "the machine's own power programs are not there" 0 "" "$sim" run -- sh -c 'ls /sbin/halt /sbin/shutdown /usr/sbin/halt 2>/dev/null; true'
finish
