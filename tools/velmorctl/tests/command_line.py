# SPDX-License-Identifier: MIT
"""usage: command_line.py VELMOR-SIM VELMORCTL LIBRARY LIBRARY-OF-ALL-FAMILIES MANUAL COMPLETION HEADER

Wrong use is refused and says what would be right. Help, manual, completion and the header agree on names. The
completion works in a real shell, and the manual's examples can be run.
"""

import os
import pty
import re
import select
import subprocess
import time

import device
from device import ARGUMENTS, CTL, LIBRARIES, ctl, environment, expect, fail

manual_file, completion_file, header_file = ARGUMENTS
with open(manual_file, encoding="utf-8") as text:
    manual = text.read().replace("\\-", "-")
with open(completion_file, encoding="utf-8") as text:
    completion = text.read()
with open(header_file, encoding="utf-8") as text:
    functions = re.findall(r"^VELMOR_API int (\w+)", text.read(), re.MULTILINE)


def run(*arguments):
    """Without a device: no call may be made."""
    return subprocess.run([*environment("device"), CTL, *arguments], capture_output=True, text=True, check=False)


WRONG = {
    ("backlight", "set", "5abc"): "use a level from 0 to 255, or 0% to 100%",
    ("backlight", "set", "300"): "use a level from 0 to 255, or 0% to 100%",
    ("backlight", "set", "101%"): "use a level from 0 to 255, or 0% to 100%",
    ("backlight", "set", "%"): "use a level from 0 to 255, or 0% to 100%",
    ("backlight", "set", ""): "an argument is empty",
    ("mrfi", "autolink", ""): "an argument is empty",
    ("backlight", "set", " 5"): "use a level from 0 to 255, or 0% to 100%",
    ("backlight", "set", "0x10"): "use a level from 0 to 255, or 0% to 100%",
    ("backlight", "set"): "LEVEL is required",
    ("backlight", "set", "5", "6"): 'backlight set: "6" is one argument too many',
    ("backlight", "set", "--", "-5"): "use a level",
    ("backlight", "--index", "1x"): "use a whole number from 0",
    ("backlight", "--index", "-1"): "use a whole number from 0",
    ("display", "maybe"): 'display: "maybe" is not a verb; use on or off',
    ("led", "set", "red"): "six hexadecimal digits",
    ("led", "set", "#ff001"): "six hexadecimal digits",
    ("led", "set", "#ff00zz"): "six hexadecimal digits",
    ("io", "get"): "io get: LINE is required; see velmorctl io get --help",
    ("io", "get", "x"): "LINE: \"x\" is not valid; use a whole number from 0",
    ("io", "set", "9", "2"): "use a whole number from 0 to 1",
    ("io", "set", "9", "1 "): "use a whole number from 0 to 1",
    ("io", "config", "0", "--duty", "101"): "use a whole number from 0 to 100",
    ("io", "config", "0", "--frequency", "0"): "use a whole number from 1 to 2000000",
    ("io", "--index", "1"): "io has no index",
    ("thermal", "--json", "--value"): "exclude each other",
    ("status", "--value"): "use --json",
    ("antenna",): "use wifi or bluetooth",
    ("antenna", "wifi", "2"): "use a whole number from 0 to 1",
    ("serial", "mux", "0", "left"): "use a whole number from 0",
    ("serial", "function", "0", "gpio"): "use serial, key or a number",
    ("mrfi", "link", "0x"): "hexadecimal digits",
    ("mrfi", "link", "123456789"): "hexadecimal digits",
    ("mrfi", "class", "12g"): "hexadecimal digits",
    ("mrfi", "autolink", "maybe"): "use off or on",
    ("power",): "power: the verb is missing; use off, reboot or suspend",
    ("power", "on"): 'power: "on" is not a verb; use off, reboot or suspend',
    ("watchdog",): "use run",
    ("watchdog", "run"): "COMMAND is required",
    ("nothing",): '"nothing" is not an object',
    ("--nothing",): '"--nothing" is not an option',
}
for arguments, right in WRONG.items():
    result = run(*arguments)
    expect(f"{arguments}: exit status", result.returncode, 2)
    expect(f"{arguments}: prints on standard output", result.stdout, "")
    if not result.stderr.startswith("velmorctl: ") or right not in result.stderr:
        fail(f"{arguments}: {result.stderr!r} does not say {right!r}")

