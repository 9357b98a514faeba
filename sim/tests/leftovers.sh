# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

# Only this test's processes have this number in their command lines.
mark=7$$
left() { pgrep -f "sleep $mark" | wc -l; }
mkdir temporary
export TMPDIR=$scratch/temporary
sort /proc/self/mounts >mounts
named() {
    find /tmp /run /dev/shm /var/tmp -maxdepth 1 -user "$(id -u)" -name '*velmor-sim*' 2>/dev/null | sort
}
named >named-before
gone() {
    local i=0
    while [ "$(left)" != 0 ] && [ "$i" -lt 1200 ]; do sleep 0.05 && i=$((i + 1)); done
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
"$sim" run -- sh -c "sleep $mark & sleep $mark" 2>said &
until [ "$(left)" -ge 3 ]; do sleep 0.05; done
kill -KILL "$(pgrep -P $!)"
wait $! 2>/dev/null
expect "the first process inside is killed" 0 "125 velmor-sim: the device's first process was killed" echo "$?" "$(cat said)"
expect "processes after that" 0 0 gone
# As in a container that masks parts of /proc: the run has no PID namespace.
if unshare -rm true 2>/dev/null; then
    for target in first simulator; do
        unshare -rm bash -c 'mount -t tmpfs none /proc/sys && exec "$@"' _ "$sim" run -- \
            sh -c "(setsid sleep $mark &); sleep $mark & sleep $mark" 2>/dev/null &
        device=$!
        until [ "$(pgrep -cfx "sleep $mark")" = 3 ]; do sleep 0.05; done
        case $target in
            first) kill -KILL "$(pgrep -P $device)" ;;
            simulator) kill -KILL $device ;;
        esac
        wait $device 2>/dev/null
        expect "processes without a PID namespace, the $target killed" 0 0 gone
        pgrep -fx "sleep $mark" | xargs -r kill -KILL
    done
else
    echo "left out: unshare makes no namespaces here"
fi
if command -v script >/dev/null; then
    # The terminal is closed while the device leads the session, and then while a shell does.
    for leader in "exec" ""; do
        script -qec "$leader '$sim' run -- sh -c 'sleep $mark & sleep $mark'; true" /dev/null >/dev/null 2>&1 </dev/null &
        until [ "$(left)" -ge 3 ] && pgrep -fx "sleep $mark" >/dev/null; do sleep 0.05; done
        kill -KILL $!
        wait $! 2>/dev/null
        expect "processes after the terminal${leader:+ of the device}" 0 0 gone
    done
fi
"$sim" run -- sleep "$mark" 2>/dev/null &
until pgrep -fx "sleep $mark" >/dev/null; do sleep 0.05; done
kill -KILL "$(pgrep -fx "sleep $mark")"
wait $! 2>/dev/null
expect "a run whose program is killed" 0 137 echo $?
expect "processes that the program leaves" 0 "" "$sim" run -- sh -c "sleep $mark & sleep $mark &"
expect "are killed" 0 0 gone
expect "a hundred runs" 0 "100 4" sh -c "i=0; while [ \$i -lt 100 ]; do
    '$sim' run -- cat /sys/class/backlight/pwm-backlight.0/brightness; i=\$((i+1)); done | uniq -c | tr -s ' ' | sed 's/^ //'"
expect "ten at once" 0 "10 4" sh -c "for i in 1 2 3 4 5 6 7 8 9 10; do
    '$sim' run -- cat /sys/class/backlight/pwm-backlight.0/brightness & done | sort | uniq -c | tr -s ' ' | sed 's/^ //'; wait"
expect "mounts" 0 "" sh -c "sort /proc/self/mounts | diff mounts -"
named >named-after
expect "files" 0 "" diff named-before named-after
expect "temporary files" 0 "" ls -A temporary
finish
