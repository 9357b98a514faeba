# SPDX-License-Identifier: MIT
"""What the tests share: velmorctl on the virtual device, the record of its acts, and the schema."""

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
    if tried.returncode == 125:
        print("skipped:", tried.stderr.strip())
        sys.exit(SKIPPED)


def environment(board, **more):
    library = LIBRARIES[BOARDS.index(board)]
    return [f"LD_LIBRARY_PATH={library}"] + [f"{key}={value}" for key, value in more.items()]


class Result:
    def __init__(self, what, done, acts):
        self.what = what
        self.status = done.returncode
        self.out = done.stdout
        self.err = done.stderr
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
        words += ["--", "env", *environment(board), *command]
        done = subprocess.run(words, capture_output=True, text=True, input=stdin, timeout=timeout, check=False)
        acts = []
        if traced:
            with open(trace, encoding="utf-8") as lines:
                acts = [json.loads(line) for line in lines]
    return Result(f"{board}: {' '.join(command[1:])} {' '.join(options)}", done, acts)


def ctl(*arguments, **options):
    return on_device([CTL, *arguments], **options)


def script(text, board="device", **options):
    """Run a shell script on the device; $ctl is velmorctl, and $get NAME prints a value of the device."""
    name = f"ctl.{os.getpid()}"
    setting = f"ctl='{CTL}'; get='{SIM} get --name {name}'; set='{SIM} set --name {name}'\n"
    options["options"] = ["--name", name, *options.get("options", ())]
    return on_device(["bash", "-c", setting + text], board=board, **options)


def on_terminal(*arguments, answer=b"", settings=()):
    """velmorctl on a terminal, with an answer to its question. Returns the exit status and what was printed."""
    parent, child = pty.openpty()
    process = subprocess.Popen([SIM, "run", "--", "env", *environment("device"), *settings, CTL, *arguments],
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
