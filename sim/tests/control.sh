# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

# A program that runs the commands from one pipe and answers through another.
run=test-$$
mkfifo orders answers
"$sim" run --name "$run" --board all-families -- bash -c '
    echo 6 >/sys/class/backlight/pwm-backlight.0/brightness
    while read -r order; do eval "$order" 2>&1; echo "($?)"; done <orders >answers' &
device=$!
exec 8>orders 9<answers
# program COMMAND: what the command prints in the program, and its exit status.
program() {
    local line
    echo "$1" >&8
    while read -r -t 20 line <&9; do
        echo "$line"
        case $line in "("*")") return ;; esac
    done
}
until "$sim" runs | grep -qx "$run"; do sleep 0.05; done
on() {
    local command=$1
    shift
    "$sim" "$command" --name "$run" "$@"
}
expect "a wait for a write of the program" 0 "" on wait-for backlight.brightness=6 300s
expect "get" 0 45000 on get thermal.temp
expect "set" 0 "" on set thermal.temp 91000
expect "what was set" 0 91000 on get /sys/class/thermal/thermal_zone0/temp
expect "a wrong value" 1 'velmor-sim: thermal.temp: "warm" should be a whole number from -273150 to 2147483647' \
    on set thermal.temp warm
expect "an unknown name" 1 'velmor-sim: heat: there is no such value; "velmor-sim list" shows all' on get heat
expect "list" 0 "motion.rx=0
motion.x=0" on list 'motion.*'
expect "a condition that never holds" 1 "velmor-sim: timed out waiting for motion.x>5; the last value is 0" on wait-for 'motion.x>5' 100ms
expect "raw text" 0 "no number" sh -c "'$sim' raw --name $run thermal.temp 'no number\n' && '$sim' get --name $run thermal.temp"
expect "raw text in brackets" 0 "[1,2]" sh -c "'$sim' raw --name $run thermal.temp '[1,2]' && '$sim' get --name $run thermal.temp"
expect "a line" 0 1 sh -c "'$sim' set --name $run gpio.38 1 && '$sim' get --name $run gpio.38"
light=/sys/class/backlight/pwm-backlight.0/brightness
expect "no fault" 0 "6
(0)" program "cat $light"
expect "a fault while it runs" 0 "" on fault "$light:read:EIO:2"
expect "not yet" 0 "6
(0)" program "read -r v <$light; echo \$v"
expect "now" 0 "cat: $light: Input/output error
(1)" program "cat $light"
expect "a fault for every open" 0 "" on fault "$light:open:ENODEV"
expect "every open" 0 "bash: line 3: $light: No such device
(1)" program "echo 1 >$light"
expect "no longer" 0 "" on clear
expect "none" 0 "6
(0)" program "cat $light"
expect "a delay while it runs" 0 "" on delay "$light:read:300"
start=$(now)
expect "slow" 0 "6
(0)" program "cat $light"
[ $(($(now) - start)) -ge 300 ] || fail "the delay took no time"
expect "a long delay" 0 "" on delay "$light:read:60000"
expect "is forgotten" 0 "" on clear
expect "fast" 0 "6
(0)" program "cat $light"
expect "a wrong fault" 1 'velmor-sim: "x" should be PATH:OP:ERRNO or PATH:OP:ERRNO:N, with an absolute path, OP one of open, read, write, ioctl, close, and N at least 1, for example /dev/watchdog:ioctl:EIO:2; or restart:call:ERRNO' on fault x
expect "a fault that cannot be" 1 "velmor-sim: \"$light:close:ENOSYS\": FUSE cannot make close fail with ENOSYS" on fault "$light:close:ENOSYS"
expect "a wrong delay" 1 'velmor-sim: "x" should be PATH:OP:MS, with an absolute path, OP one of open, read, write, ioctl, close, and milliseconds up to 3600000, for example /sys/power/state:write:3000' on delay x
expect "a wrong condition" 1 'velmor-sim: "backlight" should be NAME=VALUE, or with !=, <, <=, > or >=' on wait-for backlight
expect "a condition on nothing" 1 'velmor-sim: heat: there is no such value; "velmor-sim list" shows all' on wait-for 'heat>3'
expect "a wrong time" 1 'velmor-sim: "soon" should be a time such as 2, 1.5s or 200ms' on wait-for backlight.brightness=1 soon
on wait-for backlight.brightness=2 300s &
waiter=$!
expect "what is waited for" 0 "(0)" program "echo 2 >$light"
wait $waiter
expect "the one that waits" 0 0 echo $?
on watch motion.x >watched &
watcher=$!
until [ -s watched ]; do sleep 0.05; done
on set motion.x 5
on set motion.x -3
until grep -q -- -3 watched; do sleep 0.05; done
expect "a second run of the same name" 125 "velmor-sim: cannot name the run $run: Address already in use" \
    "$sim" run --name "$run" -- true
