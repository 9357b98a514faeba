# SPDX-License-Identifier: MIT
"""Runs on the device, and talks to its control socket as no second terminal of velmor-sim would.

usage: protocol.py RUN USER SCENARIO VELMOR-SIM
"""

import json
import socket
import subprocess
import sys

ADDRESS = "\0velmor-sim/%s/%s" % (sys.argv[2], sys.argv[1])
GPIO = "/sys/class/gpio/"


class Connection:
    """A connection, on which a list of words, or a text as it is, has been sent as a command."""

    def __init__(self, words):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(30)
        self.socket.connect(ADDRESS)
        self.send(words)
        self.answers = self.socket.makefile("rb")

    def send(self, words):
        text = words if isinstance(words, str) else json.dumps(words)
        self.socket.sendall(text.encode() + b"\n")

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
    relations = {each: Connection(["wait-for", line + each, "300"]) for each in ("!=0", "<0", "<=-1", ">0", ">=1", "=1")}
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
    first = ["wait-for", "thermal.temp=1", "4s"]
    another = ["wait-for", "thermal.temp=2", "300s"]
    wait = Connection(first)
    served()
    wait.send(["set", "thermal.temp", "3"])
    print(wait.line()["text"], len(wait.answers.read()))
    print(Connection(["get", "thermal.temp"]).line()["text"], end="")
    closed = Connection(first)
    later = Connection(["wait-for", "thermal.temp=2", "5s"])
    served()
    closed.send(another)
    served()
    closed.answers.close()
    closed.socket.close()
    print(later.line()["text"])


def raw_texts(count, length):
    """Changes the text of the temperature `count` times."""
    for i in range(count):
        Connection(["raw", "thermal.temp", str(i) + "x" * length]).line()


def late():
    watch = Connection(["watch"] + ["thermal.temp"] * 10)
    raw_texts(20, 50000)
    expected = ["thermal.temp=45000\n"] * 10
    for i in range(20):
        expected += ["thermal.temp=%d%s\n" % (i, "x" * 50000)] * 10
    print([watch.line()["text"] for _ in expected] == expected)
    # So long a command is refused, but not without a word.
    print(Connection(["raw", "thermal.temp", "x" * 70000]).line()["text"])


def unread():
    command = [sys.argv[4], "watch", "--name", sys.argv[1]] + ["thermal.temp"] * 10
    watch = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    print(watch.stdout.readline().decode(), end="")
    raw_texts(50, 50000)
    print(watch.communicate(timeout=60)[1].decode(), end="")
    print(watch.returncode)


def nested():
    for text in ("[" * 30000 + "]" * 30000, '{"a":' * 10000 + "1" + "}" * 10000, "[1]", '["get"'):
        print(Connection(text).line()["text"])


globals()[sys.argv[3]]()
