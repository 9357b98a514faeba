# SPDX-License-Identifier: MIT
"""Watches: the first value at once, then each change."""

import json
import os
import tempfile

import device
from device import ctl, expect, fail, script

device.skip_without_device()

TEMPERATURE = "/sys/class/thermal/thermal_zone0/temp"
# Each change follows a query, so that none is missed.
CHANGES = f"""wait-for-act {TEMPERATURE}:read 60s
set thermal.temp 50000
wait-for-act {TEMPERATURE}:read 60s
set thermal.temp 51000
"""


def watch(*arguments):
    with tempfile.TemporaryDirectory() as scratch:
        changes = os.path.join(scratch, "changes")
        with open(changes, "w", encoding="utf-8") as file:
            file.write(CHANGES)
        return ctl(*arguments, "--interval", "0.05", options=["--script", changes])


expect("bare values", watch("thermal", "--value", "--watch", "--count", "3").out, "45000\n50000\n51000\n")
documents = watch("thermal", "--json", "--watch", "--count", "3").out.splitlines()
expect("one JSON object a line", [json.loads(line)["items"][0]["value"] for line in documents], [45000, 50000, 51000])
text = watch("thermal", "--watch", "--count", "3").out.splitlines()
expect("text: everything at first, then what has changed", [line.split()[:4] for line in text][4:],
       [["critical", "95.0", "°C"], ["thermal", "0", "temperature", "50.0"], ["thermal", "0", "temperature", "51.0"]])
several = watch("watch", "backlight", "thermal", "--json", "--count", "2").documents()
expect("several objects", [each["command"] for each in several], ["watch", "watch"])
expect("their items", {item["object"] for item in several[0]["items"]}, {"backlight", "thermal"})

once = ctl("io", "get", "9", "--watch", "--count", "1", "--value")
expect("a query with an argument", (once.status, once.out), (0, "1\n"))
expect("the status", ctl("--watch", "--count", "1").out, ctl().out)
full = script("$ctl thermal --watch --interval 0.01 >/dev/full")
expect("standard output that is full ends it", (full.status, full.err),
       (1, "velmorctl: cannot write to standard output\n"))
absent = ctl("watch", "led")
expect("an absent object ends it", (absent.status, absent.out), (3, ""))
denied = ctl("thermal", "--watch", options=["--fault", f"{TEMPERATURE}:open:EACCES"])
expect("a first failure ends it", denied.status, 4)
later = ctl("thermal", "--watch", "--json", "--interval", "0.05", "--count", "3",
            options=["--fault", f"{TEMPERATURE}:read:EIO:3"])
kinds = [(each["items"][0]["error"] or {}).get("kind") for each in later.documents()]
expect("a later failure is a change", kinds, [None, "failed", None])
for wrong in (("watch", "nothing"), ("watch",), ("watch", "status"), ("watch", "gps", "--index", "1"),
              ("watch", "backlight", "thermal", "--value"), ("backlight", "set", "5", "--watch"), ("backlight", "--interval", "1"),
              ("thermal", "--watch", "--interval", "1x"), ("thermal", "--watch", "--count", "0")):
    result = ctl(*wrong)
    expect(f"{wrong}: exit status", result.status, 2)
    if not result.err.startswith("velmorctl: "):
        fail(f"{wrong}: {result.err}")
device.finish()
