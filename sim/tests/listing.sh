# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# "ls -l" shows the device's directories as the kernel does.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

# listing DIRECTORY EXPECTED [BEFORE]: its lines without the date, after the shell commands BEFORE.
listing() {
    expect "ls -l $1" 0 "$2" on_device "${3-:}; LC_ALL=C ls -l $1 | tail -n +2 | awk '{\$6 = \$7 = \$8 = \"\"; print}' | tr -s ' '"
}
listing /sys/class/backlight \
    'lrwxrwxrwx 1 root root 0 pwm-backlight.0 -> ../../devices/platform/pwm-backlight.0/backlight/pwm-backlight.0'
listing /sys/class/backlight/pwm-backlight.0/ '-r--r--r-- 1 root root 4096 actual_brightness
-rw-r--r-- 1 root root 4096 bl_power
-rw-r--r-- 1 root root 4096 brightness
lrwxrwxrwx 1 root root 0 device -> ../../../pwm-backlight.0
-r--r--r-- 1 root root 4096 max_brightness
drwxr-xr-x 2 root root 0 power
lrwxrwxrwx 1 root root 0 subsystem -> ../../../../../class/backlight
-r--r--r-- 1 root root 4096 type
-rw-r--r-- 1 root root 4096 uevent'
listing /sys/class/backlight/pwm-backlight.0/power '-rw-r--r-- 1 root root 4096 autosuspend_delay_ms
-rw-r--r-- 1 root root 4096 control
-r--r--r-- 1 root root 4096 runtime_active_time
-r--r--r-- 1 root root 4096 runtime_status
-r--r--r-- 1 root root 4096 runtime_suspended_time'
chips=$(for base in 0 128 160 192 32 64 96; do
    echo "lrwxrwxrwx 1 root root 0 gpiochip$base -> ../../devices/virtual/gpio/gpiochip$base"
done)
listing /sys/class/gpio "--w------- 1 root root 4096 export
lrwxrwxrwx 1 root root 0 gpio37 -> ../../devices/virtual/gpio/gpio37
$chips
--w------- 1 root root 4096 unexport" "echo 37 >/sys/class/gpio/export"
listing /sys/class/gpio/gpio37/ '-rw-r--r-- 1 root root 4096 active_low
-rw-r--r-- 1 root root 4096 direction
-rw-r--r-- 1 root root 4096 edge
drwxr-xr-x 2 root root 0 power
lrwxrwxrwx 1 root root 0 subsystem -> ../../../../class/gpio
-rw-r--r-- 1 root root 4096 uevent
-rw-r--r-- 1 root root 4096 value' "echo 37 >/sys/class/gpio/export"
listing /sys/class/thermal/thermal_zone0/ "drwxr-xr-x 2 root root 0 power
lrwxrwxrwx 1 root root 0 subsystem -> ../../../../class/thermal
-r--r--r-- 1 root root 4096 temp
$(for point in 0 1 2 3; do
    echo "-r--r--r-- 1 root root 4096 trip_point_${point}_temp"
    echo "-r--r--r-- 1 root root 4096 trip_point_${point}_type"
done)
-r--r--r-- 1 root root 4096 type
-rw-r--r-- 1 root root 4096 uevent"
listing /sys/devices/platform/mxc_pwm.1 'lrwxrwxrwx 1 root root 0 driver -> ../../../bus/platform/drivers/mxc_pwm
-rw-r--r-- 1 root root 4096 duty
-r--r--r-- 1 root root 4096 modalias
-rw-r--r-- 1 root root 4096 period
drwxr-xr-x 2 root root 0 power
-rw-r--r-- 1 root root 4096 status
lrwxrwxrwx 1 root root 0 subsystem -> ../../../bus/platform
-rw-r--r-- 1 root root 4096 uevent'
listing /sys/class/input 'lrwxrwxrwx 1 root root 0 event0 -> ../../devices/virtual/input/input0/event0
lrwxrwxrwx 1 root root 0 event1 -> ../../devices/virtual/input/input1/event1
lrwxrwxrwx 1 root root 0 event2 -> ../../devices/platform/gpio-keys/input/input2/event2
lrwxrwxrwx 1 root root 0 input0 -> ../../devices/virtual/input/input0
lrwxrwxrwx 1 root root 0 input1 -> ../../devices/virtual/input/input1
lrwxrwxrwx 1 root root 0 input2 -> ../../devices/platform/gpio-keys/input/input2'
listing /sys/class/input/input2/ 'drwxr-xr-x 2 root root 0 capabilities
lrwxrwxrwx 1 root root 0 device -> ../../../gpio-keys
drwxr-xr-x 3 root root 0 event2
drwxr-xr-x 2 root root 0 id
-r--r--r-- 1 root root 4096 modalias
-r--r--r-- 1 root root 4096 name
-r--r--r-- 1 root root 4096 phys
drwxr-xr-x 2 root root 0 power
-r--r--r-- 1 root root 4096 properties
lrwxrwxrwx 1 root root 0 subsystem -> ../../../../../class/input
-rw-r--r-- 1 root root 4096 uevent
-r--r--r-- 1 root root 4096 uniq'
listing /sys/class/input/event2/ '-r--r--r-- 1 root root 4096 dev
lrwxrwxrwx 1 root root 0 device -> ../../input2
drwxr-xr-x 2 root root 0 power
lrwxrwxrwx 1 root root 0 subsystem -> ../../../../../../class/input
-rw-r--r-- 1 root root 4096 uevent'
listing /sys/power '-rw-r--r-- 1 root root 4096 state'
listing /sys/class/watchdog \
    'lrwxrwxrwx 1 root root 0 watchdog0 -> ../../devices/platform/imx2-wdt.0/watchdog/watchdog0'
records=$(for part in boot splash os; do
    for record in date_day date_month date_year version_build version_development version_major version_minor \
        version_revision version_status; do
        echo "-r--r--r-- 1 root root 0 ${part}_$record"
    done
done)
records=$(printf '%s\n' "$records" "-r--r--r-- 1 root root 0 "{compatibility_version,pht,pht_version,serial_number,low_featuremask,high_featuremask} | LC_ALL=C sort)
listing /proc/platform "$records"
expect "ls -l of files" 0 "-r--r--r-- 1 root root 21 /etc/fs_version
-rwxr-xr-x 1 root root 89 /sbin/poweroff
-rwxr-xr-x 1 root root 85 /sbin/reboot" on_device "LC_ALL=C ls -l /etc/fs_version /sbin/reboot /sbin/poweroff |
    awk '{\$6 = \$7 = \$8 = \"\"; print}' | tr -s ' '"
expect "links lead where they say" 0 "4 imx2+ watchdog" on_device \
    'cd /sys/class/backlight/pwm-backlight.0/device/backlight/pwm-backlight.0/subsystem/pwm-backlight.0
    echo $(cat brightness /sys/bus/platform/devices/imx2-wdt.0/watchdog/watchdog0/identity)'
finish
