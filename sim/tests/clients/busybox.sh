# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed busybox busybox

temp=/sys/class/thermal/thermal_zone0/temp
expect "cat" 0 45000 "$sim" run -- busybox cat $temp
expect "dd" 0 45000 "$sim" run -- busybox dd if=$temp bs=2 status=none
expect "dd that skips the beginning" 0 000 "$sim" run -- busybox dd if=$temp bs=1 skip=2 status=none
expect "a write by dd" 0 5 on_device 'cd /sys/class/backlight/pwm-backlight.0
    printf 5 | busybox dd of=brightness status=none; cat brightness'
expect "tail -f" 143 45000 "$sim" run -- sh -c "busybox tail -f $temp >said & until [ -s said ]; do sleep 0.05; done
    cat said; kill \$!; wait \$! 2>/dev/null"
expect "ls" 0 "$(printf '%s\n' active_low direction edge power subsystem uevent value)" \
    on_device 'echo 37 >/sys/class/gpio/export; busybox ls /sys/class/gpio/gpio37/'
expect "find" 0 /sys/class/gpio/export "$sim" run -- busybox find /sys/class/gpio/ -name export
finish
