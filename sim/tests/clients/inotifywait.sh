# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed inotifywait inotify-tools

expect "a program's accesses" 0 "OPEN
MODIFY
CLOSE_WRITE,CLOSE" on_device 'cd /sys/class/backlight/pwm-backlight.0
    exec 3< <(inotifywait -q -m -e open,modify,close_write --format %e brightness 2>/dev/null)
    sleep 1; echo 3 >>brightness
    for event in 1 2 3; do read -r -t 10 line <&3; echo "$line"; done; kill $!'
finish
