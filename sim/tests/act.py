# SPDX-License-Identifier: MIT
"""The steps of "act do" in Python, with the standard library only."""

import errno
import fcntl
import os
import struct
import sys

EVIOCGRAB = 0x40044590
WDIOC_SETOPTIONS = 0x80045704
WDIOC_KEEPALIVE = 0x80045705
WDIOC_SETTIMEOUT = 0xC0045706
WDIOC_GETTIMEOUT = 0x80045707
EVIOCGABS = 0x80184540


def say_result(action):
    try:
        result = action()
        print("good")
        return result
    except OSError as error:
        print(errno.errorcode[error.errno])
        return None


def read_file(path):
    try:
        node = os.open(path, os.O_RDONLY)
    except OSError as error:
        print(errno.errorcode[error.errno])
        return
    print(os.read(node, 4096).decode().removesuffix("\n"))
    os.close(node)


def write_file(path, text):
    def action():
        node = os.open(path, os.O_WRONLY)
        try:
            os.write(node, text.encode())
        finally:
            os.close(node)

    say_result(action)


def show_attributes(path):
    there = os.stat(path)
    print("%o %d %d %d" % (there.st_mode, there.st_uid, there.st_gid, there.st_size))


def axes(path):
    node = os.open(path, os.O_RDONLY)
    for axis in range(4):
        print(struct.unpack("6i", fcntl.ioctl(node, EVIOCGABS + axis, bytes(24)))[0], end=" ")
    print()
    os.close(node)


def feed(path, seconds):
    node = os.open(path, os.O_WRONLY)
    timeout = say_result(lambda: fcntl.ioctl(node, WDIOC_SETTIMEOUT, struct.pack("i", int(seconds))))
    say_result(lambda: fcntl.ioctl(node, WDIOC_KEEPALIVE, 0))
    now = say_result(lambda: fcntl.ioctl(node, WDIOC_GETTIMEOUT, bytes(4)))
    print(*struct.unpack("i", timeout), *struct.unpack("i", now))
    say_result(lambda: os.write(node, b"V"))
    os.close(node)


def options(path, number):
    node = os.open(path, os.O_WRONLY)
    say_result(lambda: fcntl.ioctl(node, WDIOC_SETOPTIONS, struct.pack("i", int(number))))
    say_result(lambda: fcntl.ioctl(node, WDIOC_SETOPTIONS, 0))
    say_result(lambda: os.write(node, b"V"))
    os.close(node)


def grab(path):
    one = os.open(path, os.O_RDONLY)
    other = os.open(path, os.O_RDONLY)
    say_result(lambda: fcntl.ioctl(one, EVIOCGRAB, 1))
    say_result(lambda: fcntl.ioctl(other, EVIOCGRAB, 1))
    say_result(lambda: fcntl.ioctl(other, EVIOCGRAB, 0))
    say_result(lambda: fcntl.ioctl(one, EVIOCGRAB, 0))
    os.close(other)
    os.close(one)


words = iter(sys.argv[2:])
for step in words:
    path = next(words)
    if step == "read":
        read_file(path)
    elif step == "write":
        write_file(path, next(words))
    elif step == "stat":
        show_attributes(path)
    elif step == "entries":
        print(len(os.listdir(path)) + 2)  # listdir leaves . and .. out
    elif step == "axes":
        axes(path)
    elif step == "feed":
        feed(path, next(words))
    elif step == "options":
        options(path, next(words))
    elif step == "grab":
        grab(path)
