# SPDX-License-Identifier: MIT
. "$(dirname "$0")/common.sh"

run=test-$$
"$sim" run --name "$run" --board all-families -- sh -c 'echo 6 >/sys/class/backlight/pwm-backlight.0/brightness; exec sleep 60' &
device=$!
until "$sim" runs | grep -qx "$run"; do sleep 0.05; done
on() {
    local command=$1
    shift
    "$sim" "$command" --name "$run" "$@"
}
expect "wait for what the program did" 0 "" on wait-for backlight.brightness=6
expect "get" 0 45000 on get thermal.temp
expect "set" 0 "" on set thermal.temp 91000
expect "what was set" 0 91000 on get /sys/class/thermal/thermal_zone0/temp
expect "a wrong value" 1 'velmor-sim: thermal.temp: "warm" should be a whole number from -273150 to 2147483647' \
    on set thermal.temp warm
expect "an unknown name" 1 'velmor-sim: heat: there is no such value; "velmor-sim list" shows all' on get heat
expect "list" 0 "motion.rx=0
motion.x=0" on list 'motion.*'
expect "a condition that does not come" 1 "velmor-sim: it did not come to motion.x>5" on wait-for 'motion.x>5' 100ms
expect "raw text" 0 "no number" sh -c "'$sim' raw --name $run thermal.temp 'no number\n' && '$sim' get --name $run thermal.temp"
expect "a line" 0 1 sh -c "'$sim' set --name $run gpio.38 1 && '$sim' get --name $run gpio.38"
on watch motion.x >watched &
watcher=$!
until [ -s watched ]; do sleep 0.05; done
on set motion.x 5
on set motion.x -3
until grep -q -- -3 watched; do sleep 0.05; done
expect "a second run of the same name" 125 "velmor-sim: a run of the name $run: Address already in use" \
    "$sim" run --name "$run" -- true
kill "$device"
wait "$device"
wait "$watcher"
expect "watch" 0 "motion.x=0
motion.x=5
motion.x=-3" cat watched
expect "no run" 1 "velmor-sim: no run of the name $run: Connection refused" on get thermal.temp

cat >script <<'SCRIPT'
# The keys and the line of the second terminal.
wait-for keys.33=0 1s
sleep 300ms
set keys.33 1
sleep 100ms
set keys.33 0
SCRIPT
expect "keys, by poll and by a blocking read" 0 "open
1 33 1
1 33 0" "$sim" run --board all-families --script script -- "$act" event /dev/input/event2
echo 'wait-for gpio.38=0
sleep 300ms
set gpio.38 1' >script
start=$(date +%s%N)
expect "an edge" 0 "open
1" "$sim" run --board all-families --script script -- sh -c "cd /sys/class/gpio; echo 38 >export
    echo rising >gpio38/edge; $act change /sys/class/gpio/gpio38/value"
took=$((($(date +%s%N) - start) / 1000000))
if [ "$took" -gt 8000 ]; then
    echo "FAILED: nobody was woken by the edge: $took ms"
    failures=$((failures + 1))
fi
echo 'wait-for backlight.brightness=7 200ms' >script
expect "a script that fails" 123 "velmor-sim: script:1: it did not come to backlight.brightness=7" \
    "$sim" run --script script -- sleep 60
echo 'set thermal.temp 5

fly' >script
expect "a script that is wrong" 125 'velmor-sim: script:3: "fly" is no command; the commands are set, raw, get, list, fault, delay, clear, wait-for and watch, and in a script sleep' \
    "$sim" run --script script -- true
echo 'fault /proc/platform/serial_number:read:EIO
set platform.serial_number X1
sleep 5s' >script
expect "a script outlived by nothing" 1 "cat: /proc/platform/serial_number: Input/output error" "$sim" run --script script -- \
    sh -c 'sleep 0.2; cat /proc/platform/serial_number'
finish
