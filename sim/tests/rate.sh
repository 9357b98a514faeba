# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
# The benchmark prints its rows. The figures depend on the machine and are not checked.
rate=$2
. "$(dirname "$0")/common.sh"
unshare -rm true 2>/dev/null || skip "unshare makes no namespaces here"

"$rate" "$sim" "$3" 100 1000 1 >rows || fail "act-rate: status $?"
for threads in 1 2 4; do
    for files in 10 1000 10000; do
        grep -Eq "^ +$threads +$files( +[0-9.]+){5}$" rows || fail "no row for $threads threads and $files files in: $(cat rows)"
    done
done
grep -Eq '^memory of the simulator: [0-9]+ KiB after 10 acts, [0-9]+ KiB after 1000 acts$' rows || fail "no memory in: $(cat rows)"
finish
