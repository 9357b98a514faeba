# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# Static, 32-bit and Python programs see the same device, and the same acts leave the same record.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
kind=${3:?}

case $kind in
    dynamic) program=("$act") ;;
    static | i686)
        program=("${act}_$kind")
        [ -x "${act}_$kind" ] || skip "no compiler for $kind programs was found when this was built"
        ;;
    python)
        program=("$(PATH=/usr/bin:/bin command -v python3)" "$here/act.py")
        [ -n "${program[0]}" ] || skip "no python3"
        ;;
esac
[ "$kind" != i686 ] || "${program[@]}" >/dev/null 2>&1 || [ $? = 99 ] || skip "this kernel cannot run 32-bit programs"

light=/sys/class/backlight/pwm-backlight.0
gpio=/sys/class/gpio
cat >steps <<STEPS
read /proc/platform/serial_number
read /etc/fs_version
read $light/max_brightness
read $gpio/gpio37/value
write $gpio/export 37
write $gpio/export 37
read $gpio/gpio37/direction
write $gpio/unexport 37
write $light/brightness 6
write $light/brightness 8
read $light/brightness
write $light/max_brightness 8
read $gpio/export
read /sys/class/thermal/thermal_zone0/temp
write /sys/devices/platform/mxc_pwm.1/duty 250000
read /sys/devices/platform/mxc_pwm.1/duty
write /sys/class/graphics/fb0/blank 1
read /sys/class/leds/keypad/color
read /sys/class/mrfi/mrfi0/address
write /sys/power/state mem
write /sys/class/new 1
stat $light/brightness
stat $gpio/export
stat /proc/platform/pht
stat /sbin/reboot
stat /dev/watchdog
entries /proc/platform
entries $gpio
axes /dev/input/event0
feed /dev/watchdog 30
options /dev/watchdog 1
grab /dev/input/event0
STEPS
mapfile -t words < <(tr ' ' '\n' <steps)
cat >expected <<'OUTPUT'
AB12C0FFEE
2.1.3R17D 24/12/2025
7
ENOENT
good
EBUSY
in
good
good
EINVAL
6
EACCES
EACCES
45000
good
250000
good
0 0 0
0x1a2b3c4d
good
ENOENT
100644 0 0 4096
100200 0 0 4096
100444 0 0 0
100755 0 0 85
100600 0 0 0
35
11
-12 34 1024 0 
good
good
good
30 30
good
good
EFAULT
good
good
EBUSY
EINVAL
good
OUTPUT
expect "what a $kind program sees" 0 "$(cat expected)" \
    "$sim" run --board all-families --trace trace -- "${program[@]}" "do" "${words[@]}"

