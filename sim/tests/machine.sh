# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# On a machine that lacks something one line says what, and how to allow it. The tests are skipped with that line.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
unshare -rm true 2>/dev/null || skip "unshare makes no namespaces here"

# lacking PREPARATION COMMAND...: run the command in namespaces in which PREPARATION has taken something away.
lacking() {
    local preparation=$1
    shift
    unshare -rm bash -c 'case $(readlink /proc/self/ns/user) in *4026531837*) exit 99 ;; esac
        '"$preparation"' || exit 98; exec "$@"' _ "$@"
}
no_node='mount -t tmpfs none /dev'
says='velmor-sim: no /dev/fuse; load it with "modprobe fuse", or give it to the container with "--device /dev/fuse": No such file or directory'
expect "no /dev/fuse" 125 "$says" lacking "$no_node" "$sim" run -- echo started
expect "a test without /dev/fuse" 77 "skipped: $says" lacking "$no_node" bash "$here/restart.sh" "$sim" "$act"
closed='mount --bind /dev/fuse /dev/fuse && mount -o remount,bind,nodev /dev/fuse'
says='velmor-sim: /dev/fuse cannot be opened; allow it with "chmod 666 /dev/fuse", which udev normally does: Permission denied'
expect "a closed /dev/fuse" 125 "$says" lacking "$closed" "$sim" run -- echo started
expect "a test with a closed /dev/fuse" 77 "skipped: $says" lacking "$closed" bash "$here/restart.sh" "$sim" "$act"
# The limit of the new namespace, not the machine's.
forbidden='echo 0 >/proc/sys/user/max_user_namespaces'
says='velmor-sim: user namespaces are forbidden here; allow them with "sysctl kernel.unprivileged_userns_clone=1 user.max_user_namespaces=10000", or give the container "--security-opt seccomp=unconfined": No space left on device'
expect "no user namespaces" 125 "$says" lacking "$forbidden" "$sim" run -- echo started
expect "a test without user namespaces" 77 "skipped: $says" lacking "$forbidden" bash "$here/restart.sh" "$sim" "$act"
# As in a container that masks parts of /proc: no new /proc can be mounted, so the run has no PID namespace.
masked='mount -t tmpfs none /proc/sys'
expect "a /proc with masks" 0 "4" lacking "$masked" "$sim" run -- cat /sys/class/backlight/pwm-backlight.0/brightness
expect "its processes are the machine's" 0 "" lacking "$masked" "$sim" run -- sh -c '[ $$ -gt 2 ] || echo $$'
expect "a restart there" 121 "velmor-sim: the unit restarts: /sbin/reboot" lacking "$masked" "$sim" run -- /sbin/reboot
finish
