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
from device import ARGUMENTS, BOARDS, expect, fail, on_device

device.skip_without_device()
counting, print_files, header = ARGUMENTS

with open(header, encoding="utf-8") as text:
    functions = set(re.findall(r"^VELMOR_API int (\w+)", text.read(), re.MULTILINE))
expect("number of functions", len(functions), 51)

table = []  # (path, readers, writers)
for line in subprocess.run([print_files], capture_output=True, text=True, check=True).stdout.splitlines():
    path, readers, writers = line.split("\t")
    table.append((path, readers.split(), writers.split()))


def calls_and_acts(arguments, board):
    with tempfile.TemporaryDirectory() as scratch:
        log = os.path.join(scratch, "calls")
        result = on_device(["env", f"VELMOR_CALLS={log}", counting, *arguments], board=board, traced=True)
        calls = set()
        if os.path.exists(log):
            with open(log, encoding="utf-8") as lines:
                calls = set(lines.read().split())
        return calls, result.acts


reached = set()
seen = set()  # (path in the table, function, direction)
for board in BOARDS:
    # A feed within the shortest time needs a command that lasts.
    feeding = ("watchdog", "run", "--timeout", "1", "--", "sleep", "1")
    for arguments in [*COMMANDS, *ENDINGS, feeding]:
        if arguments == ("doctor",):
            continue
        calls, acts = calls_and_acts(arguments, board)
        reached |= calls
        users = calls | {"start"}
        for act in acts:
            if act["act"] != "open" or "errno" in act:
                continue
            directions = {"r": (1,), "w": (2,), "rw": (1, 2)}[act["mode"]]
            for direction in directions:
                rows = [row for row in table if fnmatch.fnmatch(act["path"], row[0]) and users & set(row[direction])]
                if not rows:
                    fail(f"{board}: {' '.join(arguments)}: {act['path']} ({act['mode']}) is not in the table for "
                         f"{', '.join(sorted(users))}")
                for row in rows:
                    seen |= {(row[0], user, direction) for user in users & set(row[direction])}

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
