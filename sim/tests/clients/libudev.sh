# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
/usr/bin/python3 -c "import pyudev" 2>/dev/null ||
    skip "no pyudev module for /usr/bin/python3; Debian's package python3-pyudev has it"
# Otherwise libudev accepts only a sysfs.
export SYSTEMD_DEVICE_VERIFY_SYSFS=0

cat >program <<'PROGRAM'
import os
import pyudev

context = pyudev.Context()
for subsystem in "backlight", "graphics", "input", "leds", "mrfi", "thermal", "watchdog":
    print(subsystem, *sorted(device.sys_name for device in context.list_devices(subsystem=subsystem)))
print(len(list(context.list_devices(subsystem="platform"))))
for device in context.list_devices(subsystem="input", NAME='"car motion"'):
    print(device.device_path, *(child.device_node for child in device.children))
event = pyudev.Devices.from_device_number(context, "char", os.makedev(13, 66))
print(event.device_node, event.parent.attributes.asstring("name"), event.find_parent("platform").driver)
light = pyudev.Devices.from_name(context, "backlight", "pwm-backlight.0")
print(light.attributes.asint("max_brightness"), light.parent.sys_name, light.is_initialized)
PROGRAM
expect "a program with Debian's module for libudev" 0 "backlight pwm-backlight.0
graphics fb0 fb1
input event0 event1 event2 input0 input1 input2
leds keypad
mrfi mrfi0 mrfi1
thermal thermal_zone0 thermal_zone1
watchdog watchdog0
12
/devices/virtual/input/input1 /dev/input/event1
/dev/input/event2 gpio-keys gpio-keys
7 pwm-backlight.0 False" "$sim" run --board all-families -- timeout 600 /usr/bin/python3 program
finish
