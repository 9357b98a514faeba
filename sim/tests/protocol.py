# SPDX-License-Identifier: MIT
"""Runs on the device, and talks to its control socket as no second terminal of velmor-sim would.

usage: protocol.py RUN USER SCENARIO
"""

import json
import socket
import sys

ADDRESS = "\0velmor-sim/%s/%s" % (sys.argv[2], sys.argv[1])
GPIO = "/sys/class/gpio/"


class Connection:
    """A connection, on which lists of words have been sent as commands."""

    def __init__(self, *commands):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(ADDRESS)
        self.socket.sendall("".join(json.dumps(words) + "\n" for words in commands).encode())
        self.answers = self.socket.makefile("rb")

    def line(self):
        return json.loads(self.answers.readline())


def served():
    """Returns when the run has read everything that was sent before."""
    Connection(["clear"]).line()


def write(path, text):
    with open(path, "w") as file:
        file.write(text)


def vanish():
    line = GPIO + "gpio37/value"
    write(GPIO + "export", "37")
    watch = Connection(["watch", line])
    print(watch.line()["text"], end="")
    relations = {each: Connection(["wait-for", line + each, "20"]) for each in ("!=0", "<0", "<=-1", ">0", ">=1", "=1")}
    empty = Connection(["wait-for", line + "=", "1500ms"])
    served()
    write(GPIO + "unexport", "37")
    print(watch.line()["text"], end="")
    print("empty", empty.line()["good"])
    write(GPIO + "export", "37")
    print(watch.line()["text"], end="")
    write(GPIO + "gpio37/direction", "high")
    print(watch.line()["text"], end="")
    for each in ("!=0", ">0", ">=1", "=1"):
        print(each, relations[each].line()["good"])


globals()[sys.argv[3]]()
