# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed wdctl util-linux

expect "the watchdog" 0 "Device:        /dev/watchdog
Identity:      imx2+ watchdog [version 0]
Timeout:       60 seconds" "$sim" run -- wdctl -F
expect "a new timeout" 0 "Timeout has been set to 30 seconds.
Timeout:       30 seconds" "$sim" run -- sh -c "wdctl -s 30 | grep Timeout"
finish