expect("--version", re.fullmatch(r"velmorctl \d+\.\d+\.\d+\n", run("--version").stdout) is not None, True)
with open("/dev/full", "w", encoding="utf-8") as full:
    done = subprocess.run([*environment("device"), CTL, "doctor"], stdout=full, stderr=subprocess.DEVNULL, check=False)
    expect("standard output that is full", done.returncode, 1)


# ---- Names ----------------------------------------------------------------------------------------------------------


def section(help_text, title):
    """The first words of the lines below a title of the help."""
    found = re.search(rf"^{title}:\n((?:  .*\n)+)", help_text, re.MULTILINE)
    return re.findall(r"^  (\S+)", found.group(1), re.MULTILINE) if found else []


def options_of(help_text):
    return set(re.findall(r"^  (?:-\w,)?(--[a-z]+)", help_text, re.MULTILINE))


def manual_section(name):
    return re.search(rf"^\.SH {re.escape(name)}\n(.*?)(?=^\.SH |\Z)", manual, re.MULTILINE | re.DOTALL).group(1)


def plain(roff):
    return re.sub(r'\\f[BIRP]|^\.[A-Z]+ ?|"', "", roff, flags=re.MULTILINE)


commands_text = plain(manual_section("COMMANDS"))
options_text = plain(manual_section("OPTIONS")) + commands_text
help_text = run("--help").stdout
objects = section(help_text, "Objects")
all_commands = []
for each in objects:
    of_object = run(each, "--help").stdout
    verbs = section(of_object, "Verbs")
    all_commands += [(each,)] + [(each, verb) for verb in verbs]
    for verb in verbs:
        for option in options_of(run(each, verb, "--help").stdout) - {"--help"}:
            if option not in options_text:
                fail(f"{each} {verb} {option} is not in the manual")
for words in all_commands:
    if not re.search(rf"^{' '.join(words)}\b", commands_text, re.MULTILINE):
        fail(f"{' '.join(words)} is not in the manual's COMMANDS")
for heading in re.findall(r"^\.BI? (.*)", manual_section("COMMANDS"), re.MULTILINE):
    words = tuple(re.match(r'"?([a-z ]*)', heading).group(1).split())
    if words and words not in all_commands:
        fail(f"the manual's {' '.join(words)} is no command")
for option in options_of(help_text):
    if option not in options_text:
        fail(f"{option} is not in the manual")
for option in set(re.findall(r"--[a-z]+", options_text)):
    if not any(option in run(*words, "--help").stdout for words in [(), *all_commands]):
        fail(f"the manual's {option} is not in the help")
for name in ("NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "OPTIONS", "OUTPUT (JSON)", "EXIT STATUS", "PERMISSIONS",
             "FILES", "HAZARDS", "EXAMPLES", "SEE ALSO"):
    if not re.search(rf'^\.SH "?{re.escape(name)}"?$', manual, re.MULTILINE):
        fail(f"the manual has no section {name}")

# Every family of the header has an object.
FAMILIES = {"car": "motion", "es": "echosounder", "led": "led"}
for function in functions:
    family = function.split("_", maxsplit=1)[0]
    if FAMILIES.get(family, family) not in objects:
        fail(f"no object for {function}")


# ---- Completion -----------------------------------------------------------------------------------------------------


