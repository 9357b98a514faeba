# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# stat shows device nodes as such only if the run was started with --device-nodes.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"

# with SCRIPT: run it on the all-families board with the option.
with() {
    "$sim" run --name "on-$$" --board all-families --device-nodes -- bash -c "$1"
}
shown='stat -c "%F %t:%T %a %U %G %h %s" /dev/watchdog /dev/input/event2; test -c /dev/watchdog; echo $?
    echo $(find /dev -type c 2>/dev/null | grep "watchdog\|event\|null" | sort)
    ls -l /dev/input | tail -n +2 | cut -c1 | sort | uniq -c | tr -s " "'
expect "plain files" 0 "regular empty file 0:0 600 root root 1 0
regular empty file 0:0 660 root root 1 0
1

 3 -" on_device "$shown"
expect "device nodes" 0 "character special file a:82 600 root root 1 0
character special file d:42 660 root root 1 0
0
/dev/input/event0 /dev/input/event1 /dev/input/event2 /dev/null /dev/watchdog
 3 c" with "$shown"

expect "relative paths" 0 "c
c
c
c
c
c" with '
    type() { [ -c "$1" ] && echo c || echo "$1"; }
    cd /dev; type watchdog; type ./input/event0; type ../dev/watchdog
    cd input; type event1; type ./../input/./event2
    cd /usr/bin; type ../../dev/watchdog'
expect "links of the user" 0 "plain" with 'ln -s /dev/watchdog here; [ -c here ] || echo plain'
expect "links themselves" 0 "symbolic link" with 'ln -sf /dev/watchdog there; stat -c %F there'
expect "the rest of the device" 0 "128 4096 regular file
0 0 directory" with 'cat /sys/class/backlight/pwm-backlight.0/max_brightness >/dev/null
    stat -c "128 %s %F" /sys/class/backlight/pwm-backlight.0/brightness; stat -c "0 %s %F" /dev/input'
expect "the file system of all nodes" 0 "1" with 'stat -c %d /dev/input /dev/input/event0 /dev/watchdog /sys/class | uniq | wc -l'
expect "a restart" 121 "velmor-sim: the unit restarts: /sbin/reboot" with /sbin/reboot

# The machine's files are as outside.
find /usr/bin /usr/share -maxdepth 1 -exec stat -c '%n %F %a %s %Y %i %d %h %b' {} + >outside
with 'find /usr/bin /usr/share -maxdepth 1 -exec stat -c "%n %F %a %s %Y %i %d %h %b" {} +' >inside
cmp outside inside || fail "other files are not as outside"

python=$(command -v python3) || skip "no python3 for the rest"
cat >program <<'PROGRAM'
import ctypes
import errno
import os
import stat
import sys

libc = ctypes.CDLL(None, use_errno=True)
here, nofollow, empty = -100, 0x100, 0x1000


def kind(status):
    name = "node" if stat.S_ISCHR(status.st_mode) else "file" if stat.S_ISREG(status.st_mode) else "other"
    return "%s %d:%d" % (name, os.major(status.st_rdev), os.minor(status.st_rdev))


def raw(what, directory, path, flags, record=None):
    buffer = ctypes.create_string_buffer(1024) if record is None else record
    if libc.fstatat(directory, path, buffer, flags) == 0:
        print(what, hex(int.from_bytes(buffer.raw[24:28], sys.byteorder)) if os.uname().machine == "x86_64" else "0x2180")
    else:
        print(what, errno.errorcode[ctypes.get_errno()])


def extended(what, directory, path, flags, mask=0x7FF):
    buffer = ctypes.create_string_buffer(256)
    if libc.statx(directory, path, flags, mask, buffer) == 0:
        number = lambda place, size=4: int.from_bytes(buffer.raw[place : place + size], sys.byteorder)
        status = os.stat("/dev/watchdog")
        print(what, oct(number(28, 2)), number(128), number(132), number(136) == os.major(status.st_dev),
              number(140) == os.minor(status.st_dev), number(32, 8) == status.st_ino,
              number(112, 8) == int(status.st_mtime), hex(number(0)))
    else:
        print(what, errno.errorcode[ctypes.get_errno()])


