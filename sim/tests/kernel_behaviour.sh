# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

light=/sys/class/backlight/pwm-backlight.0
gpio=/sys/class/gpio
platform=/sys/devices/platform
mrfi=/sys/class/mrfi/mrfi0
write_error="bash: line 1: echo: write error:"

# rejects FILE ERROR TEXT...: writing each text fails with this error; with none it succeeds.
rejects() {
    local text status=1
    [ -n "$2" ] || status=0
    for text in "${@:3}"; do
        expect "write $text to $1" $status "${2:+$write_error $2}" on_device "echo '$text' >$1"
    done
}
accepts() { rejects "$1" "" "${@:2}"; }

invalid="Invalid argument" too_large="Numerical result out of range"
accepts $light/brightness 7
rejects $light/brightness "$invalid" 8 -1 abc '7 '
rejects $light/brightness "$too_large" 99999999999999999999
rejects $platform/mxc_pwm.2/duty "$invalid" 1000001
rejects $platform/mxc_pwm.2/period "$invalid" 499999
rejects $platform/mxc_pwm.2/status "$invalid" 2
rejects /sys/power/state "$invalid" bogus
accepts /sys/class/leds/keypad/color '255 0 16'
rejects /sys/class/leds/keypad/color "$invalid" '255 0 256' '255 0'
accepts $platform/gpio-keys/disabled_keys 33,31, 0,
rejects $platform/gpio-keys/disabled_keys "$invalid" 500
rejects $platform/gpio-keys/disabled_keys "$too_large" 768
accepts $mrfi/link 0xab0001
rejects $mrfi/link "$invalid" peer
rejects $gpio/export "$invalid" 9999
rejects $gpio/unexport "$invalid" 37

expect "a value is kept when a write is refused" 0 4 on_device "echo 9 2>/dev/null >$light/brightness || :
    cat $light/brightness"
expect "the deepest blanking" 0 4 on_device "echo 9 >/sys/class/graphics/fb0/blank; cat /sys/class/graphics/fb0/blank"
expect "key lists" 0 "31,33,102,116
31
102,116" on_device "cd $platform/gpio-keys; cat keys disabled_keys; echo 116,102 >disabled_keys; cat disabled_keys"
expect "linked peers" 0 "0x12340002 a 3 -71 0 1
0xab0001 0 0 -57 1 0" on_device "cd $mrfi; echo 0xab0001 >link; echo 0x12340001 >unlink; cat connections"

expect "read-only" 1 "bash: line 1: $light/max_brightness: Permission denied" on_device "echo 1 >$light/max_brightness"
expect "write-only" 1 "cat: $gpio/export: Permission denied" on_device "cat $gpio/export"
expect "create a file" 1 "touch: cannot touch '/sys/class/new': Permission denied" on_device "touch /sys/class/new"
expect "create a file in /proc" 1 "touch: cannot touch '/proc/platform/new': No such file or directory" \
    on_device "touch /proc/platform/new"
expect "create a directory" 1 "mkdir: cannot create directory '/sys/new': Operation not permitted" \
    env LC_ALL=C "$sim" run -- mkdir /sys/new
expect "remove a file" 1 "rm: cannot remove '$light/brightness': Operation not permitted" \
    on_device "rm -f $light/brightness"
expect "a snapshot for each open" 0 "4
7" on_device "exec 3<$light/brightness; read a <&3; echo 7 >$light/brightness; echo \$a; cat $light/brightness"

# on_line SCRIPT: on_device in the directory of the GPIO class, with line 37 exported.
on_line() {
    on_device "cd $gpio; echo 37 >export; $1"
}
expect "a line comes and goes" 0 "gpio37 in 0
gpio37" on_line "echo gpio37 \$(cat gpio37/direction gpio37/value); ls -d gpio37; echo 37 >unexport; test ! -e gpio37"
expect "a second export" 1 "$write_error Device or resource busy" on_line "echo 37 >export"
expect "a level on an input" 1 "$write_error Operation not permitted" on_line "echo 1 >gpio37/value"
expect "a bad direction" 1 "$write_error $invalid" on_line "echo up >gpio37/direction"
expect "an output" 0 "out 1" on_line "echo high >gpio37/direction; echo \$(cat gpio37/direction gpio37/value)"
expect "a line given back while it is open" 0 "-1 ENODEV" on_line "$act dead-line"
expect "200 rounds" 0 "" on_device "cd $gpio; i=0; while [ \$i -lt 200 ]; do echo 40 >export; echo out >gpio40/direction
    echo 1 >gpio40/value; echo 40 >unexport; [ ! -e gpio40 ] || echo still; i=\$((i+1)); done"

expect "axes" 0 "-12 34 1024 0 " on_device "$act axes /dev/input/event0"
expect "axes of keys" 1 "EINVAL" on_device "$act axes /dev/input/event2"
# Of 40 presses the first 31 and a half are lost: 63 events have room, and the 64th drops them all.
expect "an input queue that overflows" 0 "0 3 0
0 0 0
$(for i in 33 34 35 36 37 38 39 40; do printf '1 33 %d\n0 0 0\n' $((i % 2)); done)" on_device "exec 3</dev/input/event2
    for i in {1..40}; do $sim set --name on-$$ keys.33 \$((i % 2)); done
    dd iflag=nonblock bs=24 count=100 <&3 2>/dev/null | od -An -v -w24 -td2 | awk '{print \$9, \$10, \$11}'"
expect "that of three axes, which has room for 127 events" 0 14 on_device "exec 3</dev/input/event0
    for i in {1..70}; do $sim set --name on-$$ attitude.x \$i; done
    echo \$((\$(dd iflag=nonblock bs=24 count=200 <&3 2>/dev/null | wc -c) / 24))"
if command -v python3 >/dev/null; then
    # FUSE delivers ENOTTY (25) where Linux says ENOSYS.
    expect "key repetition, which there is not" 0 "25" "$sim" run --board all-families --trace trace -- python3 -c 'import fcntl
try: fcntl.ioctl(open("/dev/input/event2"), 0x80084503, bytes(8))
except OSError as error: print(error.errno)'
    expect "the record of it" 0 1 grep -c '"request":"0x80084503".*"errno":"ENOTTY"' trace
else
    echo "left out: no python3"
fi
expect "the table of processors" 0 "$(nproc)" on_device nproc
expect "a process's own files" 0 "sh" "$sim" run -- sh -c 'cat /proc/$$/comm'
finish