class Shell:
    """An interactive bash with the completion, on a terminal."""

    def __init__(self):
        self.terminal, child = pty.openpty()
        setting = {"PATH": os.path.dirname(CTL) + ":" + os.environ["PATH"], "LD_LIBRARY_PATH": LIBRARIES[0],
                   "TERM": "dumb", "PS1": "> ", "INPUTRC": "/dev/null", "HISTFILE": ""}
        self.process = subprocess.Popen(["bash", "--norc", "--noprofile", "-i"], stdin=child, stdout=child,
                                        stderr=child, env=setting, start_new_session=True)
        os.close(child)
        self.type(f". {completion_file}; bind 'set show-all-if-ambiguous on'; bind 'set enable-bracketed-paste off'; "
                  "echo rea''dy\n")
        self.wait_for(["ready\r\n> "])

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self.terminal)

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def wait_for(self, patterns, patience=30):
        """What is printed until all of these patterns have appeared, or the patience in seconds ends."""
        text = ""
        end = time.monotonic() + patience
        while not all(re.search(pattern, text) for pattern in patterns) and time.monotonic() < end:
            if select.select([self.terminal], [], [], 0.3)[0]:
                text += os.read(self.terminal, 4096).decode()
        return text


shell = Shell()


def check_completion(line, *words, without=()):
    """The tab key after this line offers these words."""
    shell.type(line)
    shell.wait_for([re.escape(line) + "$"])
    shell.type("\t")
    pattern = {word: rf"(?<![\w-]){re.escape(word)}(?!\w)" for word in (*words, *without)}
    # Waiting for words that should not come takes a second.
    text = shell.wait_for([pattern[word] for word in words or without], patience=30 if words else 1)
    shell.type("\x15")  # erases the line
    shell.type("echo ne''xt\n")
    text += shell.wait_for(["next\r\n> "])
    # Several words are listed below the line, and the line is printed again below them.
    offers = text.split("> velmorctl")[0].split("echo ne")[0]
    for word in pattern:
        offered = re.search(pattern[word], offers) is not None
        expect(f"completing {line!r} offers {word!r}: {text!r}", offered, word in words)


check_completion("velmorctl ", *objects)
check_completion("velmorctl back", "light ")
for each in objects:
    verbs = [words[1] for words in all_commands if words[0] == each and len(words) > 1]
    if verbs:
        check_completion(f"velmorctl {each} ", *verbs)
check_completion("velmorctl mrfi autolink ", "on", "off")
check_completion("velmorctl antenna wifi ", "0", "1")
check_completion("velmorctl io set 9 ", "0", "1")
check_completion("velmorctl io get ", "0", "9", "11")
check_completion("velmorctl serial mux 0 ", "0", "1", "2")
check_completion("velmorctl serial function 0 ", "serial", "key")
check_completion("velmorctl backlight --", "--json", "--value", "--index", "--watch")
check_completion("velmorctl io config 0 --", "--frequency", "--duty")
check_completion("velmorctl backlight --index ", "0", "1")
check_completion("velmorctl --index=", "0", "1", without=["status"])
check_completion("velmorctl --index=1 backl", "ight ")
check_completion("velmorctl --index 1 --watch backl", "ight ")
check_completion("velmorctl watch ther", "mal ")
check_completion("velmorctl watchdog run -- ls --", without=["--json", "--help"])
check_completion("velmorctl watchdog run -- cat /proc/self/envir", "on", without=["backlight"])
check_completion("velmorctl --json backlight ", "set ")
shell.close()

# The completion skips the values of these options.
with_value = set(re.findall(r"--[a-z]+", re.search(r"^ *(--\S+ \|.*)\)$", completion, re.MULTILINE).group(1)))
helps = [help_text] + [run(*words, "--help").stdout for words in all_commands]
expect("options with a value in the completion", with_value,
       {option for each in helps for option in re.findall(r"^  (--[a-z]+) [A-Z]", each, re.MULTILINE)})

# ---- The manual's examples ------------------------------------------------------------------------------------------

device.skip_without_device()
examples = re.search(r"\.nf\n(.*?)\.fi", manual_section("EXAMPLES"), re.DOTALL).group(1).splitlines()
expect("examples", len(examples) >= 5, True)
for example in examples:
    line = example.replace("\\(aq", "'").replace("./my-app", "true").replace("--watch", "--watch --count 1")
    result = device.on_device(["bash", "-c", f"PATH={os.path.dirname(CTL)}:$PATH; {line}"], board="all-families")
    expected = 121 if "reboot" in example else 0
    expect(f"example {line}", (result.status, result.err if expected == 0 else ""), (expected, ""))
expect("an unknown object on the device", ctl("nothing").status, 2)
device.finish()
