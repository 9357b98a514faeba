# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/../common.sh"
/usr/bin/python3 -c "import serial" 2>/dev/null ||
    skip "no serial module for /usr/bin/python3; Debian's package python3-serial has it"
"$sim" run -- test -c /dev/ttymxc4 || skip "no pseudo-terminals, so the device has no serial lines"

cat >program <<'PROGRAM'
import subprocess
import sys
import time
import serial


def device(*words):
    command = [sys.argv[1], words[0], "--name", sys.argv[2], *words[1:]]
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout.strip()


port = serial.Serial("/dev/ttymxc4", 115200, timeout=20)
print(device("get", "ttymxc4.speed"))
port.baudrate = 9600
print(device("get", "ttymxc4.speed"), port.baudrate)
port.write(b"$PING")
port.flush()
device("wait-for", "ttymxc4.sent=$PING", "300s")
device("set", "ttymxc4.line", "$PONG")
while port.in_waiting < 7:
    time.sleep(0.01)
print(port.in_waiting, port.readline(), port.in_waiting)
port.send_break(0.01)

print(port.cts, port.dsr, port.cd, port.ri)
for line in "cts", "cd":
    device("set", "ttymxc4." + line, "1")
print(port.cts, port.dsr, port.cd, port.ri)
device("set", "ttymxc4.cts", "0")
print(port.cts, port.cd)

print(device("get", "ttymxc4.rts"), device("get", "ttymxc4.dtr"))
port.rts = False
print(device("get", "ttymxc4.rts"), device("get", "ttymxc4.dtr"))
port.rts = True
port.dtr = False
print(device("get", "ttymxc4.rts"), device("get", "ttymxc4.dtr"), device("get", "ttymxc3.dtr"))
port.close()
PROGRAM
expect "a program with Debian's serial module" 0 "115200
9600 9600
7 b'\$PONG\r\n' 0
False False False False
True False True False
False True
1 1
0 1
1 0 1" "$sim" run --name "on-$$" -- timeout 600 /usr/bin/python3 program "$sim" "on-$$"

cat >requests <<'PROGRAM'
import array
import ctypes
import fcntl
import os
import sys
from termios import TIOCMGET, TIOCMSET, TIOCM_CTS, TIOCM_DTR, TIOCM_RTS


def line(file, request, argument):
    try:
        return fcntl.ioctl(file, request, argument)
    except OSError as error:
        return os.strerror(error.errno)


port = os.open("/dev/ttymxc3", os.O_RDWR | os.O_NOCTTY)
state = array.array("i", [-1])
line(port, TIOCMGET, state)
print(state[0] == TIOCM_RTS | TIOCM_DTR)
line(port, TIOCMSET, array.array("i", [TIOCM_CTS | TIOCM_DTR]))
line(port, TIOCMGET, state)
print(state[0] == TIOCM_DTR)
ioctl = ctypes.CDLL(None, use_errno=True).ioctl
for request in TIOCMGET, TIOCMSET:
    print(ioctl(port, ctypes.c_ulong(request), None), os.strerror(ctypes.get_errno()))
# Terminals of the machine, then another file of the device.
paths = "/sys/class/thermal/thermal_zone0/temp", "/"
for file in int(sys.argv[1]), int(sys.argv[2]), *(os.open(path, os.O_RDONLY) for path in paths), 99:
    print(line(file, TIOCMGET, state))
PROGRAM
expect "single requests, and those on other files" 0 "True
True
-1 Bad address
-1 Bad address
Inappropriate ioctl for device
Inappropriate ioctl for device
Inappropriate ioctl for device
Inappropriate ioctl for device
Bad file descriptor" /usr/bin/python3 -c 'import os, sys
ends = os.openpty()
for end in ends:
    os.set_inheritable(end, True)
os.execv(sys.argv[1], sys.argv[1:] + [str(end) for end in ends])' \
    "$sim" run --trace trace -- timeout 600 /usr/bin/python3 requests
expect "the record of the one that FUSE serves" 0 '"request":"0x5415","in":"","out":"","result":-1' \
    sh -c "grep -m1 0x5415 trace | grep -o '\"request.*result\":[^,]*'"
expect "a value that no line has" 125 'velmor-sim: ttymxc4.cts: "2" should be 0 or 1' \
    "$sim" run --set ttymxc4.cts=2 -- true
finish
