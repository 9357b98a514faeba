# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# What the commands say about mistakes, and how they print values.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
light=/sys/class/backlight/pwm-backlight.0/brightness
zones=/sys/class/thermal/thermal_zone
gpio=/sys/class/gpio

all='"velmor-sim --help" shows all'
expect "an unknown command" 2 "velmor-sim: frob: there is no such command; $all" "$sim" frob
expect "a misspelt command" 2 "velmor-sim: wacth: there is no such command; did you mean watch? $all" "$sim" wacth thermal.temp
expect "half a command" 2 "velmor-sim: wait: there is no such command; did you mean wait-for or wait-for-act? $all" "$sim" wait
expect "a word too many" 2 "The following argument was not expected: [x]
Run with --help for more information." "$sim" boards '[x]'
expect "the version" 0 1 sh -c "'$sim' --version | grep -cx 'velmor-sim [0-9]*\.[0-9]*\.[0-9]*'"

# In a fault a path must be that of a file, as the record has it.
refused() { # PATH NEAR
    expect "a fault on $1" 125 "velmor-sim: \"$1:read:EIO\": the device serves no file $1; $2--explain shows the files that a program uses" \
        "$sim" run --fault "$1:read:EIO" -- echo started
    expect "a delay on $1" 125 "velmor-sim: \"$1:read:5\": the device serves no file $1; $2--explain shows the files that a program uses" \
        "$sim" run --delay "$1:read:5" -- echo started
}
refused /x ""
refused "/x/*" ""
refused /dev/ttymxc4 ""
refused "${light%/*}" "did you mean ${light%/*}/type, ${light%/*}/uevent or ${light%/*}/bl_power? "
refused /sys/class/backlight/pwm-backlight/brightness "did you mean $light? "
refused /sys/devices/platform/pwm-backlight.0/backlight/pwm-backlight.0/brightness "did you mean $light? "
refused $gpio/gpio37/valu "did you mean $gpio/gpio37/value, $gpio/gpio137/value or $gpio/gpio17/value? "
expect "a fault on a line that is not exported yet" 1 "cat: $gpio/gpio37/value: Input/output error" \
    "$sim" run --fault "$gpio/gpio37/value:read:EIO" -- sh -c "echo 37 >$gpio/export; cat $gpio/gpio37/value"
expect "a fault on all lines" 1 "cat: $gpio/gpio38/value: Input/output error" \
    "$sim" run --fault "$gpio/*/value:read:EIO" -- sh -c "echo 38 >$gpio/export; cat $gpio/gpio38/value"
expect "each file of such a line" 0 "10 files" "$sim" run -- sh -c 'echo 38 >/sys/class/gpio/export
    find /sys/class/gpio/gpio38/ -type f | sed s/gpio38/gpio37/ >files
    while read -r file; do "$1" fault "$file:read:EIO"; done <files
    echo $(wc -l <files) files' _ "$sim"

export VELMOR_SIM_NAME=messages-$$
"$sim" run --board all-families -- sh -c 'until [ -e stop ]; do sleep 0.05; done' &
device=$!
until "$sim" runs | grep -qx "$VELMOR_SIM_NAME"; do sleep 0.05; done

lost="velmor-sim: the output cannot be written"
for command in runs boards --version "get --help" "get thermal.temp" "watch thermal.temp"; do
    expect "the output of $command" 1 "$lost" sh -c "timeout 100 '$sim' $command >/dev/full"
done
expect "the output of a script" 0 "velmor-sim: script:1: ${lost#*: }
123" sh -c "echo get thermal.temp >script; '$sim' run --name script-$$ --script script -- sleep 100 2>&1 >/dev/full; echo \$?"

unknown() { # NAME NEAR COMMAND...
    local name=$1 near=$2
    shift 2
    expect "$*" 1 "velmor-sim: $name: there is no such value; $near\"velmor-sim list\" shows all" "$sim" "$@"
}
near="did you mean thermal.temp or thermal1.temp? "
unknown heat "" get heat
unknown thermal.tmp "$near" get thermal.tmp
unknown thermal.tmp "$near" get motion.x thermal.tmp
unknown thermal.tmp "$near" raw thermal.tmp 5
unknown thermal.tmp "$near" wait-for 'thermal.tmp>5'
unknown thermal.tmp "$near" watch motion.x thermal.tmp
unknown brightness "did you mean keypad.brightness, backlight.brightness or backlight.max_brightness? " set brightness 5
unknown ${zones}/temp "did you mean ${zones}0/temp, ${zones}1/temp or ${zones}0/type? " get ${zones}/temp
unknown 'heat.*' "" watch 'heat.*'
expect "a fault from a second terminal" 1 "velmor-sim: \"${zones}9/temp:read:EIO\": the device serves no file ${zones}9/temp; did you mean ${zones}0/temp, ${zones}1/temp or ${zones}0/type? --explain shows the files that a program uses" \
    "$sim" fault "${zones}9/temp:read:EIO"
expect "a fault on a line that has been exported" 1 "did you mean $gpio/gpio38/value, $gpio/gpio138/value or $gpio/gpio18/value?" \
    "$sim" run --name "line-$$" -- sh -c 'echo 38 >/sys/class/gpio/export; "$1" fault /sys/class/gpio/gpio38/valu:read:EIO 2>said
    status=$?; grep -o "did you mean.*?" said; exit $status' _ "$sim"
expect "a delay for several" 0 "" "$sim" delay "${zones}*/temp:read:5"

expect "several values" 0 "motion.x=0
gpio.38=0
${zones}0/temp=45000" "$sim" get motion.x gpio.38 ${zones}0/temp
escaped='a\tb\n\x1b\"\\c;'
expect "raw text" 0 "" "$sim" raw thermal.temp "$escaped"
expect "the value as it is" 0 "$(printf 'a\tb\n\033"\\c;')" "$sim" get thermal.temp
expect "among several" 0 "motion.x=0
thermal.temp=\"$escaped\"" "$sim" get motion.x thermal.temp
expect "in the list" 0 "$(printf 'thermal.temp="%s"\t%s0/temp' "$escaped" $zones)" "$sim" list thermal.temp
expect "a list of peers" 0 '0x12340001 3 7 n/a\n0x12340002 4 1 pump\n0x5678abcd 5 0 anchor-light' \
    sh -c "'$sim' list mrfi0.devices | cut -d '\"' -f 2"
expect "in a failed wait" 1 "velmor-sim: timed out waiting for thermal.temp=5; the last value is \"$escaped\"" "$sim" wait-for thermal.temp=5 0
"$sim" watch 'motion.*' thermal.temp >watched &
watcher=$!
until [ "$(wc -l <watched)" = 3 ]; do sleep 0.05; done
expect "a change" 0 "" "$sim" set motion.rx 5
expect "another change" 0 "" "$sim" raw thermal.temp '"5'
touch stop
wait $device
wait $watcher
expect "watch" 0 "motion.rx=0
motion.x=0
thermal.temp=\"$escaped\"
motion.rx=5
thermal.temp=\"\\\"5\"" cat watched
echo 'get motion.x thermal.tmp' >script
expect "a name in a script" 125 "velmor-sim: script:1: thermal.tmp: there is no such value; $near\"velmor-sim list\" shows all" \
    "$sim" run --board all-families --script script -- echo started
echo 'get' >script
expect "no name in a script" 125 'velmor-sim: script:1: "get" should be "get NAME..."' "$sim" run --script script -- echo started
finish
