# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# Debuggers, checkers and sanitized programs work inside. A line names each tool that is not installed.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

steps=("do" read /proc/platform/serial_number write /sys/class/backlight/pwm-backlight.0/brightness 8 feed /dev/watchdog 30)
said="AB12C0FFEE
EINVAL
good
good
good
30 30
good"
# has PROGRAM: whether it is installed.
has() {
    command -v "$1" >/dev/null && return
    echo "left out: no $1"
    return 1
}
if has gdb; then
    expect "gdb, starting a program" 0 "$said
\$1 = 0" "$sim" run -- sh -c 'gdb -nx -q -batch -ex run -ex "print \$_exitcode" --args "$@" 2>/dev/null |
        grep -v "^\[\|^warning\|^Using host\|^This GDB\|^Debuginfod\|^Enable\|^To make\|^$"' _ "$act" "${steps[@]}"
    expect "gdb, attaching to a program" 0 "4" "$sim" run -- sh -c 'sleep 30 & gdb -nx -q -batch -p $! -ex detach >/dev/null 2>&1 &&
        cat /sys/class/backlight/pwm-backlight.0/brightness; kill $!'
fi
if has valgrind; then
    expect "valgrind" 0 "$said" "$sim" run -- valgrind -q --error-exitcode=9 --leak-check=full "$act" "${steps[@]}"
fi
if has strace; then
    expect "strace" 0 "$said" "$sim" run -- strace -f -o /dev/null "$act" "${steps[@]}"
fi
if has cc; then
    for sanitizer in address,undefined leak thread; do
        if ! cc -std=c99 -D_GNU_SOURCE -g -fsanitize=$sanitizer -o sanitized "$here/act.c" 2>/dev/null || ! ./sanitized "do"; then
            echo "left out: no programs with -fsanitize=$sanitizer here"
            continue
        fi
        expect "a program with -fsanitize=$sanitizer" 0 "$said" "$sim" run -- ./sanitized "${steps[@]}"
    done
fi
finish
