# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# library.sh SIM ACT LIBRARY: programs that are linked with the device's libvelmor.so.3 get that of the board.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
folder=$(dirname "$3")
own=$(cd "$(dirname "$sim")/.." && pwd -P)/lib/velmor/all-families

every="mrfi 0: -57
attitude 0: -12 34 1024
motion 0: 0
led 0: 255 191 0
antenna 0"
none="mrfi -95: 0
attitude -95: 0 0 0
motion -95: 0
led -95: 0 0 0
antenna -95"
program=${act}_families
# printed COMMAND...: without the library's diagnostic lines.
printed() {
    "$@" 2>/dev/null
}

expect "the device's own board" 0 "$none" printed "$sim" run -- "$program"
expect "every family" 0 "$every" printed "$sim" run --board all-families -- "$program"
expect "the program's own search path comes later" 0 "$every" \
    printed env LD_LIBRARY_PATH="$folder" "$sim" run --board all-families -- "${program}_without_runpath"
expect "a program that starts another" 0 "$every" printed "$sim" run --board all-families -- sh -c '"$1"' _ "$program"
expect "another library inside" 0 "$none" printed "$sim" run --board all-families -- env LD_LIBRARY_PATH="$folder" "$program"
# The loader takes the folders of DT_RPATH first. An ordinary user may not read them here.
if [ "$(id -u)" = 0 ]; then
    expect "a program with DT_RPATH" 0 "$none" printed "$sim" run --board all-families -- "${program}_with_rpath"
fi

expect "the variable" 0 "$own" env -u LD_LIBRARY_PATH "$sim" run --board all-families -- printenv LD_LIBRARY_PATH
expect "an empty variable" 0 "$own" env LD_LIBRARY_PATH= "$sim" run --board all-families -- printenv LD_LIBRARY_PATH
expect "the user's folders" 0 "$own:/a:/b" \
    env LD_LIBRARY_PATH=/a:/b "$sim" run --board all-families -- printenv LD_LIBRARY_PATH
for board in device coarse-backlight; do
    expect "the board $board has none" 0 "/a" \
        env LD_LIBRARY_PATH=/a "$sim" run --board $board -- printenv LD_LIBRARY_PATH
done
printf '{"description": "x", "base": "all-families"}' >own.json
expect "a board file has none" 0 "/a" env LD_LIBRARY_PATH=/a "$sim" run --board ./own.json -- printenv LD_LIBRARY_PATH

# Without the library the program runs with its own.
mkdir -p moved/bin moved/share/velmor
cp "$sim" moved/bin/velmor-sim
boards=$here/../boards
[ -d "$boards" ] || boards=$(dirname "$sim")/../share/velmor/boards
cp -r "$boards" moved/share/velmor
expect "no library" 0 "$none" printed moved/bin/velmor-sim run --board all-families -- "$program"
mkdir -p moved/lib
cp -r "$own/.." moved/lib/velmor
expect "moved" 0 "$every" printed moved/bin/velmor-sim run --board all-families -- "$program"
finish
