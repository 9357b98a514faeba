# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed evtest evtest

# A program that grabs gets every event; the others get none until it has ended.
events() {
    grep -o 'type 1 (EV_KEY), code 33 (KEY_F), value .' "$1"
}
"$sim" run --name "on-$$" --board all-families --trace trace -- bash -c '
    sim=$1 name=$2
    touch plain grabbing second
    evtest /dev/input/event2 >plain & plain=$!
    until grep -q Testing plain; do sleep 0.05; done
    "$sim" set --name "$name" keys.33 1
    until grep -q "value 1" plain; do sleep 0.05; done
    evtest --grab /dev/input/event2 >grabbing & grabbing=$!
    until grep -q Testing grabbing; do sleep 0.05; done
    "$sim" set --name "$name" keys.33 0
    until grep -q "value 0" grabbing; do sleep 0.05; done
    evtest --grab /dev/input/event2 >second & second=$!
    until grep "grabbed by" second; do sleep 0.05; done
    kill $second; wait $second
    kill $grabbing; wait $grabbing
    "$sim" set --name "$name" keys.33 1
    "$sim" set --name "$name" keys.33 0
    until grep -q "value 0" plain; do sleep 0.05; done
    kill $plain; wait $plain
' _ "$sim" "on-$$" >said 2>&1
expect "a second grab" 0 "  This device is grabbed by another process." cat said
expect "the events of the one that grabs" 0 "type 1 (EV_KEY), code 33 (KEY_F), value 0" sh -c "$(declare -f events); events grabbing"
expect "the events of the other" 0 "type 1 (EV_KEY), code 33 (KEY_F), value 1
type 1 (EV_KEY), code 33 (KEY_F), value 1
type 1 (EV_KEY), code 33 (KEY_F), value 0" sh -c "$(declare -f events); events plain"
expect "the record" 0 '"request":"0x40044590","in":"01000000","out":"","result":0' \
    sh -c "grep -m1 0x40044590 trace | grep -o '\"request.*result\":[^,]*'"
grabs() {
    "$sim" run --board all-families "$@" -- sh -c 'evtest --grab /dev/input/event0 >said & until grep -q Testing said; do sleep 0.05; done
        kill $!; wait $!; cat said'
}
grabs --trace all >free
expect "without another program" 1 "" grep grabbed free
number=$(grep '"act":"ioctl"' all | grep -n -m1 0x40044590 | cut -d: -f1)
grabs --fault "/dev/input/event0:ioctl:EIO:$number" >failing
expect "a fault" 0 "  This device is grabbed by another process." grep grabbed failing
finish