node = os.open("/dev/input/event1", os.O_RDONLY)
path_only = os.open("/dev/watchdog", os.O_PATH)
directory = os.open("/dev/input", os.O_RDONLY)
link = os.open("/proc/self", os.O_PATH | os.O_NOFOLLOW)
print("stat", kind(os.stat("/dev/watchdog")), kind(os.lstat("/dev/watchdog")))
print("fstat", kind(os.fstat(node)), kind(os.fstat(path_only)))
print("at", kind(os.stat("event2", dir_fd=directory)), kind(os.stat("event2", dir_fd=directory, follow_symlinks=False)))
print("absolute at", kind(os.stat("/dev/watchdog", dir_fd=directory)))
raw("empty path", node, b"", empty)
raw("no path", here, b"", 0)
raw("empty path of a closed descriptor", 99, b"", empty)
raw("a directory", directory, b"", empty)
raw("flags", here, b"/dev/watchdog", 0x4)
raw("slash", here, b"/dev/watchdog/", 0)
raw("below", here, b"/dev/watchdog/.", 0)
raw("missing", here, b"/dev/watchdog1", 0)
raw("bad path", here, ctypes.c_void_p(1), 0)
raw("bad result", here, b"/dev/watchdog", nofollow, ctypes.c_void_p(1))
raw("long path", here, b"/" * 4000 + b"dev/watchdog", 0)
raw("too long path", here, b"/" * 5000 + b"dev/watchdog", 0)
extended("statx", here, b"/dev/watchdog", nofollow)
extended("statx of a descriptor", path_only, b"", empty | 0x2000)
extended("statx, wrong mask", here, b"/dev/watchdog", 0, 0x80000000)
extended("statx, wrong flags", here, b"/dev/watchdog", 0x6000)
# A path at the end of the memory.
page = 4096
libc.mmap.restype = ctypes.c_void_p
place = libc.mmap(None, ctypes.c_size_t(2 * page), 3, 0x22, -1, 0)
libc.munmap(ctypes.c_void_p(place + page), ctypes.c_size_t(page))
text = b"/dev/watchdog\0"
ctypes.memmove(place + page - len(text), text, len(text))
raw("path before a hole", here, ctypes.c_void_p(place + page - len(text)), 0)
ctypes.memmove(place + page - len(text) + 1, text, len(text) - 1)
raw("path into a hole", here, ctypes.c_void_p(place + page - len(text) + 1), 0)
os.makedirs("root/dev", exist_ok=True)
open("root/dev/watchdog", "w").close()
os.chroot("root")
print("in another root", kind(os.stat("/dev/watchdog")))
PROGRAM
expect "every call" 0 "stat node 10:130 node 10:130
fstat node 13:65 node 10:130
at node 13:66 node 13:66
absolute at node 10:130
empty path 0x21b0
no path ENOENT
empty path of a closed descriptor EBADF
a directory 0x41ed
flags EINVAL
slash ENOTDIR
below ENOTDIR
missing ENOENT
bad path EFAULT
bad result EFAULT
long path 0x2180
too long path ENAMETOOLONG
statx 0o20600 10 130 True True True True 0x7ff
statx of a descriptor 0o20600 10 130 True True True True 0x7ff
statx, wrong mask EINVAL
statx, wrong flags EINVAL
path before a hole 0x2180
path into a hole EFAULT
in another root file 0:0" with "$python program"

if /usr/bin/python3 -c "import evdev" 2>/dev/null; then
    list='timeout 600 /usr/bin/python3 -c "import evdev; print(*sorted(evdev.list_devices()))"'
    expect "evdev finds no devices" 0 "" on_device "$list"
    expect "evdev finds the devices" 0 "/dev/input/event0 /dev/input/event1 /dev/input/event2" with "$list"
else
    echo "left out: no evdev module for /usr/bin/python3"
fi
finish
