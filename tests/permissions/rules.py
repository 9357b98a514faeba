# SPDX-License-Identifier: MIT
"""Reads the udev rules: only what ours use. The test permissions.udev compares the result with udev's."""

import re

GROUP = "velmor"

# Where the devices of a subsystem are.
FOLDERS = {
    "backlight": "/sys/class/backlight/",
    "graphics": "/sys/class/graphics/",
    "misc": "/dev/",
    "platform": "/sys/devices/platform/",
}


def changes(path):
    """The files that the rules change: {path: {"group": name, "mode": "0660" or "g+w"}}."""
    with open(path, encoding="utf-8") as text:
        lines = re.sub(r"\\\n", "", text.read()).splitlines()
    found = {}
    for line in lines:
        words = re.findall(r'(\w+)(\+=|==|!=|=)"([^"]*)"', line)
        rest = re.sub(r'(\w+)(\+=|==|!=|=)"([^"]*)"|[, ]', "", line)
        if line.startswith("#") or not line:
            continue
        if rest:
            raise ValueError(f"{path}: {line}: {rest}")
        matches = {key: value for key, sign, value in words if sign == "=="}
        if "SUBSYSTEM" not in matches:
            continue
        place = FOLDERS[matches["SUBSYSTEM"]] + matches["KERNEL"]
        for key, sign, value in words:
            if (key, sign) in (("GROUP", "="), ("MODE", "=")):
                found.setdefault(place, {})[key.lower()] = value
            elif (key, sign) == ("RUN", "+="):
                command, argument, *files = value.replace("/sys%p", place).split()
                for file in files:
                    found.setdefault(file, {})[{"/bin/chgrp": "group", "/bin/chmod": "mode"}[command]] = argument
            elif sign != "==":
                raise ValueError(f"{path}: {line}: {key}")
    return found