expect "the run that the environment names" 0 45001 env VELMOR_SIM_NAME="$run" sh -c "'$sim' set thermal.temp 45001 && '$sim' get thermal.temp"
expect "the option wins" 1 "velmor-sim: no run named none-$$: Connection refused" env VELMOR_SIM_NAME="$run" "$sim" get --name "none-$$" thermal.temp
expect "the name in the program" 0 "$run
45001
(0)" program "echo \$VELMOR_SIM_NAME; '$sim' get thermal.temp"
expect "a run that the environment names" 0 "other-$$
4" env VELMOR_SIM_NAME="other-$$" "$sim" run -- sh -c 'echo $VELMOR_SIM_NAME; "$1" get backlight.brightness' _ "$sim"
expect "a name that the environment has for another run" 0 "other-$$" env VELMOR_SIM_NAME="$run" \
    "$sim" run --name "other-$$" -- sh -c 'echo $VELMOR_SIM_NAME'
expect "a run without a name" 0 "yes 4" "$sim" run -- \
    sh -c '"$1" runs | grep -qx "$VELMOR_SIM_NAME" && echo yes $("$1" get backlight.brightness)' _ "$sim"
# Other tests may have runs of their own, so some lines are left out.
for command in "set thermal.temp 1" "raw thermal.temp x" "get thermal.temp" list "watch thermal.temp" \
    "wait-for thermal.temp=1" "wait-for-act /dev/watchdog:open" "fault /dev/watchdog:open:EIO" "delay /dev/watchdog:open:1" clear; do
    expect "$command without a name" 0 "1
velmor-sim: more than one device is running; choose one with --name or VELMOR_SIM_NAME:
  other-$$
  $run" "$sim" run --name "other-$$" -- sh -c 'env -u VELMOR_SIM_NAME "$1" $4 2>said; echo $?
    grep -x "velmor-sim.*\|  other-$3\|  $2" said' _ "$sim" "$run" $$ "$command"
done
kill "$device"
wait "$device"
wait "$watcher"
expect "watch" 0 "motion.x=0
motion.x=5
motion.x=-3" cat watched
expect "no run" 1 "velmor-sim: no run named $run: Connection refused" on get thermal.temp

# A value counts even if the next act replaces it, and acts come faster than the run looks at its commands.
mkfifo go
"$sim" run --name "changes-$$" -- bash -c "'${act}_load' busy /sys/class/thermal/thermal_zone0/temp 4 >/dev/null & read -r line
    for i in {1..300}; do echo 3 >$light; echo 5 >$light; done" <go &
exec 7>go
until "$sim" runs | grep -qx "changes-$$"; do sleep 0.05; done
"$sim" watch --name "changes-$$" backlight.brightness >changes &
until [ -s changes ]; do sleep 0.05; done
echo >&7
wait
exec 7>&-
expect "every change" 0 " 300 backlight.brightness=3
 1 backlight.brightness=4
 300 backlight.brightness=5" sh -c 'sort changes | uniq -c | tr -s " "'

# What a script sets at once, in answer to an act, hides neither the act nor what it has set before.
printf '%s\n' 'wait-for backlight.brightness=3 300s' 'set backlight.brightness 7' 'set backlight.brightness 2' >script
"$sim" run --name "answers-$$" --script script -- sh -c "read -r line; echo 3 >$light; until grep -qx 2 $light; do sleep 0.05; done" <go &
exec 7>go
until "$sim" runs | grep -qx "answers-$$"; do sleep 0.05; done
"$sim" watch --name "answers-$$" backlight.brightness >answers-seen &
until [ -s answers-seen ]; do sleep 0.05; done
echo >&7
wait
exec 7>&-
expect "the answers of a script" 0 "$(printf 'backlight.brightness=%d\n' 4 3 7 2)" cat answers-seen

