# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed acpi acpi

expect "the type of this device's zone, which acpi does not show" 0 "" "$sim" run -- acpi -t
expect "a zone of the type that it shows" 0 "Thermal 0: active, 91.5 degrees C" \
    "$sim" run --raw '/sys/class/thermal/thermal_zone0/type=acpitz\n' --set thermal.temp=91500 -- acpi -t
finish
