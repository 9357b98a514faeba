# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

# refuse BOARD MESSAGE: the board is rejected with this message, and nothing starts.
refuse() {
    printf '%s' "$1" >b.json
    expect "the board $1" 125 "velmor-sim: ./b.json: $2" "$sim" run --board ./b.json -- echo started
}
light='"kind":"backlight","name":"b","path":"/sys/class/backlight/b"'
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":7,"brightness":12}]}' \
    '/devices/0/brightness: 12 should be a whole number from 0 to 7'
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":7,"brightness":1,"colour":2}]}' \
    '/devices/0/colour: unknown key; the keys here are brightness, kind, max_brightness, name, path, place'
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":"7"}]}' \
    '/devices/0/max_brightness: "7" should be a whole number from 1 to 65535'
refuse '{"description":"x","devices":[{'"$light"'}]}' \
    '/devices/0/max_brightness: is missing; it should be a whole number from 1 to 65535'
refuse '{"description":"x","devices":[{"kind":"attribute","name":"a","path":"/etc/../bin/sh","value":1}]}' \
    '/devices/0/path: "/etc/../bin/sh" should be a plain path under /sys/, /proc/platform, /dev/, /etc/ or /sbin/'
refuse '{"description":"x","devices":{}}' '/devices: {} should be a list [...] of objects'
refuse '{"description":"x","base":"device","without":["wings"]}' \
    '/without: ["wings"] should be names of devices of the base board; there is no wings'
refuse '{"description":"x","base":"device","set":{"thermal.temp":"hot"}}' \
    '/set/thermal.temp: "hot" should be a whole number from -273150 to 2147483647'
refuse '{"description":"x","base":"device","set":{"platform.pht":"0x12"}}' \
    '/set/platform.pht: "0x12" should be 0x and 128 hexadecimal digits'
refuse '{"description":"x","base":"device","devices":[{'"$light"',"max_brightness":7,"brightness":2},{"kind":"attribute","name":"c","path":"/sys/class/backlight/b/brightness","value":1}]}' \
    '/devices/1: /sys/class/backlight/b/brightness already exists'
# Nothing may be where an export puts a line, whichever of the two the board lists first.
line='"kind":"attribute","name":"c","value":1,"path"'
for place in /sys/class/gpio/gpio37 /sys/class/gpio/gpio37/value /sys/devices/virtual/gpio/gpio37; do
    refuse '{"description":"x","base":"device","devices":[{'"$line:\"$place\""'}]}' \
        "/devices/0: ${place%/value} must be free: an export puts a line there"
done
gpio='"kind":"gpio","name":"g","path":"/sys/class/gpio","chips":[{"base":32,"lines":32}]'
refuse '{"description":"x","devices":[{'"$line"':"/sys/class/gpio/gpio37"},{'"$gpio"'}]}' \
    '/devices/1: /sys/class/gpio/gpio37 already exists, but an export puts a line there'
refuse '{"description":"x","device":[]}' '/device: unknown key; the keys here are base, description, devices, set, without'
refuse '{"description":5}' '/description: 5 should be a string'
refuse '{"devices":[]}' '/description: is missing; it should be a string'
# The kinds that the documentation lists, without their settings in brackets, are all there are.
kinds=$(sed -n '/Kinds:/,/^$/p' "$here/../../docs/virtual-device.md" | tr '\n' ' ' |
    sed 's/.*Kinds://; s/([^)]*)//g; s/[`.]//g; s/  *,/,/g; s/^ *//; s/ *$//')
