# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

file=/sys/class/backlight/pwm-backlight.0/brightness
for op in open read write close; do
    "$sim" run --trace trace --fault "$file:$op:EIO" -- sh -c "cat $file; echo 1 >$file" >/dev/null 2>&1
    expect "a fault on $op" 0 "$op EIO" sh -c "grep -m1 EIO trace | sed 's/.*\"act\":\"\\([a-z]*\\)\".*\"errno\":\"\\([A-Z]*\\)\".*/\\1 \\2/'"
done
expect "a fault on ioctl" 1 EIO "$sim" run --fault /dev/watchdog:ioctl:EIO -- "$act" watchdog 5 0 - 0
# Every error at every operation: it arrives, or it is refused because FUSE cannot pass it on.
for op in open read write ioctl close; do
    case $op in
        open) refused=" ECHILD ENOSYS ESTALE " path=$file ;;
        ioctl) refused=" ENOSYS " path=/dev/watchdog ;;
        close) refused=" ENOSYS " path=$file ;;
        *) refused="" path=$file ;;
    esac
    faults=()
    "${act}_load" errors >all
    : >passed
    while read -r error; do
        [[ $refused != *" $error "* ]] || continue
        echo "$error" >>passed
        faults+=(--fault "$path:$op:$error:$((${#faults[@]} / 2 + 1))")
    done <all
    timeout -s KILL 600 "$sim" run "${faults[@]}" -- "${act}_load" fail $op $path "$(wc -l <passed)" >got 2>&1
    expect "every error of $op" 0 "" diff passed got
    for error in $refused; do
        expect "$op:$error" 125 "velmor-sim: \"$path:$op:$error\": FUSE cannot make $op fail with $error" \
            "$sim" run --fault "$path:$op:$error" -- true
    done
done
expect "the second one only" 2 "12" "$sim" run --fault /dev/watchdog:ioctl:EIO:2 -- "$act" watchdog 12 1 - 0
expect "the second write only" 0 "bash: line 3: echo: write error: Input/output error
3" "$sim" run --fault "/sys/class/backlight/*/brightness:write:EIO:2" -- bash -c "
    echo 1 >$file
    echo 2 >$file
    echo 3 >$file; cat $file"
start=$(now)
expect "a slow act" 0 "" "$sim" run --delay /sys/power/state:write:400 -- sh -c 'echo mem >/sys/power/state'
took=$(($(now) - start))
[ "$took" -ge 400 ] || fail "the slow act took $took ms"
for op in open read close; do
    start=$(now)
    expect "a slow $op" 0 4 "$sim" run --delay "$file:$op:300" -- cat "$file"
    [ $(($(now) - start)) -ge 300 ] || fail "the slow $op took no time"
done
start=$(now)
expect "a slow ioctl" 7 30 "$sim" run --delay /dev/watchdog:ioctl:300 -- "$act" watchdog 30 0 V 0
[ $(($(now) - start)) -ge 300 ] || fail "the slow ioctl took no time"
start=$(now)
expect "a program that dies in a slow act" 120 "velmor-sim: the watchdog bites: not fed for 1 s; the unit restarts" \
    "$sim" run --set watchdog.timeout=1 --delay /sys/power/state:write:600000 -- sh -c 'exec 3>/dev/watchdog; echo mem >/sys/power/state'
took=$(($(now) - start))
[ "$took" -le 300000 ] || fail "the end waited for the slow act: $took ms"
for op in open read write ioctl set-options close; do
    [ $op = ioctl ] || [ $op = set-options ] && path=/dev/watchdog || path=$file
    act_name=${op/set-options/ioctl}
    [ $op = close ] && said=good || said=EINTR
    # A signal may come before the act, or even before the program has a handler: then it is ignored.
    expect "a signal during a slow $op" 0 "$said" timeout --foreground -s KILL 600 "$sim" run --delay "$path:$act_name:3600000" -- \
        sh -c ': >said; trap "" USR1; "$@" >said & until [ -s said ] || ! kill -0 $!; do sleep 0.5; kill -USR1 $!; done 2>/dev/null; wait $!; cat said' \
        _ "${act}_load" fail $op "$path" 1
    expect "a signal that kills during a slow $op" 143 "" timeout --foreground -s KILL 600 "$sim" run \
        --delay "$path:$act_name:3600000" -- timeout --preserve-status 2 "${act}_load" fail $op "$path" 1
done
right='PATH:OP:ERRNO or PATH:OP:ERRNO:N, with an absolute path, OP one of open, read, write, ioctl, close, and N at least 1, for example /dev/watchdog:ioctl:EIO:2; or restart:call:ERRNO'
for wrong in x /x:read /x:read:ENOTHING /x:eat:EIO /x:read:EIO:0 x:read:EIO; do
    expect "the fault $wrong" 125 "velmor-sim: \"$wrong\" should be $right" "$sim" run --fault "$wrong" -- true
done
right='PATH:OP:MS, with an absolute path, OP one of open, read, write, ioctl, close, and milliseconds up to 3600000, for example /sys/power/state:write:3000'
for wrong in x /x:read /x:read:soon /x:eat:5 /x:read:-1 /x:read:3600001 x:read:5; do
    expect "the delay $wrong" 125 "velmor-sim: \"$wrong\" should be $right" "$sim" run --delay "$wrong" -- true
done
finish
