# SPDX-License-Identifier: MIT
"""What the tests share: velmorctl on the virtual device, the record of its acts, and the schema."""

import itertools
import json
import os
import pty
import select
import subprocess
import sys
import tempfile

import jsonschema

SKIPPED = 77
HERE = os.path.dirname(os.path.abspath(__file__))

with open(os.path.join(HERE, "..", "schema.json"), encoding="utf-8") as schema_file:
    SCHEMA = jsonschema.Draft7Validator(json.load(schema_file))

# usage of each test: TEST VELMOR-SIM VELMORCTL DIRECTORY-OF-THE-LIBRARY DIRECTORY-OF-THE-LIBRARY-OF-ALL-FAMILIES ...
SIM, CTL, *LIBRARIES = (os.path.abspath(each) for each in sys.argv[1:5])
ARGUMENTS = sys.argv[5:]
BOARDS = ("device", "all-families")

NUMBERS = itertools.count()

failures = 0


def fail(text):
    """Report a failure and go on."""
    global failures
    failures += 1
    print("FAILED:", text)


def expect(what, got, wanted):
    if got != wanted:
        fail(f"{what}\n  got:    {got!r}\n  should: {wanted!r}")


def finish():
    sys.exit(1 if failures else 0)


def skip_without_device():
    tried = subprocess.run([SIM, "run", "--", "true"], capture_output=True, text=True, check=False)
    if tried.returncode == 125 and ("/dev/fuse" in tried.stderr or "namespace" in tried.stderr):
        print("skipped:", tried.stderr.strip())
        sys.exit(SKIPPED)


def environment(board):
    """The library of a board, for programs on the device; any other board has that of this device."""
    return ["env", "LD_LIBRARY_PATH=" + LIBRARIES[1 if board == "all-families" else 0]]


class Result:
    def __init__(self, what, status, out, err, acts):
        self.what = what
        self.status = status
        self.out = out
        self.err = err
        self.acts = acts

    def document(self):
        """The JSON document that it printed, which is valid and fits the exit status."""
        documents = self.documents()
        if len(documents) != 1:
            fail(f"{self.what}: {len(documents)} documents")
            return {"command": "", "items": []}
        kinds = [item["error"]["kind"] for item in documents[0]["items"] if item["error"]]
        others = [kind for kind in kinds if kind != "not fitted"]
        absent = kinds and len(kinds) == len(documents[0]["items"]) and not others
        wanted = {"failed": 1, "not permitted": 4}[others[0]] if others else 3 if absent else 0
        expect(f"{self.what}: exit status of {self.out.strip()}", self.status, wanted)
        return documents[0]

    def documents(self):
        documents = []
        for line in self.out.splitlines():
            try:
                documents.append(json.loads(line))
                SCHEMA.validate(documents[-1])
            except (ValueError, jsonschema.ValidationError) as error:
                fail(f"{self.what}: {line!r}: {error}")
        return documents

    def values(self):
        """Name and value of each item."""
        return {item["name"]: item["value"] for item in self.document()["items"]}


def on_device(command, board="device", options=(), traced=False, stdin="", timeout=60):
    """Run a command on the virtual device. The library is that of the board."""
    with tempfile.TemporaryDirectory() as scratch:
        trace = os.path.join(scratch, "trace")
        words = [SIM, "run", "--board", board, *options]
        if traced:
            words += ["--trace", trace]
        words += ["--", *environment(board), *command]
        done = subprocess.run(words, capture_output=True, text=True, errors="replace", input=stdin, timeout=timeout,
                              check=False)
        acts = []
        if traced:
            with open(trace, encoding="utf-8") as lines:
                acts = [json.loads(line) for line in lines]
    what = f"{board}: {' '.join(command[1:])} {' '.join(options)}"
    return Result(what, done.returncode, done.stdout, done.stderr, acts)


def ctl(*arguments, **options):
    return on_device([CTL, *arguments], **options)


class Session:
    """A device that runs one command after the other, and keeps its state."""

    def __init__(self, board):
        self.board = board
        self.name = f"session.{os.getpid()}.{board}"
        self.scratch = tempfile.TemporaryDirectory()
        trace = os.path.join(self.scratch.name, "trace")
        runner = [sys.executable, "-B", os.path.join(HERE, "runner.py")]
        self.process = subprocess.Popen([SIM, "run", "--name", self.name, "--board", board, "--trace", trace, "--",
                                         *environment(board), *runner],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.run(["true"])  # now there is a record
        self.trace = open(trace, encoding="utf-8")
        self.start()  # the first one finds other values of the PWM line than the next ones

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.process.stdin.close()
        expect(f"{self.board}: end of the session", self.process.wait(60), 0)
        self.process.stdout.close()
        self.trace.close()
        self.scratch.cleanup()

    def run(self, command):
        self.process.stdin.write(json.dumps(command) + "\n")
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())

    def ctl(self, *arguments, program=(CTL,), fault="", nth=None):
        """Run velmorctl, with a fault of the device: of the nth such act, or of all of them until it ends."""
        if fault:
            self.command("fault", f"{fault}:{nth}" if nth else fault)
        self.trace.seek(0, os.SEEK_END)
        done = self.run([*program, *arguments])
        if fault and not nth:
            self.command("clear")
        acts = [json.loads(line) for line in self.trace]
        own = [act for act in acts if act.get("pid") == done["pid"]]
        what = f"{self.board}: {' '.join(arguments)} {fault} {nth or ''}"
        return Result(what, done["status"], done["out"], done["err"], own)

    def prepare(self, arguments):
        """Undo what a command has done, if it matters to the next run of the same command."""
        if arguments[:2] == ("mrfi", "unlink"):
            self.ctl("mrfi", "link", *arguments[2:])
        if arguments[:2] == ("io", "config"):
            self.start()

    def start(self):
        """A call that uses no file: the record shows the start alone."""
        return self.ctl("mrfi", "class", "0x1").acts

    def command(self, verb, *words):
        """A command of velmor-sim for this device. Returns what it prints."""
        done = subprocess.run([SIM, verb, "--name", self.name, *words], capture_output=True, text=True, check=True)
        return done.stdout


def script(text, board="device", **options):
    """Run a shell script on the device. $ctl is velmorctl, and "$sim VERB $run" a command of velmor-sim."""
    name = f"script.{os.getpid()}.{next(NUMBERS)}"
    setting = f"ctl='{CTL}'; sim='{SIM}'; run='--name {name}'\n"
    options["options"] = ["--name", name, *options.get("options", ())]
    return on_device(["bash", "-c", setting + text], board=board, **options)


def on_terminal(*arguments, answer=b"", settings=()):
    """velmorctl on a terminal, with an answer to its question. Returns the exit status and what was printed."""
    parent, child = pty.openpty()
    process = subprocess.Popen([SIM, "run", "--", *environment("device"), *settings, CTL, *arguments],
                               stdin=child, stdout=child, stderr=child, start_new_session=True)
    os.close(child)
    text = b""
    while select.select([parent], [], [], 30)[0]:
        try:
            text += os.read(parent, 4096)
        except OSError:  # the terminal has no user any more
            break
        if answer and b"[y/N]" in text:
            os.write(parent, answer)
            answer = b""
    os.close(parent)
    return process.wait(30), text.decode()