refuse '{"description":"x","devices":[{"kind":"lamp","name":"b"}]}' "/devices/0/kind: \"lamp\" should be one of $kinds"
refuse '{"description":"x","base":"device","set":{"heat":1}}' '/set/heat: 1 should be the value of a name that "velmor-sim list" shows'
refuse '{
  "description": "x",
  "devices": [}
}' 'is not valid JSON: parse error at line 3, column 15: syntax error while parsing value - unexpected '"'}'; expected '[', '{', or a literal"
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":7},{"kind":"led","name":"l","name":"m"}]}' \
    '/devices/1/name: the object has this key twice'
refuse '{"description":"x","base":"device","set":{"thermal.temp":1,"thermal.temp":2}}' \
    '/set/thermal.temp: the object has this key twice'
# nested HOW-DEEP: a board with so many lists in one another, in its third key.
nested() {
    printf '{"description":"x","base":"device","devices":%s%s}' "$(printf "%${1}s" '' | tr ' ' '[')" "$(printf "%${1}s" '' | tr ' ' ']')"
}
for depth in 16 1000000; do
    nested "$depth" >deep.json
    expect "$depth lists in one another" 125 'velmor-sim: ./deep.json: /devices/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0: lists and objects may be nested 16 deep' \
        "$sim" run --board ./deep.json -- echo started
done
refuse '[]' '[] should be an object {...}'
expect "a board that does not exist" 125 'velmor-sim: nowhere: cannot be read (No such file or directory); --board takes a file or one of the names that "velmor-sim boards" lists' \
    "$sim" run --board nowhere -- true
expect "a wrong value" 125 'velmor-sim: backlight.brightness: "9" should be at most max_brightness' "$sim" run --set backlight.brightness=9 -- true
expect "an unknown name" 125 'velmor-sim: heat: there is no such value; "velmor-sim list" shows all' "$sim" run --set heat=9 -- echo started
expect "an unknown name for text" 125 'velmor-sim: heat: there is no such value; "velmor-sim list" shows all' "$sim" run --raw heat=9 -- echo started
expect "a name without text" 125 'velmor-sim: gpio.38: is not the name or path of an attribute, and only attributes show raw text' "$sim" run --raw gpio.38=9 -- echo started
expect "no value" 125 'velmor-sim: --set thermal.temp: should be NAME=VALUE, for example thermal.temp=91000' "$sim" run --set thermal.temp -- true
expect "a board of the user's own" 0 "2" sh -c 'printf "%s" "$3" >own.json; "$1" run --board ./own.json -- cat "$2"' _ "$sim" /sys/class/backlight/b/brightness \
    '{"description":"x","devices":[{'"$light"',"max_brightness":7,"brightness":2}]}'
expect "an attribute of one line" 0 "0 1" sh -c 'printf "%s" "$2" >lamp.json
    "$1" run --board ./lamp.json -- sh -c "cd /sys/devices/platform/lamp.0; echo \$(cat enable; echo 1 >enable; cat enable)"' _ "$sim" \
    '{"description":"x","base":"device","devices":[{"kind":"attribute","name":"lamp","path":"/sys/devices/platform/lamp.0/enable","value":0}]}'
# shows BOARD EXPECTED FILE: a file that distinguishes the board.
shows() {
    expect "board $1: $3" 0 "$2" "$sim" run --board "$1" -- sh -c 'test -e "$1" && cut -c1-16,37-46 "$1" || echo none' _ "$3"
}
table=/proc/platform/pht
shows device 0x2912342804022d2a24210000 $table
shows without-radios 0x2912342800022d2a04210000 $table
shows without-echosounder 0x2912342804022d2a242f0000 $table
shows without-echosounder none /sys/devices/platform/echosounder.0/reset
for layout in 1 2 3; do shows table-layout-$layout $layout /proc/platform/pht_version; done
shows coarse-backlight 1 /sys/class/backlight/pwm-backlight.0/max_brightness
shows fine-backlight 255 /sys/class/backlight/pwm-backlight.0/max_brightness
shows device none /dev/input/event0
shows all-families 31,33,102,116 /sys/devices/platform/gpio-keys/keys
expect "a value at the start" 0 91000 "$sim" run --set thermal.temp=91000 -- cat /sys/class/thermal/thermal_zone0/temp
expect "an empty text" 0 "" "$sim" run --raw thermal.temp= -- cat /sys/class/thermal/thermal_zone0/temp
expect "wrong use" 2 "" sh -c "'$sim' run --bogus -- true >/dev/null 2>&1"
finish
