# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# A program inside cannot take off what protects the machine, and a second terminal can still enter.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

expect "no mount can be taken off" 0 "" "$sim" run -- sh -c 'while read -r kind place rest; do
    umount -l "$place" 2>/dev/null && echo "$place"; done </proc/self/mounts; true'
expect "no mount can be made writable" 0 "" "$sim" run -- sh -c 'while read -r kind place type options rest; do
    case $options in ro,* | ro) mount -o remount,bind,rw "$place" 2>/dev/null && echo "$place" ;; esac
    done </proc/self/mounts; true'
# Opened for appending, and nothing is written.
expect "no kernel setting can be opened for writing" 0 "" "$sim" run -- bash -c '
    for place in /.host-proc/p/sys /proc/sys; do umount -l $place 2>/dev/null; done
    for file in /proc/sys/kernel/panic /.host-proc/p/sys/kernel/panic; do
        { exec 3>>$file; } 2>/dev/null && echo "$file can be opened"; done; true'
if [ "$(id -u)" -eq 0 ]; then
    expect "nor any other file of /proc but those of the processes" 0 "" "$sim" run -- bash -c '
        find /.host-proc/p -path "/.host-proc/p/[1-9]*" -prune -o -type f -print 2>/dev/null |
            while read -r file; do { exec 3>>$file; } 2>/dev/null && echo "$file can be opened"; done; true'
fi
expect "a process can still be renamed" 0 "renamed" "$sim" run -- sh -c 'printf renamed >/proc/self/comm; cat /proc/$$/comm'
expect "a mount of its own" 0 "kept" "$sim" run -- sh -c 'mkdir own && mount -t tmpfs none own && echo kept >own/file && cat own/file'

# in_machine COMMAND...: run it where the machine has a D-Bus socket, as an ordinary user and as root.
in_machine() {
    unshare -rm bash -c 'mount -t tmpfs none /run && mkdir /run/dbus && echo reachable >/run/dbus/system_bus_socket &&
        exec unshare -U --map-user="$1" --map-group="$1" "${@:2}"' _ "$@"
}
if unshare -rm unshare -U --map-user=1000 --map-group=1000 true 2>/dev/null; then
    for user in 1000 0; do
        expect "user $user and D-Bus" 0 "" in_machine "$user" "$sim" run -- ls /run/dbus
    done
else
    echo "left out: unshare makes no namespaces here"
fi

if command -v nsenter >/dev/null; then
    "$sim" run --name "in-$$" -- sleep 60 &
    device=$!
    until "$sim" runs | grep -qx "in-$$" && first=$(pgrep -P $device) && pgrep -P "$first" -x sleep >/dev/null; do sleep 0.05; done
    expect "a second terminal" 0 "4 2" nsenter -t "$first" -U -m -p --preserve-credentials \
        sh -c 'echo $(cat /sys/class/backlight/pwm-backlight.0/brightness; pgrep -x sleep)'
    kill -TERM $device
    wait $device 2>/dev/null
fi
finish
