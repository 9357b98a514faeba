# SPDX-License-Identifier: MIT
. "$(dirname "$0")/common.sh"

expect "the program's exit status" 42 "" "$sim" run -- sh -c 'exit 42'
expect "its arguments" 0 "a b|c|" "$sim" run -- printf '%s|' 'a b' c
expect "its options" 0 "--set|" "$sim" run -- printf '%s|' --set
expect "its working directory" 0 "$scratch" "$sim" run -- pwd
expect "its input" 0 "hello" sh -c "echo hello | '$sim' run -- cat"
expect "its files" 0 "kept" sh -c "'$sim' run -- sh -c 'echo kept >file' && cat file"
expect "its environment" 0 "yes" env THERE=yes "$sim" run -- sh -c 'echo $THERE'
expect "a signal that kills it" 143 "" bash -c "{ '$sim' run -- sh -c 'kill -TERM \$\$'; exit \$?; } 2>/dev/null"
expect "a program that is not there" 127 "velmor-sim: ./none: No such file or directory" "$sim" run -- ./none
expect "a file that is no program" 126 "velmor-sim: /etc/passwd: Permission denied" "$sim" run -- /etc/passwd
expect "a signal to the simulator is the program's" 9 "caught" timeout --foreground --preserve-status 1 "$sim" run -- \
    sh -c 'trap "echo caught; exit 9" TERM; while :; do sleep 0.1; done'
expect "the same processes in ps and /proc" 0 "2" "$sim" run -- sh -c 'echo $$'
expect "an unset board's values" 0 "4" "$sim" run -- cat /sys/class/backlight/pwm-backlight.0/brightness
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
"$sim" run --trace closed -- "$act" dead-line >/dev/null
expect "a missing name" 0 '{"act":"lookup","path":"/sys/class/gpio/gpio37","result":-1,"errno":"ENOENT","pid":2}' head -1 closed
"$sim" run --explain -- cat /proc/platform/serial_number 2>explained >/dev/null
expect "the record for people" 0 '  read    /proc/platform/serial_number  "AB12C0FFEE\n"' \
    sh -c "sed -n 2p explained | cut -c15-"
finish
