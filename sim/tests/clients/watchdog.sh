# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
# If a check fails, the daemon kills every process and restarts the machine. So it must run only on the device, and in
# a PID namespace of its own, because a run may have none.
daemon=$3
[ -x "$daemon" ] || skip "no watchdog daemon; scripts/test fetches Debian's package watchdog"
cp "$daemon" watchdog

cat >conf <<CONF
watchdog-device = /dev/watchdog
watchdog-timeout = 60
interval = 1
realtime = no
log-dir = $scratch
CONF
# What it writes on a shutdown, and its process id, do not go to the machine's directories.
runs() {
    timeout 300 "$sim" run --trace trace "$@"
}
start='mount -t tmpfs none /run && mount -t tmpfs none /var && mkdir /var/run /var/log && exec ./watchdog -F -v -c conf'
enclosed='unshare --mount --pid --fork --kill-child'
expect "it feeds the watchdog" 0 "watchdog: watchdog now set to 60 seconds
watchdog: hardware watchdog identity: imx2+ watchdog
watchdog: still alive after 1 interval(s)
watchdog: stopping daemon (5.16)" \
    sh -c "$(declare -f runs); sim='$sim'; runs -- $enclosed sh -c ': >fed; ($start) >fed 2>&1 &
        until grep -q \"after 1 \" fed; do sleep 0.1; done; kill \$!; wait \$!
        grep -E \"now set|identity|after 1 |stopping\" fed'"
expect "its last write" 0 V sh -c "grep write trace | tail -1 | sed 's/.*\"text\":\"//; s/\".*//'"
printf '%s\n' 'file = /nothing' 'retry-timeout = 1' >>conf
# It waits some seconds, in which the watchdog may bite, and then sets the timeout to a second.
expect "if a check fails it stops feeding" 120 "velmor-sim: the watchdog bites: not fed for N s; the unit restarts" \
    sh -c "$(declare -f runs); sim='$sim'; runs -- $enclosed sh -c '$start' 2>said ||
        { s=\$?; tail -1 said | sed 's/for [0-9]* s/for N s/'; exit \$s; }"
finish
