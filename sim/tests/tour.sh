# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
tour=${3:?}

"$sim" run --trace trace -- "$tour" >said 2>&1 || fail "the tour: status $?: $(tail -3 said)"
for path in /proc/platform/serial_number /etc/fs_version /sys/class/backlight/pwm-backlight.0/brightness /dev/watchdog \
    /sys/class/thermal/thermal_zone0/temp; do
    grep -q "\"path\":\"$path\"" trace || fail "the tour did not use $path"
done
grep -q "AB12C0FFEE" said || fail "the tour did not print the serial number"
finish
