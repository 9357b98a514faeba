# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed udevadm udev
# Otherwise libudev accepts only a sysfs.
export SYSTEMD_DEVICE_VERIFY_SYSFS=0

properties() {
    "$sim" run --board all-families -- udevadm info -q property "$@" | LC_ALL=C sort
}
expect "a backlight" 0 "DEVPATH=/devices/platform/pwm-backlight.0/backlight/pwm-backlight.0
SUBSYSTEM=backlight" properties -p /sys/class/backlight/pwm-backlight.0
expect "a device of the platform" 0 "DEVPATH=/devices/platform/mxc_pwm.1
DRIVER=mxc_pwm
MODALIAS=platform:mxc_pwm
SUBSYSTEM=platform" properties -p /devices/platform/mxc_pwm.1
expect "a framebuffer" 0 "DEVNAME=/dev/fb0
DEVPATH=/devices/platform/mxc_sdc_fb.0/graphics/fb0
MAJOR=29
MINOR=0
SUBSYSTEM=graphics" properties -p /sys/class/graphics/fb0
expect "an input device" 0 'ABS=7
DEVPATH=/devices/virtual/input/input0
EV=9
MODALIAS=input:b0000v0000p0000e0000-e0,3,kra0,1,2,mlsfw
NAME="accelerometer"
PRODUCT=0/0/0/0
PROP=0
SUBSYSTEM=input' properties -p /sys/class/input/input0
expect "keys" 0 'DEVPATH=/devices/platform/gpio-keys/input/input2
EV=3
KEY=10004000000000 280000000
MODALIAS=input:b0000v0000p0000e0000-e0,1,k74,ramlsfw
NAME="gpio-keys"
PRODUCT=0/0/0/0
PROP=0
SUBSYSTEM=input' properties -p /sys/class/input/input2
expect "an event node, by its numbers" 0 'DEVNAME=/dev/input/event0
DEVPATH=/devices/virtual/input/input0/event0
MAJOR=13
MINOR=64
SUBSYSTEM=input' properties -n /dev/char/13:64
expect "the watchdog's node" 0 'DEVNAME=/dev/watchdog
DEVPATH=/devices/platform/imx2-wdt.0/misc/watchdog
MAJOR=10
MINOR=130
SUBSYSTEM=misc' properties -p /sys/class/misc/watchdog
if "$sim" run -- test -c /dev/ttymxc4; then
    expect "a serial port" 0 'DEVNAME=/dev/ttymxc4
DEVPATH=/devices/virtual/tty/ttymxc4
MAJOR=207
MINOR=20
SUBSYSTEM=tty' properties -p /sys/class/tty/ttymxc4
fi
expect "an exported line" 0 'DEVPATH=/devices/virtual/gpio/gpio37
SUBSYSTEM=gpio' on_device 'echo 37 >/sys/class/gpio/export; udevadm info -q property -p /sys/class/gpio/gpio37 | sort'
expect "the keys and the devices above them" 0 '    KERNEL=="event2"
    ATTRS{name}=="gpio-keys"
    DRIVERS=="gpio-keys"
    ATTRS{keys}=="31,33,102,116"' on_device 'udevadm info -a -p /sys/class/input/event2 |
    grep -E "KERNEL==|\{name\}|\{keys\}|DRIVERS==\"g"'
expect "all devices" 0 "input: 6
leds: 1
misc: 1
thermal: 2" on_device 'udevadm info --export-db | sed -n "s/^E: SUBSYSTEM=//p" | sort | uniq -c |
    sed -nE "s/ *([0-9]+) (input|leds|misc|thermal)$/\2: \1/p"'

expect "nodes, by name" 0 "/devices/virtual/input/input0/event0
/devices/platform/imx2-wdt.0/misc/watchdog" "$sim" run --board all-families --device-nodes -- \
    sh -c 'udevadm info -q path -n /dev/input/event0; udevadm info -q path -n /dev/watchdog'

# The machine's database describes the machine's devices.
if [ "$(id -u)" = 0 ] && unshare -m true 2>/dev/null; then
    expect "with a database on the machine" 0 "13:64
13:64" unshare -m sh -c 'mount -t tmpfs none /run && mkdir -p /run/udev/data &&
        echo E:ID_PATH=usb >/run/udev/data/c13:64 &&
        "$0" run --board all-families -- sh -c "cd /sys/class/input/event0; cat dev; udevadm info -p \$PWD" |
        sed -n "/^[0-9]/p; s/^E: MINOR=/13:/p; /usb/p"' "$sim"
fi
finish
