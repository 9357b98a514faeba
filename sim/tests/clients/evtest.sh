# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
installed evtest evtest

# EVIOCGRAB with 1. The program says nothing after it, and does it once even where it is not to grab.
grab='0x40044590","in":"01000000"'

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
    until [ "$(grep -c "$3" trace)" = 2 ]; do sleep 0.05; done
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
' _ "$sim" "on-$$" "$grab" >said 2>&1
expect "a second grab" 0 "  This device is grabbed by another process." cat said
expect "the events of the one that grabs" 0 "type 1 (EV_KEY), code 33 (KEY_F), value 0" sh -c "$(declare -f events); events grabbing"
expect "the events of the other" 0 "type 1 (EV_KEY), code 33 (KEY_F), value 1
type 1 (EV_KEY), code 33 (KEY_F), value 1
type 1 (EV_KEY), code 33 (KEY_F), value 0" sh -c "$(declare -f events); events plain"
expect "the record" 0 '"request":"0x40044590","in":"01000000","out":"","result":0' \
    sh -c "grep -m1 0x40044590 trace | grep -o '\"request.*result\":[^,]*'"
# grabs FILE TEXT OPTION...: run it until the file has the text.
grabs() {
    "$sim" run --board all-families "${@:3}" -- sh -c 'touch "$0"; evtest --grab /dev/input/event0 >said &
        until grep -q "$1" "$0"; do sleep 0.05; done; kill $!; wait $! 2>/dev/null; cat said' "$1" "$2"
}
grabs all "$grab" --trace all >free
expect "without another program" 1 "" grep grabbed free
number=$(grep '"act":"ioctl"' all | grep -n -m1 0x40044590 | cut -d: -f1)
grabs said grabbed --fault "/dev/input/event0:ioctl:EIO:$number" >failing
expect "a fault" 0 "  This device is grabbed by another process." grep grabbed failing
finish