sed -E 's/"act":|"path":|"result":|"mode":|"text":|"request":|"errno":|,"pid":[0-9]+|[{}]//g' trace | tr ',' ' ' | tr -d '"' >acts
cat >expected <<'RECORD'
open /proc/platform/serial_number r 0
read /proc/platform/serial_number AB12C0FFEE\n 11
close /proc/platform/serial_number 0
open /etc/fs_version r 0
read /etc/fs_version 2.1.3R17D 24/12/2025\n 21
close /etc/fs_version 0
open /sys/class/backlight/pwm-backlight.0/max_brightness r 0
read /sys/class/backlight/pwm-backlight.0/max_brightness 7\n 2
close /sys/class/backlight/pwm-backlight.0/max_brightness 0
lookup /sys/class/gpio/gpio37 -1 ENOENT
open /sys/class/gpio/export w 0
write /sys/class/gpio/export 37 2
close /sys/class/gpio/export 0
open /sys/class/gpio/export w 0
write /sys/class/gpio/export 37 -1 EBUSY
close /sys/class/gpio/export 0
open /sys/class/gpio/gpio37/direction r 0
read /sys/class/gpio/gpio37/direction in\n 3
close /sys/class/gpio/gpio37/direction 0
open /sys/class/gpio/unexport w 0
write /sys/class/gpio/unexport 37 2
close /sys/class/gpio/unexport 0
open /sys/class/backlight/pwm-backlight.0/brightness w 0
write /sys/class/backlight/pwm-backlight.0/brightness 6 1
close /sys/class/backlight/pwm-backlight.0/brightness 0
open /sys/class/backlight/pwm-backlight.0/brightness w 0
write /sys/class/backlight/pwm-backlight.0/brightness 8 -1 EINVAL
close /sys/class/backlight/pwm-backlight.0/brightness 0
open /sys/class/backlight/pwm-backlight.0/brightness r 0
read /sys/class/backlight/pwm-backlight.0/brightness 6\n 2
close /sys/class/backlight/pwm-backlight.0/brightness 0
open /sys/class/backlight/pwm-backlight.0/max_brightness w -1 EACCES
open /sys/class/gpio/export r -1 EACCES
open /sys/class/thermal/thermal_zone0/temp r 0
read /sys/class/thermal/thermal_zone0/temp 45000\n 6
close /sys/class/thermal/thermal_zone0/temp 0
open /sys/devices/platform/mxc_pwm.1/duty w 0
write /sys/devices/platform/mxc_pwm.1/duty 250000 6
close /sys/devices/platform/mxc_pwm.1/duty 0
open /sys/devices/platform/mxc_pwm.1/duty r 0
read /sys/devices/platform/mxc_pwm.1/duty 250000\n 7
close /sys/devices/platform/mxc_pwm.1/duty 0
open /sys/class/graphics/fb0/blank w 0
write /sys/class/graphics/fb0/blank 1 1
close /sys/class/graphics/fb0/blank 0
open /sys/class/leds/keypad/color r 0
read /sys/class/leds/keypad/color 0 0 0\n 6
close /sys/class/leds/keypad/color 0
open /sys/class/mrfi/mrfi0/address r 0
read /sys/class/mrfi/mrfi0/address 0x1a2b3c4d\n 11
close /sys/class/mrfi/mrfi0/address 0
open /sys/power/state w 0
write /sys/power/state mem 3
close /sys/power/state 0
lookup /sys/class/new -1 ENOENT
open /dev/input/event0 r 0
ioctl /dev/input/event0 0x80184540 in: out:f4ffffff00f8ffffff070000000000000000000000000000 0
ioctl /dev/input/event0 0x80184541 in: out:2200000000f8ffffff070000000000000000000000000000 0
ioctl /dev/input/event0 0x80184542 in: out:0004000000f8ffffff070000000000000000000000000000 0
ioctl /dev/input/event0 0x80184543 in: out:000000000000000000000000000000000000000000000000 0
close /dev/input/event0 0
open /dev/watchdog w 0
ioctl /dev/watchdog 0xc0045706 in:1e000000 out:1e000000 0
ioctl /dev/watchdog 0x80045705 in: out: 0
ioctl /dev/watchdog 0x80045707 in: out:1e000000 0
write /dev/watchdog V 1
close /dev/watchdog 0
open /dev/watchdog w 0
ioctl /dev/watchdog 0x80045704 in:01000000 out: 0
ioctl /dev/watchdog 0x80045704 in: out: -1 EFAULT
write /dev/watchdog V 1
close /dev/watchdog 0
open /dev/input/event0 r 0
open /dev/input/event0 r 0
ioctl /dev/input/event0 0x40044590 in:01000000 out: 0
ioctl /dev/input/event0 0x40044590 in:01000000 out: -1 EBUSY
ioctl /dev/input/event0 0x40044590 in:00000000 out: -1 EINVAL
ioctl /dev/input/event0 0x40044590 in:00000000 out: 0
close /dev/input/event0 0
close /dev/input/event0 0
RECORD
expect "the record of a $kind program" 0 "" diff expected acts

[ "$kind" != python ] || finish
echo 'wait-for-act /dev/input/event2:open 120s
set keys.33 1
set keys.33 0' >script
expect "key presses in a $kind program" 0 "open
1 33 1
1 33 0" "$sim" run --board all-families --script script -- "${program[@]}" event /dev/input/event2
expect "a restart by a $kind program" 121 'velmor-sim: the unit restarts: restart call with "wdt"' \
    "$sim" run --trace trace -- "${program[@]}" restart 0xA1B2C3D4 wdt
expect "the record of a $kind program's restart" 0 \
    '{"act":"restart","command":"0xa1b2c3d4","text":"wdt","result":0,"pid":2}' cat trace
expect "a restart that fails, in a $kind program" 5 '-1 EPERM' \
    "$sim" run --fault restart:call:EPERM -- "${program[@]}" restart 0xA1B2C3D4 wdt
if [ "$kind" = dynamic ] && [ "$(uname -m)" = x86_64 ]; then
    # A 64-bit program can make 32-bit and x32 system calls too.
    for way in int80 x32; do
        expect "a restart by $way" 121 'velmor-sim: the unit restarts: restart call' \
            "$sim" run -- "$act" restart 0x1234567 "" "$way"
    done
fi
finish
