# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed brightnessctl brightnessctl

expect "the devices" 0 "pwm-backlight.0,backlight,4,57%,7
keypad,leds,255,100%,255" on_device "brightnessctl --list --machine-readable"
expect "a backlight" 0 "pwm-backlight.0,backlight,6,86%,7
6" on_device "brightnessctl -m -d pwm-backlight.0 set 6; $sim get --name on-$$ backlight.brightness"
expect "an LED" 0 "keypad,leds,64,25%,255
64" on_device "brightnessctl -m -d keypad set 25%; $sim get --name on-$$ keypad.brightness"
finish
