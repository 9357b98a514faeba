# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
/usr/bin/python3 -c "import evdev" 2>/dev/null || skip "no evdev module for /usr/bin/python3; Debian's package python3-evdev has it"

cat >program <<'PROGRAM'
import os
import sys
import evdev

keys = evdev.InputDevice("/dev/input/event2")
print(keys.name, keys.capabilities()[evdev.ecodes.EV_KEY])
tilt = evdev.InputDevice("/dev/input/event0")
print(tilt.name, tilt.absinfo(evdev.ecodes.ABS_Z).value)
other = evdev.InputDevice("/dev/input/event2")
keys.grab()
try:
    other.grab()
except OSError as error:
    print(os.strerror(error.errno))
os.system(sys.argv[1])
for event in keys.read_loop():
    if event.type == evdev.ecodes.EV_KEY:
        print(evdev.categorize(event).keystate, evdev.ecodes.KEY[event.code])
        if event.value == 0:
            break
print(other.read_one())
keys.ungrab()
other.grab()
PROGRAM
expect "a program with Debian's evdev module" 0 "gpio-keys [31, 33, 102, 116]
accelerometer 1024
Device or resource busy
1 KEY_F
0 KEY_F
None" "$sim" run --name "on-$$" --board all-families -- timeout 600 /usr/bin/python3 -u program \
    "$sim set --name on-$$ keys.33 1; $sim set --name on-$$ keys.33 0"
finish
