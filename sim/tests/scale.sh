# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# The cost of an act does not grow with the size of the device, nor with what is open. Compared are times on the
# processor, and only with one another.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
load=${act}_load
temp=/sys/class/thermal/thermal_zone0/temp

# at_most WHAT LIMIT SMALL LARGE: LARGE is at most LIMIT times SMALL.
at_most() {
    echo "$1: $3 and $4"
    [ "$4" -le $(($2 * $3)) ] || fail "$1: $3 grew to $4"
}

# takes_at_most WHAT LIMIT SMALL LARGE: the command LARGE prints at most LIMIT times the number of SMALL. Other work on
# the machine only adds to a time, so the least of several counts: of three, and of up to 12 while LARGE is above LIMIT.
takes_at_most() {
    local small='' large='' number round
    for round in {1..12}; do
        number=$($3)
        [ "${small:-$number}" -lt "$number" ] || small=$number
        number=$($4)
        [ "${large:-$number}" -lt "$number" ] || large=$number
        [ "$round" -lt 3 ] || [ "$large" -gt $(($2 * small)) ] || break
    done
    at_most "$1" "$2" "$small" "$large"
}
# Loading a board of that many class devices, in milliseconds.
loading() {
    local took
    took=$({ TIMEFORMAT=%U && time "$sim" run --board "./$1.json" --set none=1 -- true 2>/dev/null; } 2>&1)
    echo $((10#${took/./}))
}
for count in 500 2000; do
    seq "$count" | sed 's|.*|{"kind":"led","name":"l&","path":"/sys/class/leds/l&","color":[0,0,0]}|' | paste -sd, |
        sed 's/.*/{"description":"x","devices":[&]}/' >$count.json
done
expect "a device with many LEDs" 0 "2000 0 0 0" "$sim" run --board ./2000.json -- sh -c 'cd /sys/class/leds; echo $(ls | wc -l; cat l2000/color)'
takes_at_most "milliseconds to load 500 and 2000 devices" 8 "loading 500" "loading 2000"

# reading COUNT HOW: what 3000 reads cost while the file is held COUNT times, in microseconds. HOW is "open" or "poll".
reading() {
    local before after
    rm -f go said
    mkfifo go
    : >said
    "$sim" run -- "$load" hold "$temp" "$1" "$2" 3000 <go >said &
    local device=$!
    exec 7>go
    until grep -q ready said; do sleep 0.05; done
    read -r before _ <"/proc/$device/schedstat"
    echo >&7
    until grep -q "done" said; do sleep 0.05; done
    read -r after _ <"/proc/$device/schedstat"
    echo >&7
    exec 7>&-
    wait "$device"
    echo $(((after - before) / 1000))
}
if [ -e /proc/self/schedstat ]; then
    for how in open poll; do
        takes_at_most "microseconds for reads with 10 and 10000 files held, $how" 4 "reading 10 $how" "reading 10000 $how"
    done
else
    echo "left out: the kernel does not count the time of processes"
fi

# The memory of the simulator in KiB, at most so far.
memory() {
    sed -n 's/^VmHWM:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$1/status"
}
rm -f go said
mkfifo go
: >said
"$sim" run --name "flood-$$" -- sh -c 'test -c /dev/ttymxc4 || echo none; echo ready; read -r line
    head -c 100000000 /dev/zero >/dev/ttymxc4; echo done; read -r line' <go >said &
device=$!
exec 7>go
until grep -q ready said; do sleep 0.05; done
if grep -q none said; then
    echo "left out: no serial lines"
else
    before=$(memory $device)
    echo >&7
    expect "a command during a flood" 0 9600 timeout 100 "$sim" get --name "flood-$$" ttymxc4.speed
    until grep -q "done" said; do sleep 0.05; done
    at_most "KiB before and after a flood on a serial line" 2 "$before" "$(memory $device)"
fi
echo >&7
exec 7>&-
wait $device
finish
