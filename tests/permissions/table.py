# SPDX-License-Identifier: MIT
"""
usage: table.py VELMOR-SIM CALL_FUNCTION LIBRARY LIBRARY-OF-ALL-FAMILIES PRINT-FILES HEADER RULES DOCUMENT [--update]

Records which files each function opens on the virtual device, and compares the tables of the document, and velmorctl's
table of files, with that. The udev rules change the files that the group needs, and no others. --update rewrites the
tables of the document.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import textwrap

import rules

SIM, CALL_FUNCTION, LIBRARY, ALL_FAMILIES, PRINT_FILES, HEADER, RULES, DOCUMENT = map(os.path.abspath, sys.argv[1:9])
UPDATE = sys.argv[9:] == ["--update"]
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
# It computes the number from the serial number if the hardware table has none.
NUMBER = "platform_can_unique_num_get"

tried = subprocess.run([SIM, "run", "--", "true"], capture_output=True, text=True, check=False)
if tried.returncode == 125:
    print("skipped:", tried.stderr.strip())
    sys.exit(SKIPPED)


def record(board, calls, settings=()):
    """The result of the last call, and all acts except closing: (act, file or command, mode or None)."""
    with tempfile.TemporaryDirectory() as scratch:
        trace = os.path.join(scratch, "trace")
        command = [SIM, "run", "--board", board, "--trace", trace, *settings, "--", "env",
                   f"LD_LIBRARY_PATH={BOARDS[board]}", CALL_FUNCTION, *calls]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        with open(trace, encoding="utf-8") as lines:
            acts = [json.loads(line) for line in lines]
    kept = [(act["act"], act.get("path", act.get("command")), act.get("mode"))
            for act in acts if act["act"] in ("open", "read", "write", "ioctl", "restart")]
    return (done.stdout.splitlines() or [""])[-1], kept


def without_number():
    """The setting of a hardware table like the device's, but with a zero as CAN unique number."""
    text = subprocess.run([SIM, "run", "--", "cat", "/proc/platform/pht"], capture_output=True, text=True,
                          check=True).stdout.strip()
    if text.count("012345") != 1:
        raise ValueError(f"not one CAN unique number in {text}")
    return "--set", "platform.pht=" + text.replace("012345", "000000")


many = {}  # {folder: names} where they are too many for a cell


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
            if many.setdefault(folder, names) != names:
                raise ValueError(f"{folder}: not every function opens {names}")
            texts.append(f"`{folder}/`...")
        else:
            texts.append(f"`{folder}/" + "`, `".join(names) + "`")
    return ", ".join(texts) or "nothing"


def opened(acts, direction):
    return [path for act, path, mode in acts if act == "open" and direction in mode]


def used_while_open(acts):
    """What these acts write to, or control, and do not open."""
    return ({path for act, path, _ in acts if act in ("write", "ioctl")} - set(opened(acts, "w"))
            - set(opened(acts, "r")))


def cells(acts, permitted):
    """What these acts need: what is read or run, what is written or called, who may."""
    reads = joined(opened(acts, "r"))
    written = opened(acts, "w")
    writes = joined(written)
    who = "group" if permitted is None or set(written) <= permitted else "root"
    used = used_while_open(acts)
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


def files_of(acts):
    """The files that these acts use: {(file, "r" or "w")}. A program is read."""
    return ({(path, "r") for path in opened(acts, "r")}
            | {(command, "r") for act, command, _ in acts if act == "restart" and command.startswith("/")}
            | {(path, "w") for path in {*opened(acts, "w"), *used_while_open(acts)}})


def files_of_velmorctl():
    """What velmorctl takes for the files of each function on this device: {function: files}."""
    files = {}
    for line in subprocess.run([PRINT_FILES], capture_output=True, text=True, check=True).stdout.splitlines():
        path, readers, writers, boards = line.split("\t")
        if boards == "this device":
            for direction, functions_here in (("r", readers), ("w", writers)):
                for function in functions_here.split():
                    files.setdefault(function, set()).add((path, direction))
    return files


def rows_of(board, functions, permitted):
    """
    {(function, index or None): cells} of those that the board has; the start is the function "the first call". And what
    each of these functions uses: {function: files}.
    """
    start = record(board, START)[1]
    rows = {("the first call", None): cells(start, permitted)}
    files = {"start": files_of(start)}
    for function in functions:
        indexes = INDEXES[board].get(function, (0,))
        for index in indexes:
            before = AFTER.get(function, ())
            base = record(board, before)[1] if before else start
            result, acts = record(board, (*before, f"{function}:{index}"))
            if acts[:len(base)] != base:
                raise ValueError(f"{board}: {function}: begins otherwise than {before or START}")
            if not result.startswith(NOT_SUPPORTED):
                own = acts[len(base):]
                rows[function, index if len(indexes) > 1 else None] = cells(own, permitted)
                files[function] = files.get(function, set()) | files_of(own)
    if board == "device":
        acts = record(board, (NUMBER,), without_number())[1]
        rows[NUMBER, "if the hardware table has no number"] = cells(acts[len(start):], permitted)
        files[NUMBER] |= files_of(acts[len(start):])
    return rows, files


def table(rows, with_who):
    """In Markdown; functions with the same cells share a row."""
    shared = {}
    for (function, index), row in rows.items():
        name = function if " " in function else f"`{function}`" + ("" if index is None else f" {index}")
        shared.setdefault(row, []).append(name)
    lines = ["| functions | reads or runs | writes or calls |" + (" who may |" if with_who else ""),
             "|---|---|---|" + ("---|" if with_who else "")]
    for (reads, writes, who), names in shared.items():
        lines.append(f"| {', '.join(names)} | {reads} | {writes} |" + (f" {who} |" if with_who else ""))
    for folder, names in many.items():
        if any(f"`{folder}/`..." in line for line in lines):
            lines += ["", *textwrap.wrap(f"`{folder}/`... are `" + "`, `".join(names) + "`.", 120)]
    return "\n".join(lines) + "\n"


with open(HEADER, encoding="utf-8") as text:
    functions = re.findall(r"^VELMOR_API int (\w+)", text.read(), re.MULTILINE)
changed = {path for path, change in rules.changes(RULES).items() if change["group"] == rules.GROUP}
device, used = rows_of("device", functions, changed)
needed = {path for function, files in used.items() if not function.startswith("power_")
          for path, direction in files if direction == "w"}
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
listed = files_of_velmorctl()
for function in sorted({*used, *listed}):
    difference = used.get(function, set()) ^ listed.get(function, set())
    if difference:
        print(f"{function}: only one of the record and velmorctl's table of files has {sorted(difference)}")
        failed = True
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
