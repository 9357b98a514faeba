# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# The manual page describes every command and option that the help lists.
sim=$1
page=$2
status=0
for command in run boards runs set raw get list watch wait-for wait-for-act fault delay clear; do
    "$sim" --help | grep -q "^  $command " || { echo "no help for $command" && status=1; }
    "$sim" "$command" --help | grep -q "^  velmor-sim $command\( \|$\)" || { echo "no example for $command" && status=1; }
    grep -q "^\.[BT][PRI]* *\"\?$command\|^\.B.* $command" "$page" || grep -q "\\\\fB$command" "$page" ||
        { echo "$command is not in the manual page" && status=1; }
done
for option in $("$sim" run --help | grep -o '^  --[a-z-]*'); do
    grep -q -e "${option//-/\\\\-}" "$page" || { echo "$option is not in the manual page" && status=1; }
done
exit $status
