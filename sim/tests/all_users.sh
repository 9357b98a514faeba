# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# With --all-users the kernel checks owner, group and mode of the device's files. Only root can start this: an ordinary
# user becomes root of a user namespace with that user's subordinate ids.
if [ "$(id -u)" != 0 ]; then
    unshare --map-root-user --map-auto true 2>/dev/null || {
        echo "skipped: neither root nor a user with ids in /etc/subuid"
        exit 77
    }
    exec unshare --map-root-user --map-auto bash "$0" "$@"
fi
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
chmod 755 .
cp "$act" program

# with SCRIPT: run it, in which "member" and "other" run a command as a user in group 4242 and as one in none.
with() {
    "$sim" run --all-users "${options[@]}" -- bash -c '
        member() { setpriv --reuid 65534 --regid 65534 --groups 4242 -- "$@"; }
        other() { setpriv --reuid 65534 --regid 65534 --clear-groups -- "$@"; }
        brightness=/sys/class/backlight/pwm-backlight.0/brightness
        '"$1"
}
options=()
expect "owners and modes" 0 "root root 644
root root 600
root root 755" with 'stat -c "%U %G %a" $brightness /dev/watchdog /sbin/reboot'
expect "another user" 0 "4
no
refused
refused" with 'other cat $brightness; other test -w $brightness || echo no
    for file in $brightness /dev/watchdog; do other sh -c "echo 5 >$file" 2>/dev/null || echo refused; done'
expect "nothing changed" 0 4 with 'other sh -c "echo 5 >$brightness" 2>/dev/null; cat $brightness'
expect "the owner alone gives a file to a group" 1 "" with 'other chmod 666 $brightness 2>/dev/null'
expect "a group" 0 "root 4242 664
yes
7
refused" with 'chgrp 4242 $brightness; chmod g+w $brightness; stat -c "%U %g %a" $brightness
    member test -w $brightness && echo yes; member sh -c "echo 7 >$brightness"; cat $brightness
    other sh -c "echo 8 >$brightness" 2>/dev/null || echo refused'
expect "the watchdog for a group" 120 "velmor-sim: the watchdog bites: not fed for 1 s; the unit restarts" eval \
    'options=(--set watchdog.timeout=1)
    with "chgrp 4242 /dev/watchdog; chmod 660 /dev/watchdog; member sh -c \"exec 3>/dev/watchdog; sleep 60\""'
expect "a mode that root is subject to as well" 1 "" with 'chmod 444 $brightness; echo 7 2>/dev/null >$brightness'
options=(--device-nodes)
expect "a device node" 0 "character special file root 4242 660" \
    with 'chgrp 4242 /dev/watchdog; chmod 660 /dev/watchdog; stat -c "%F %U %g %a" /dev/watchdog'

options=(--trace trace)
expect "the restart call as another user" 5 "-1 EPERM" with 'other ./program restart 0x1234567 ""'
expect "the record of it" 0 '{"act":"restart","command":"0x1234567","result":-1,"errno":"EPERM","pid":N}' \
    sed -E 's/"pid":[0-9]+/"pid":N/' trace
expect "the restart call as root" 121 "velmor-sim: the unit restarts: restart call" \
    with './program restart 0x1234567 ""'
expect "the restart program as another user" 1 "" with 'other /sbin/reboot 2>/dev/null'
expect "the restart program as root" 121 "velmor-sim: the unit restarts: /sbin/reboot" with /sbin/reboot

options=()
expect "without --all-users a file has one owner" 1 \
    "chown: changing ownership of '/dev/watchdog': Invalid argument" "$sim" run -- chown 1:1 /dev/watchdog
expect "root without the right to restart" 5 "-1 EPERM" "$sim" run -- \
    setpriv --bounding-set=-sys_boot --inh-caps=-sys_boot ./program restart 0x1234567 ""
expect "a file of the machine" 0 "refused" \
    with 'touch file; chmod 600 file; other cat file 2>/dev/null || echo refused'
expect "an ordinary user may not" 125 "velmor-sim: --all-users: only root may run programs as other users" \
    setpriv --reuid 65534 --regid 65534 --clear-groups "$(readlink -f "$sim")" run --all-users -- true
finish
