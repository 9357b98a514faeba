# SPDX-License-Identifier: MIT
. "$(dirname "$0")/common.sh"

# A number that only this test's processes have.
mark=7$$
left() { pgrep -f "sleep $mark" | wc -l; }
mounts=$(wc -l </proc/self/mounts)
files=$(ls -A "${TMPDIR:-/tmp}" | grep -c velmor)
gone() {
    local i=0
    while [ "$(left)" != 0 ] && [ $i -lt 100 ]; do sleep 0.05 && i=$((i + 1)); done
    left
}
for signal in KILL TERM HUP; do
    "$sim" run --name "left-$$" -- sh -c "sleep $mark & sleep $mark" 2>/dev/null &
    until [ "$(left)" -ge 3 ]; do sleep 0.05; done
    kill -$signal $!
    wait $! 2>/dev/null
    expect "processes after SIG$signal" 0 0 gone
    expect "names after SIG$signal" 0 "" sh -c "'$sim' runs | grep 'left-$$'; true"
done
"$sim" run -- sleep "$mark" 2>/dev/null &
until [ "$(left)" -ge 2 ]; do sleep 0.05; done
kill -KILL "$(pgrep -fx "sleep $mark")"
wait $! 2>/dev/null
expect "the program's death is the run's" 0 137 echo $?
expect "what the program leaves" 0 "" "$sim" run -- sh -c "sleep $mark & sleep $mark &"
expect "is gone" 0 0 gone
expect "mounts" 0 "$mounts" sh -c "wc -l </proc/self/mounts"
expect "files" 0 "$files" sh -c 'ls -A "${TMPDIR:-/tmp}" | grep -c velmor || true'
expect "a hundred runs" 0 "100 4" sh -c "i=0; while [ \$i -lt 100 ]; do
    '$sim' run -- cat /sys/class/backlight/pwm-backlight.0/brightness; i=\$((i+1)); done | uniq -c | tr -s ' ' | sed 's/^ //'"
expect "ten at once" 0 "10 4" sh -c "for i in 1 2 3 4 5 6 7 8 9 10; do
    '$sim' run -- cat /sys/class/backlight/pwm-backlight.0/brightness & done | sort | uniq -c | tr -s ' ' | sed 's/^ //'; wait"
finish
