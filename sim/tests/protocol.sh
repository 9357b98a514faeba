# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# What the control socket does with clients that velmor-sim itself never is.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
python=$(PATH=/usr/bin:/bin command -v python3) || skip "no python3"

# scenario NAME: run that function of protocol.py on the device.
scenario() {
    "$sim" run --name "protocol-$$" --board all-families -- "$python" "$here/protocol.py" "protocol-$$" "$(id -u)" "$1"
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
finish
