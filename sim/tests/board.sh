# SPDX-License-Identifier: MIT
. "$(dirname "$0")/common.sh"

# refuse BOARD MESSAGE: nothing starts, and the message names file, place and what would be right.
refuse() {
    printf '%s' "$1" >b.json
    expect "the board $1" 125 "velmor-sim: ./b.json: $2" "$sim" run --board ./b.json -- echo started
}
light='"kind":"backlight","name":"b","path":"/sys/class/backlight/b"'
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":7,"brightness":12}]}' \
    '/devices/0/brightness: 12 should be a whole number from 0 to 7'
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":7,"brightness":1,"colour":2}]}' \
    '/devices/0/colour: there is no such key; the keys here are brightness, kind, max_brightness, name, path, place'
refuse '{"description":"x","devices":[{'"$light"',"max_brightness":"7"}]}' \
    '/devices/0/max_brightness: "7" should be a whole number from 1 to 65535'
refuse '{"description":"x","devices":[{'"$light"'}]}' \
    '/devices/0/max_brightness: is missing; it should be a whole number from 1 to 65535'
refuse '{"description":"x","devices":[{"kind":"attribute","name":"a","path":"/etc/../bin/sh","value":1}]}' \
    '/devices/0/path: "/etc/../bin/sh" should be a plain path under /sys/, /proc/platform, /dev/, /etc/ or /sbin/'
refuse '{"description":"x","devices":{}}' '/devices: {} should be a list [...] of objects'
refuse '{"description":"x","base":"device","without":["wings"]}' \
    '/without: ["wings"] should be names of devices of the base; there is no wings'
refuse '{"description":"x","base":"device","set":{"thermal.temp":"hot"}}' \
    '/set/thermal.temp: "hot" should be a whole number from -273150 to 2147483647'
refuse '{"description":"x","base":"device","set":{"platform.pht":"0x12"}}' \
    '/set/platform.pht: "0x12" should be 0x and 128 hexadecimal digits'
refuse '{"description":"x","base":"device","devices":[{'"$light"',"max_brightness":7,"brightness":2},{"kind":"attribute","name":"c","path":"/sys/class/backlight/b/brightness","value":1}]}' \
    '/devices/1: /sys/class/backlight/b/brightness is there already'
refuse '[]' '[] should be an object {...}'
expect "a board that is not there" 125 'velmor-sim: nowhere: cannot be read; --board takes a file or one of the names that "velmor-sim boards" lists' \
    "$sim" run --board nowhere -- true
expect "a wrong value" 125 'velmor-sim: backlight.brightness: "9" should be at most max_brightness' "$sim" run --set backlight.brightness=9 -- true
expect "no value" 125 'velmor-sim: --set thermal.temp: should be NAME=VALUE, for example thermal.temp=91000' "$sim" run --set thermal.temp -- true
expect "an own board" 0 "2" sh -c 'printf "%s" "$3" >own.json; "$1" run --board ./own.json -- cat "$2"' _ "$sim" /sys/class/backlight/b/brightness \
    '{"description":"x","devices":[{'"$light"',"max_brightness":7,"brightness":2}]}'
expect "a value at the start" 0 91000 "$sim" run --set thermal.temp=91000 -- cat /sys/class/thermal/thermal_zone0/temp
expect "an empty text" 0 "" "$sim" run --raw thermal.temp= -- cat /sys/class/thermal/thermal_zone0/temp
expect "wrong use" 2 "" sh -c "'$sim' run --bogus -- true >/dev/null 2>&1"
finish
