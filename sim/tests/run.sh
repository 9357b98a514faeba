# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

expect "the program's exit status" 42 "" "$sim" run -- sh -c 'exit 42'
expect "its arguments" 0 "a b|c|[d,e]|[]||" "$sim" run -- printf '%s|' 'a b' c '[d,e]' '[]' ''
expect "its options" 0 "--set|" "$sim" run -- printf '%s|' --set
expect "its working directory" 0 "$scratch" "$sim" run -- pwd
expect "its input" 0 "hello" sh -c "echo hello | '$sim' run -- cat"
expect "its files" 0 "kept" sh -c "'$sim' run -- sh -c 'echo kept >file' && cat file"
expect "who owns them" 0 "$(id -u):$(id -g)" stat -c %u:%g file
expect "its home" 0 "$scratch/home
kept" sh -c "mkdir home && echo kept >home/file && HOME='$scratch/home' '$sim' run -- sh -c 'cd; pwd; cat ~/file'"
expect "its environment" 0 "yes" env THERE=yes "$sim" run -- sh -c 'echo $THERE'
expect "a signal that kills it" 143 "" bash -c "{ '$sim' run -- sh -c 'kill -TERM \$\$'; exit \$?; } 2>/dev/null"
if command -v script >/dev/null; then
    expect "its terminal" 0 "$(printf 'on a terminal\r')" script -qec "'$sim' run -- sh -c 'test -t 0 && test -t 1 && tty | grep -q ^/dev/pts && echo on a terminal'" /dev/null
    # An interrupt from the keyboard is for the program and does not end the device.
    { until [ -e ready ]; do sleep 0.05; done && printf '\003'; } | timeout 600 script -qec "exec '$sim' run -- sh -c '
        trap \"echo caught; cat /etc/fs_version; exit 7\" INT; touch ready; while :; do sleep 0.1; done'" /dev/null >caught
    expect "an interrupt from the keyboard" 0 7 echo $?
    expect "what the program did then" 0 "caught
2.1.3R17D 24/12/2025" sh -c "tr -d '\r' <caught | sed 's/^^C//'"
fi
expect "a program that does not exist" 127 "velmor-sim: ./none: No such file or directory" "$sim" run -- ./none
expect "a file that is not a program" 126 "velmor-sim: /etc/passwd: Permission denied" "$sim" run -- /etc/passwd
"$sim" run -- sh -c 'trap "echo caught; exit 9" TERM; touch waiting; while :; do sleep 0.1; done' >caught &
until [ -e waiting ]; do sleep 0.05; done
kill -TERM $!
wait $!
expect "a signal to the simulator reaches the program" 0 "9 caught" echo $? "$(cat caught)"
expect "process numbers of its own" 0 "2" "$sim" run -- sh -c 'echo $$'
expect "the values of the default board" 0 "4" "$sim" run -- cat /sys/class/backlight/pwm-backlight.0/brightness
for board in $("$sim" boards | cut -d' ' -f1); do
    expect "board $board" 0 "" "$sim" run --board "$board" -- true
done

"$sim" run --trace trace -- sh -c 'echo 3 >/sys/class/backlight/pwm-backlight.0/brightness
    read v </proc/platform/serial_number; echo 9 >/sys/class/backlight/pwm-backlight.0/brightness' 2>/dev/null
sed 's/,"pid":[0-9]*}$//' trace >acts
expect "the record" 0 '{"act":"open","path":"/sys/class/backlight/pwm-backlight.0/brightness","mode":"w","result":0
{"act":"write","path":"/sys/class/backlight/pwm-backlight.0/brightness","text":"3\n","result":2
{"act":"close","path":"/sys/class/backlight/pwm-backlight.0/brightness","result":0
{"act":"open","path":"/proc/platform/serial_number","mode":"r","result":0
{"act":"read","path":"/proc/platform/serial_number","text":"A","result":1
{"act":"read","path":"/proc/platform/serial_number","text":"B","result":1' sh -c "head -6 acts"
expect "the record of a refusal" 0 \
    '{"act":"write","path":"/sys/class/backlight/pwm-backlight.0/brightness","text":"9\n","result":-1,"errno":"EINVAL"' \
    sh -c "grep EINVAL acts"
"$sim" run --trace bytes -- sh -c "printf '\\001\\377' >/sys/class/backlight/pwm-backlight.0/brightness" 2>/dev/null
expect "bytes that are not text" 0 \
    '{"act":"write","path":"/sys/class/backlight/pwm-backlight.0/brightness","hex":"01ff","result":-1,"errno":"EINVAL"' \
    sh -c "sed -n 2p bytes | sed 's/,\"pid\".*//'"
expect "a record on a full disk" 119 "4
velmor-sim: /dev/full: No space left on device; the record is incomplete" sh -c \
    "'$sim' run --trace /dev/full -- sh -c 'cat /sys/class/backlight/pwm-backlight.0/brightness /etc/fs_version >said; head -1 said; exit 3' 2>complaint
    status=\$?; cat complaint; exit \$status"
# The letter u with a diaeresis, in Latin-1.
expect "a name that is not UTF-8" 2 "" "$sim" run --trace names -- sh -c "cat \"\$(printf '/sys/class/gr\374n')\" 2>/dev/null; exit 2"
expect "the record of it" 0 '{"act":"lookup","path":"/sys/class/gr'$'\xef\xbf\xbd''n","result":-1,"errno":"ENOENT"' sed 's/,"pid".*//' names
"$sim" run --trace closed -- "$act" dead-line >/dev/null
expect "a missing name" 0 '{"act":"lookup","path":"/sys/class/gpio/gpio37","result":-1,"errno":"ENOENT","pid":2}' head -1 closed
"$sim" run --explain -- cat /proc/platform/serial_number 2>explained >/dev/null
expect "the record for people" 0 '  read    /proc/platform/serial_number  "AB12C0FFEE\n"' \
    sh -c "sed -n 2p explained | cut -c15-"
expect "without colours elsewhere" 1 "" grep "$(printf '\033')" explained
if command -v script >/dev/null; then
    TERM=xterm script -qec "exec '$sim' run --explain -- cat /proc/platform/serial_number" coloured >/dev/null
    expect "in colours on a terminal" 0 4 grep -c "$(printf '\033')\[2m" coloured
fi
finish
