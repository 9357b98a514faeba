# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
# The benchmark prints its rows. The figures depend on the machine and are not checked.
cost=$2
. "$(dirname "$0")/common.sh"

"$cost" "$sim" 2 >rows || fail "run-cost: status $?"
for row in 'true +median +[0-9.]+ ms' 'velmor-sim run -- true +median +[0-9.]+ ms' 'beyond the program +median +-?[0-9.]+ ms' \
    'open, read, close +mean +[0-9.]+ us'; do
    grep -Eq "^ *$row" rows || fail "no row \"$row\" in: $(cat rows)"
done
finish
