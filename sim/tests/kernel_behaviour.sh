# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

light=/sys/class/backlight/pwm-backlight.0
gpio=/sys/class/gpio
# try FILE TEXT EXPECTED: write the text; what the shell says of it, or nothing.
try() {
    local said=
    [ -z "$3" ] || said="bash: line 1: echo: write error: $3"
    local status=0
    [ -z "$3" ] || status=1
    expect "write $2 to $1" "$status" "$said" on_device "echo $2 >$1"
}
try $light/brightness 7 ""
try $light/brightness 8 "Invalid argument"
try $light/brightness -1 "Invalid argument"
try $light/brightness abc "Invalid argument"
try $light/brightness "'7 '" "Invalid argument"
try $light/brightness 99999999999999999999 "Numerical result out of range"
try /sys/devices/platform/mxc_pwm.2/duty 1000001 "Invalid argument"
try /sys/devices/platform/mxc_pwm.2/period 499999 "Invalid argument"
try /sys/devices/platform/mxc_pwm.2/status 2 "Invalid argument"
try /sys/power/state bogus "Invalid argument"
try /sys/class/leds/keypad/color "'255 0 16'" ""
try /sys/class/leds/keypad/color "'255 0 256'" "Invalid argument"
try /sys/class/leds/keypad/color "'255 0'" "Invalid argument"
try /sys/devices/platform/gpio-keys/disabled_keys "33,31," ""
try /sys/devices/platform/gpio-keys/disabled_keys "0," ""
try /sys/devices/platform/gpio-keys/disabled_keys 500 "Invalid argument"
try /sys/devices/platform/gpio-keys/disabled_keys 768 "Numerical result out of range"
try /sys/class/mrfi/mrfi0/link 0xab0001 ""
try /sys/class/mrfi/mrfi0/link peer "Invalid argument"
try $gpio/export 9999 "Invalid argument"
try $gpio/unexport 37 "Invalid argument"
expect "a value is kept when a write is refused" 0 4 on_device "echo 9 2>/dev/null >$light/brightness || :
    cat $light/brightness"
expect "a deeper blanking than there is" 0 4 on_device "echo 9 >/sys/class/graphics/fb0/blank; cat /sys/class/graphics/fb0/blank"
expect "key lists" 0 "31,33,102,116
31
102,116" on_device "cd /sys/devices/platform/gpio-keys; cat keys disabled_keys; echo 116,102 >disabled_keys; cat disabled_keys"
expect "linked peers" 0 "0x12340002 a 3 -71 0 1
0xab0001 0 0 -57 1 0" on_device "cd /sys/class/mrfi/mrfi0; echo 0xab0001 >link; echo 0x12340001 >unlink; cat connections"

expect "read-only" 1 "bash: line 1: $light/max_brightness: Permission denied" on_device "echo 1 >$light/max_brightness"
expect "write-only" 1 "cat: $gpio/export: Permission denied" on_device "cat $gpio/export"
expect "no file can be made" 1 "touch: cannot touch '/sys/class/new': Permission denied" on_device "touch /sys/class/new"
expect "nor under /proc" 1 "touch: cannot touch '/proc/platform/new': No such file or directory" \
    on_device "touch /proc/platform/new"
expect "no directory" 1 "mkdir: cannot create directory '/sys/new': Operation not permitted" env LC_ALL=C "$sim" run -- mkdir /sys/new
expect "nothing can be removed" 1 "rm: cannot remove '$light/brightness': Operation not permitted" \
    on_device "rm -f $light/brightness"
expect "a snapshot for each open" 0 "4
7" on_device "exec 3<$light/brightness; read a <&3; echo 7 >$light/brightness; echo \$a; cat $light/brightness"

expect "a line comes and goes" 0 "gpio37 in 0
gpio37" on_device "cd $gpio; echo 37 >export; echo gpio37 \$(cat gpio37/direction gpio37/value); ls -d gpio37
    echo 37 >unexport; test ! -e gpio37"
expect "a second export" 1 "bash: line 1: echo: write error: Device or resource busy" on_device "echo 37 >$gpio/export; echo 37 >$gpio/export"
expect "a level on an input" 1 "bash: line 1: echo: write error: Operation not permitted" on_device "cd $gpio; echo 37 >export; echo 1 >gpio37/value"
expect "a bad direction" 1 "bash: line 1: echo: write error: Invalid argument" on_device "cd $gpio; echo 37 >export; echo up >gpio37/direction"
expect "an output" 0 "out 1" on_device "cd $gpio; echo 37 >export; echo high >gpio37/direction; echo \$(cat gpio37/direction gpio37/value)"
expect "a line given back while it is open" 0 "-1 ENODEV" on_device "echo 37 >$gpio/export; $act dead-line"
expect "200 rounds" 0 "" on_device "cd $gpio; i=0; while [ \$i -lt 200 ]; do echo 40 >export; echo out >gpio40/direction
    echo 1 >gpio40/value; echo 40 >unexport; [ ! -e gpio40 ] || echo still; i=\$((i+1)); done"

expect "axes" 0 "-12 34 1024 0 " on_device "$act axes /dev/input/event0"
expect "axes of keys" 1 "EINVAL" on_device "$act axes /dev/input/event2"
expect "the table of processors" 0 "$(nproc)" on_device nproc
expect "a process's own files" 0 "sh" "$sim" run -- sh -c 'cat /proc/$$/comm'
finish
