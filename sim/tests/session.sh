# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2028,SC2254,SC2317
# Runs the session of docs/virtual-device.md: each line must be on the page, and do what the page says.
page=$3
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
PATH=$(dirname "$sim"):$PATH

documented() {
    grep -qF -- "$1" "$page" || fail "not in $page: $1"
}
# host EXPECTED LINE
host() {
    documented "$2"
    expect "$2" 0 "$1" bash -c "$2"
}
# device EXPECTED LINE: in the shell on the device.
device() {
    local line=
    documented "$2"
    echo "{ $2; } 2>&1 | tr '\n' ' '; echo" >&8
    read -r -t 20 line <&9
    case $line in
        $1) ;;
        *) fail "$2: \"$line\"" ;;
    esac
}
[ "$("$sim" runs | wc -l)" = 0 ] || skip "another device is running; the session has no names"
host 4 "velmor-sim run -- cat /sys/class/backlight/pwm-backlight.0/brightness"
documented "velmor-sim run -- bash "
mkfifo orders answers
velmor-sim run -- bash <orders >answers 2>ending &
shell=$!
exec 8>orders 9<answers
device "*write error: Invalid argument*" "cd /sys/class/backlight/pwm-backlight.0; echo 7 >brightness; echo 8 >brightness"
device "active_low direction edge *value*" "cd /sys/class/gpio; echo 37 >export; ls gpio37"
host 7 "velmor-sim get backlight.brightness"
host "" "velmor-sim set thermal.temp 91000"
documented "velmor-sim wait-for 'backlight.brightness<3' 30s && echo dimmed"
(velmor-sim wait-for 'backlight.brightness<3' 30s && echo dimmed) >second &
second=$!
device "91000*" "cat /sys/class/thermal/thermal_zone0/temp"
device "*" "echo 2 >/sys/class/backlight/pwm-backlight.0/brightness"
wait $second
expect "the second terminal" 0 dimmed cat second
documented "      /sbin/reboot  "
echo /sbin/reboot >&8
wait $shell
expect "the end" 0 "121 velmor-sim: the unit restarts: /sbin/reboot" echo "$?" "$(cat ending)"
finish
