# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
temp=/sys/class/thermal/thermal_zone0/temp
light=/sys/class/backlight/pwm-backlight.0/brightness

# scripted PROGRAM [OPTION...]: run the program, a shell script, with the script on standard input.
scripted() {
    local program=$1
    shift
    cat >script
    "$sim" run --board all-families --script script "$@" -- bash -c "$program"
}
# The lines after an act run before the next act.
for attempt in 1 2 3 4 5; do
    expect "two reads, attempt $attempt" 0 "45000
91000" scripted "exec '$act' do read $temp read $temp" <<SCRIPT
wait-for-act $temp:read 120s
set thermal.temp 91000
SCRIPT
done
expect "a read that waits" 0 "24" scripted "head -c 24 /dev/input/event2 | wc -c" <<SCRIPT
wait-for-act /dev/input/event?:read 120s
set keys.33 1
SCRIPT
expect "an act that fails" 0 "bash: line 1: $light: Input/output error
5" scripted "echo 1 >$light; until grep -x 5 $temp; do sleep 0.05; done" --fault "$light:open:EIO" <<SCRIPT
wait-for-act $light:open 120s
set thermal.temp 5
SCRIPT
expect "a restart" 5 "-1 EPERM" scripted "$act restart 0x1234567 ''; status=\$?
    until [ \$(cat $temp) = 5 ]; do sleep 0.05; done; exit \$status" --fault restart:call:EPERM <<SCRIPT
wait-for-act restart:call 120s
set thermal.temp 5
SCRIPT
expect "a restart without the right to it" 5 "-1 EPERM" scripted "setpriv --bounding-set=-sys_boot '$act' restart 0x1234567 ''; status=\$?
    until [ \$(cat $temp) = 5 ]; do sleep 0.05; done; exit \$status" <<SCRIPT
wait-for-act restart:call 120s
set thermal.temp 5
SCRIPT
# The signal may come before the read.
expect "an act that a signal ends" 0 "" scripted "until [ \$(cat $temp) = 5 ]; do timeout 0.5 head -c 1 $light; done; true" \
    --delay "$light:read:3600000" <<SCRIPT
wait-for-act $light:read 120s
set thermal.temp 5
SCRIPT

# Acts count from the start, or from the act that ended the wait before; all of these have come before the second line.
expect "acts that came before" 0 "0
5" scripted "exec 3>/dev/watchdog; printf V >&3; exec 3>&-; echo 6 >$light; until grep -x 5 $temp; do sleep 0.05; done" <<SCRIPT
wait-for backlight.brightness=6 120s
wait-for-act /dev/watchdog:open 0
wait-for-act /dev/watchdog:write 120s
wait-for-act /dev/watchdog:close 120s
get watchdog.running
set thermal.temp 5
SCRIPT
expect "one act, two waits" 123 "45000
velmor-sim: script:3: timed out waiting for $temp:open" scripted "cat $temp; echo 6 >$light; sleep 60" <<SCRIPT
wait-for-act $temp:open 120s
wait-for backlight.brightness=6 120s
wait-for-act $temp:open 0
SCRIPT
expect "an act before a change" 123 "4
velmor-sim: script:3: timed out waiting for $light:read" scripted "cat $light; echo 6 >$light; sleep 60" <<SCRIPT
wait-for backlight.brightness=6 120s
set thermal.temp 5
wait-for-act $light:read 0
SCRIPT
expect "a copy that a child closes" 123 "velmor-sim: script:2: timed out waiting for $temp:close" \
    scripted "exec 3<$temp; (true); echo 6 >$light; sleep 60" <<SCRIPT
wait-for backlight.brightness=6 120s
wait-for-act $temp:close 0
SCRIPT
right='PATH:OP, with an absolute path and OP one of open, read, write, ioctl, close, for example /dev/input/event1:open; or restart:call'
for wrong in x thermal.temp:read $temp:eat $temp restart:open; do
    expect "the act $wrong" 125 "velmor-sim: script:1: \"$wrong\" should be $right" scripted "echo started" <<<"wait-for-act $wrong"
done
expect "an act on a file that the device lacks" 125 \
    "velmor-sim: script:1: \"/sys/nope:read\": the device serves no file /sys/nope; --explain shows the files that a program uses" \
    scripted "echo started" <<<"wait-for-act /sys/nope:read"
expect "no act" 125 'velmor-sim: script:1: "wait-for-act" should be "wait-for-act PATH:OP [TIME]"' \
    scripted "echo started" <<<"wait-for-act"

# From a second terminal acts count from the start of the command.
run=wait-$$
"$sim" run --name "$run" -- bash -c "cat $temp; touch ready; until [ -e go ]; do sleep 0.05; done
    until [ -e stop ]; do cat $temp; done" >/dev/null &
device=$!
until [ -e ready ]; do sleep 0.05; done
expect "an act that came before" 1 "velmor-sim: timed out waiting for $temp:read" "$sim" wait-for-act --name "$run" $temp:read 0
touch go
expect "an act" 0 "" "$sim" wait-for-act --name "$run" '/sys/class/thermal/*/temp:read' 120s
"$sim" wait-for-act --name "$run" $light:write 120s 2>said &
waiter=$!
# It has sent the command when it has connected, which adds a socket of this name, and sleeps. The run reads that before
# the next command.
until [ "$(grep -c "velmor-sim/.*/$run\$" /proc/net/unix)" = 2 ] && grep -q '^State:.S' "/proc/$waiter/status"; do sleep 0.05; done
"$sim" get --name "$run" thermal.temp >/dev/null
touch stop
wait $device
wait $waiter
expect "the end of the run" 0 "1 velmor-sim: the run ended while waiting for $light:write" echo $? "$(cat said)"
finish
