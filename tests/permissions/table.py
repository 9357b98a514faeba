# SPDX-License-Identifier: MIT
"""usage: table.py VELMOR-SIM CALL_FUNCTION LIBRARY LIBRARY-OF-ALL-FAMILIES HEADER RULES DOCUMENT [--update]

Records which files each function opens on the virtual device, and compares the tables of the document with that. The
udev rules change the files that the group needs, and no others. --update rewrites the tables.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

import rules

SIM, CALL_FUNCTION, LIBRARY, ALL_FAMILIES, HEADER, RULES, DOCUMENT = (os.path.abspath(each) for each in sys.argv[1:8])
UPDATE = sys.argv[8:] == ["--update"]
SKIPPED = 77
NOT_SUPPORTED = "-95"

BOARDS = {"device": LIBRARY, "all-families": ALL_FAMILIES}

# Where index 0 does not show everything.
INDEXES = {
    "device": {"io_set": (0, 9, 11), "io_get": (0, 9, 11)},
    "all-families": {"backlight_set": (1,), "backlight_get": (1,), "io_set": (1,), "io_get": (2,)},
}
# A function that needs another one before it.
AFTER = {"watchdog_refresh": ("watchdog_enable",), "watchdog_disable": ("watchdog_enable",)}
# It needs no hardware, but starts the board.
START = ("gps_info_get",)

tried = subprocess.run([SIM, "run", "--", "true"], capture_output=True, text=True, check=False)
if tried.returncode == 125:
    print("skipped:", tried.stderr.strip())
    sys.exit(SKIPPED)


def record(board, calls):
    """The result of the last call, and all acts except closing: (act, file or command, mode or None)."""
    with tempfile.TemporaryDirectory() as scratch:
        trace = os.path.join(scratch, "trace")
        command = [SIM, "run", "--board", board, "--trace", trace, "--", "env", f"LD_LIBRARY_PATH={BOARDS[board]}",
                   CALL_FUNCTION, *calls]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        with open(trace, encoding="utf-8") as lines:
            acts = [json.loads(line) for line in lines]
    kept = [(act["act"], act.get("path", act.get("command")), act.get("mode"))
            for act in acts if act["act"] in ("open", "read", "write", "ioctl", "restart")]
    return (done.stdout.splitlines() or [""])[-1], kept


def joined(paths):
    """Paths in Markdown, those of one folder together."""
    folders = {}
    for path in paths:
        folder, name = os.path.split(re.sub(r"/gpio\d+/", "/gpioN/", path))
        names = folders.setdefault(folder, [])
        if name not in names:
            names.append(name)
    texts = []
    for folder, names in folders.items():
        if len(names) > 5:
            texts.append(f"`{folder}/`...")
        else:
            texts.append(f"`{folder}/" + "`, `".join(names) + "`")
    return ", ".join(texts) or "nothing"


def opened(acts, direction):
    return [path for act, path, mode in acts if act == "open" and direction in mode]


def cells(acts, permitted):
    """What these acts need: opened for reading, opened for writing, who may."""
    reads = joined(opened(acts, "r"))
    written = opened(acts, "w")
    writes = joined(written)
    who = "group" if permitted is None or set(written) <= permitted else "root"
    used = {path for act, path, _ in acts if act in ("write", "ioctl")} - set(written) - set(opened(acts, "r"))
    if used:
        writes = f"{joined(sorted(used))}, which is open already"
    for act, command, _ in acts:
        if act == "restart":
            who = "root"
            if command.startswith("/"):
                reads = f"runs `{command}`"
            else:
                writes = "the restart call"
    return reads, writes, who


def rows_of(board, functions, permitted):
    """
    {(function, index or None): cells} of those that the board has; the start is the function "the first call". And the
    files that all but the power functions open for writing.
    """
    start = record(board, START)[1]
    rows = {("the first call", None): cells(start, permitted)}
    written = set(opened(start, "w"))
    for function in functions:
        indexes = INDEXES[board].get(function, (0,))
        for index in indexes:
            before = AFTER.get(function, ())
            base = record(board, before)[1] if before else start
            result, acts = record(board, (*before, f"{function}:{index}"))
            if acts[:len(base)] != base:
                raise ValueError(f"{board}: {function}: begins otherwise than {before or START}")
            if not result.startswith(NOT_SUPPORTED):
                rows[function, index if len(indexes) > 1 else None] = cells(acts[len(base):], permitted)
                if not function.startswith("power_"):
                    written |= set(opened(acts, "w"))
    return rows, written


def table(rows, with_who):
    """In Markdown; functions with the same cells share a row."""
    shared = {}
    for (function, index), row in rows.items():
        name = function if " " in function else f"`{function}`" + ("" if index is None else f" {index}")
        shared.setdefault(row, []).append(name)
    lines = ["| functions | opens for reading | opens for writing |" + (" who may |" if with_who else ""),
             "|---|---|---|" + ("---|" if with_who else "")]
    for (reads, writes, who), names in shared.items():
        lines.append(f"| {', '.join(names)} | {reads} | {writes} |" + (f" {who} |" if with_who else ""))
    return "\n".join(lines) + "\n"


with open(HEADER, encoding="utf-8") as text:
    functions = re.findall(r"^VELMOR_API int (\w+)", text.read(), re.MULTILINE)
changed = {path for path, change in rules.changes(RULES).items() if change["group"] == rules.GROUP}
device, needed = rows_of("device", functions, changed)
families, _ = rows_of("all-families", functions, None)
others = {row: files for row, files in families.items()
          if " " not in row[0] and (row not in device or files[:2] != device[row][:2])}

with open(DOCUMENT, encoding="utf-8") as text:
    document = text.read()
wanted = document
for title, lines in (("files on this device", table(device, True)), ("files on other boards", table(others, False))):
    pattern = f"(<!-- begin: {title} -->\n).*?(<!-- end: {title} -->\n)"
    wanted, count = re.subn(pattern, lambda found, lines=lines: found[1] + lines + found[2], wanted, flags=re.DOTALL)
    if count != 1:
        sys.exit(f"{DOCUMENT}: {count} places for the table: {title}")

failed = False
if changed != needed:
    print(f"{RULES}: changes {sorted(changed - needed)} without need, and not {sorted(needed - changed)}")
    failed = True
if UPDATE:
    with open(DOCUMENT, "w", encoding="utf-8") as text:
        text.write(wanted)
elif wanted != document:
    print(f"{DOCUMENT}: its tables differ from what is recorded. To rewrite them:\n ", sys.executable, *sys.argv,
          "--update")
    failed = True
sys.exit(1 if failed else 0)