# Serial lines are pseudo-terminals of the machine, with line settings.
echo 'wait-for ttymxc4.speed=38400 300s
set ttymxc4.line $GPGLL,5300.97914' >script
expect "a serial line" 0 'speed 38400
$GPGLL,5300.97914
it was sent' "$sim" run --name "serial-$$" --script script -- bash -c 'exec 3<>/dev/ttymxc4; test -t 3 && test -c /dev/ttymxc3 || echo no terminal
    stty 38400 <&3; stty <&3 | grep -o "speed [0-9]*"; read -r line <&3; echo "${line%?}"; printf good >&3
    "$1" wait-for --name "$2" ttymxc4.sent=good 300s && echo it was sent' _ "$sim" "serial-$$"
# The program has read nothing yet, so the line does not fit. What does, is said.
expect "a serial line that is too long" 0 'should be shorter: the program has not read the lines before, so only N bytes were sent
0 other bytes
nothing more' on_device 'exec 3<>/dev/ttymxc4
    said=$('"$sim"' set --name '"on-$$"' ttymxc4.line "$(head -c 60000 /dev/zero | tr "\0" x)" 2>&1)
    said=${said##*\" }
    bytes=${said//[^0-9]/}
    echo "${said/$bytes/N}"
    echo "$(head -c "$bytes" <&3 | tr -d x | wc -c) other bytes"
    dd iflag=nonblock count=1 status=none <&3 2>/dev/null || echo nothing more'

# A long answer comes complete.
{
    printf '{"description":"many lamps","devices":['
    seq -f '%.0f' -s , 1 10000 | sed 's:[0-9][0-9]*:{"kind"\:"attribute","name"\:"lamp.&","path"\:"/sys/devices/platform/lamps.0/lamp-&","value"\:&,"highest"\:10000}:g'
    echo ']}'
} >lamps.json
expect "10000 values" 0 "10000 lamp.9999=9999" "$sim" run --name "lamps-$$" --board ./lamps.json -- \
    sh -c '"$1" list --name "$2" >list && echo $(wc -l <list) $(tail -1 list | cut -f1)' _ "$sim" "lamps-$$"

cat >script <<'SCRIPT'
# Press a key and release it.
wait-for-act /dev/input/event2:open 120s
set keys.33 1
sleep 100ms
set keys.33 0
SCRIPT
expect "keys, by poll and by a blocking read" 0 "open
1 33 1
1 33 0" "$sim" run --board all-families --script script -- "$act" event /dev/input/event2
echo 'wait-for-act /sys/class/gpio/gpio38/value:read 120s
set gpio.38 1' >script
expect "an edge" 0 "open
1" "$sim" run --board all-families --script script -- sh -c "cd /sys/class/gpio; echo 38 >export
    echo rising >gpio38/edge; $act change /sys/class/gpio/gpio38/value"
echo 'wait-for backlight.brightness=7 200ms' >script
expect "a script that fails" 123 "velmor-sim: script:1: timed out waiting for backlight.brightness=7; the last value is 4" \
    "$sim" run --script script -- sleep 60
echo 'set thermal.temp 5

fly' >script
expect "a script that is wrong" 125 'velmor-sim: script:3: "fly" is not a script command; those are set, raw, get, list, fault, delay, clear, sleep, wait-for and wait-for-act' \
    "$sim" run --script script -- true
unreadable='--script takes a file of commands'
expect "a script that is a directory" 125 "velmor-sim: .: cannot be read (Is a directory); $unreadable" "$sim" run --script . -- echo started
expect "a script that does not exist" 125 "velmor-sim: none: cannot be read (No such file or directory); $unreadable" "$sim" run --script none -- echo started
expect "a script that cannot be read" 125 "velmor-sim: /proc/self/mem: cannot be read (Input/output error); $unreadable" \
    "$sim" run --script /proc/self/mem -- echo started
if command -v strace >/dev/null && seq -f '# %f' 20000 >long && strace -o /dev/null true; then
    expect "a script that can be read in part" 125 "velmor-sim: long: cannot be read (Input/output error); $unreadable" \
        strace -f -o /dev/null -P "$PWD/long" -e inject=read:error=EIO:when=2 "$sim" run --script long -- echo started
else
    echo "left out: a read error in the middle of a script needs strace"
fi
echo 'fault /proc/platform/serial_number:read:EIO
set thermal.temp 5
sleep 600s' >script
expect "a script that is longer than the program" 1 "cat: /proc/platform/serial_number: Input/output error" "$sim" run --script script -- \
    sh -c 'until grep -qx 5 /sys/class/thermal/thermal_zone0/temp; do sleep 0.05; done; cat /proc/platform/serial_number'
finish
