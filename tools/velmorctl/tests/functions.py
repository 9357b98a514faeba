# SPDX-License-Identifier: MIT
"""usage: functions.py VELMOR-SIM VELMORCTL LIBRARY LIBRARY-OF-ALL-FAMILIES COUNTING-VELMORCTL PRINT-FILES HEADER

Some command reaches every function of the library, and the table of files says what each function touches. The
counting velmorctl appends the name of each function that it calls to the file that VELMOR_CALLS names.
"""

import fnmatch
import os
import re
import subprocess
import tempfile

import device
from commands import COMMANDS, ENDINGS
from device import ARGUMENTS, BOARDS, Session, expect, fail, on_device

device.skip_without_device()
counting, print_files, header = ARGUMENTS

with open(header, encoding="utf-8") as text:
    functions = set(re.findall(r"^VELMOR_API int (\w+)", text.read(), re.MULTILINE))
expect("number of functions", len(functions), 51)

table = []  # (path, readers, writers)
for line in subprocess.run([print_files], capture_output=True, text=True, check=True).stdout.splitlines():
    path, readers, writers, _ = line.split("\t")
    table.append((path, readers.split(), writers.split()))


def calls_and_acts(run, arguments, status):
    """The functions that a command calls, and its acts."""
    with tempfile.TemporaryDirectory() as scratch:
        log = os.path.join(scratch, "calls")
        result = run(*arguments, program=("env", f"VELMOR_CALLS={log}", counting))
        expect(f"{result.what}: exit status", result.status, status)
        calls = set()
        if os.path.exists(log):
            with open(log, encoding="utf-8") as lines:
                calls = set(lines.read().split())
        return calls, result.acts


reached = set()
seen = set()  # (path in the table, function, direction)


def check(what, calls, acts):
    """Each file that was opened is in the table, for one of these calls."""
    global reached, seen
    reached |= calls
    users = calls | {"start"}
    for act in acts:
        if act["act"] != "open" or "errno" in act:
            continue
        for direction in {"r": (1,), "w": (2,), "rw": (1, 2)}[act["mode"]]:
            rows = [row for row in table if fnmatch.fnmatch(act["path"], row[0]) and users & set(row[direction])]
            if not rows:
                fail(f"{what}: {act['path']} ({act['mode']}) is not in the table for {', '.join(sorted(users))}")
            for row in rows:
                seen |= {(row[0], user, direction) for user in users & set(row[direction])}


# A feed within the shortest time needs a command that lasts.
FEEDING = ("watchdog", "run", "--timeout", "4", "--", "sleep", "1.5")
for number, board in enumerate(BOARDS):
    with Session(board) as session:
        statuses = {arguments: expectations[number][0] for arguments, expectations in COMMANDS.items()}
        for arguments, status in {**statuses, FEEDING: 0}.items():
            if arguments != ("doctor",):
                session.prepare(arguments)
                check(f"{board}: {' '.join(arguments)}", *calls_and_acts(session.ctl, arguments, status))
    for arguments, statuses in ENDINGS.items():
        def on_its_own(*words, program):
            return on_device([*program, *words], board=board, traced=True)
        check(f"{board}: {' '.join(arguments)}", *calls_and_acts(on_its_own, arguments, statuses[number]))

expect("functions that no command reaches", functions - reached, set())
expect("calls that are no functions", reached - functions, set())

# The device's own programs and nodes that a record shows in another way.
unseen = {
    ("/sbin/reboot", "power_reboot", 1),
    ("/sbin/poweroff", "power_shutdown", 1),
    ("/dev/watchdog", "watchdog_refresh", 2),
    ("/dev/watchdog", "watchdog_disable", 2),
}
for path, readers, writers in table:
    for direction, users in ((1, readers), (2, writers)):
        for user in users:
            if user not in functions | {"start"}:
                fail(f"{path}: {user} is no function")
            if (path, user, direction) not in seen | unseen:
                fail(f"{path}: no record shows that {user} {'reads' if direction == 1 else 'writes'} it")
device.finish()
