# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed inotifywait inotify-tools

expect "a program's accesses" 0 "OPEN
MODIFY
CLOSE_WRITE,CLOSE" on_device 'cd /sys/class/backlight/pwm-backlight.0
    scratch=$OLDPWD
    : >"$scratch/established"
    exec 3< <(exec inotifywait -m -e open,modify,close_write --format %e brightness 2>"$scratch/established")
    until grep -q established "$scratch/established"; do sleep 0.05; done
    echo 3 >>brightness
    for event in 1 2 3; do read -r -t 100 line <&3; echo "$line"; done; kill $!'
finish
