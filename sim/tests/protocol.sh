# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# What the control socket does with clients that velmor-sim itself never is.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
python=$(PATH=/usr/bin:/bin command -v python3) || skip "no python3"

# Freed memory is overwritten, so that its use shows.
export MALLOC_PERTURB_=165 GLIBC_TUNABLES=glibc.malloc.tcache_count=0

# scenario NAME: run that function of protocol.py on the device.
scenario() {
    "$sim" run --name "protocol-$$" --board all-families -- "$python" "$here/protocol.py" "protocol-$$" "$(id -u)" "$1" \
        "$sim"
}
value=/sys/class/gpio/gpio37/value
expect "a value that vanishes and comes back" 0 "$value=0
$value=
empty False
$value=0
$value=1
!=0 True
>0 True
>=1 True
=1 True" scenario vanish
expect "a second command on a connection" 0 "timed out waiting for thermal.temp=1; the last value is 45000 0
45000
timed out waiting for thermal.temp=2; the last value is 45000" scenario second
expect "a watch that is read late" 0 "True
a command may have 65536 bytes at most" scenario late
expect "a watch that is not read" 0 "thermal.temp=45000
velmor-sim: output is missing: it was not read fast enough, and the run has closed the connection
1" scenario unread
not_words="the command is not a JSON list of words"
expect "commands that are none" 0 "$not_words
$not_words
$not_words
$not_words" scenario nested
finish
