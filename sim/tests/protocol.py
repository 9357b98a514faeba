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
    """A connection, on which a list of words has been sent as a command."""

    def __init__(self, words):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(ADDRESS)
        self.send(words)
        self.answers = self.socket.makefile("rb")

    def send(self, words):
        self.socket.sendall(json.dumps(words).encode() + b"\n")

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


def second():
    first = ["wait-for", "thermal.temp=1", "300ms"]
    another = ["wait-for", "thermal.temp=2", "20"]
    wait = Connection(first)
    served()
    wait.send(["set", "thermal.temp", "3"])
    print(wait.line()["text"], len(wait.answers.read()))
    print(Connection(["get", "thermal.temp"]).line()["text"], end="")
    closed = Connection(first)
    later = Connection(["wait-for", "thermal.temp=2", "1s"])
    served()
    closed.send(another)
    served()
    closed.answers.close()
    closed.socket.close()
    print(later.line()["text"])


globals()[sys.argv[3]]()
