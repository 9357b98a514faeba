# SPDX-License-Identifier: MIT
"""Every command, with its result on both boards: the name and the value of one item, and the exit status."""

ABSENT = (3, None, None)

# arguments: (on this device, on the board of all families, whether it queries)
COMMANDS = {
    ("status",): ((0, "serial number", "AB12C0FFEE"), (0, "color", "#000000"), True),
    ("backlight",): ((0, "percent", 57), (0, "level", 128), True),
    ("backlight", "--index", "1"): (ABSENT, (0, "level", 127), True),
    ("backlight", "set", "128"): ((0, "level", 128), (0, "percent", 57), False),
    ("backlight", "set", "50%"): ((0, "percent", 57), (0, "level", 128), False),
    ("backlight", "set", "100", "--index", "1"): (ABSENT, (0, "level", 100), False),
    ("display",): ((0, "on", True), (0, "on", True), True),
    ("display", "--index", "1"): (ABSENT, (0, "on", False), True),
    ("display", "off"): ((0, "on", False), (0, "on", False), False),
    ("display", "on", "--index", "1"): (ABSENT, (0, "on", True), False),
    ("led",): (ABSENT, (0, "color", "#000000"), True),
    ("led", "set", "#ff0010"): (ABSENT, (0, "color", "#ff0010"), False),
    ("io",): ((0, "frequency", 2700), (0, "duty", 50), True),
    ("io", "get", "0"): ((0, "level", 0), (0, "level", 0), True),
    ("io", "get", "9"): ((0, "level", 1), (0, "level", 1), True),
    ("io", "get", "11"): ((0, "level", 0), (0, "level", 0), True),
    ("io", "get", "2"): (ABSENT, (0, "level", 0), False),
    ("io", "set", "0", "1"): ((0, "level", 1), (0, "level", 1), False),
    ("io", "set", "1", "1"): (ABSENT, (0, "level", 1), False),
    ("io", "set", "9", "0"): ((0, "level", 0), (0, "level", 0), False),
    ("io", "set", "11", "1"): ((0, "level", 1), (0, "level", 1), False),
    ("io", "config", "0"): ((0, "frequency", 2700), (0, "frequency", 2700), True),
    ("io", "config", "0", "--frequency", "1000", "--duty", "25"): ((0, "duty", 25), (0, "frequency", 1000), False),
    ("io", "config", "0", "--frequency", "1000"): ((0, "frequency", 1000), (0, "frequency", 1000), False),
    ("io", "config", "0", "--duty", "25"): ((0, "frequency", 2700), (0, "duty", 25), False),
    ("io", "config", "1"): (ABSENT, ABSENT, True),
    ("thermal",): ((0, "temperature", 45000), (0, "critical", 95000), True),
    ("thermal", "--index", "1"): (ABSENT, (0, "very hot", 95000), True),
    ("wifi",): ((0, "interface", "wlan0"), (0, "fitted", True), True),
    ("bluetooth",): ((0, "interface", "hci0"), (0, "value", 3), True),
    ("antenna", "wifi", "1"): (ABSENT, (0, "wifi", 1), False),
    ("antenna", "bluetooth", "0"): (ABSENT, (0, "bluetooth", 0), False),
    ("platform",): ((0, "serial number", "AB12C0FFEE"), (0, "compatibility version", 7), True),
    ("gps",): ((0, "value 1", 1), (0, "value 2", 1), True),
    ("echosounder",): ((0, "fitted", True), (0, "fitted", True), True),
    ("attitude",): (ABSENT, (0, "z", 1024), True),
    ("motion",): (ABSENT, (0, "reverse", False), True),
    ("serial",): ((0, "device", "/dev/ttymxc4"), (0, "speed", 9600), True),
    ("serial", "--index", "1"): ((0, "device", "/dev/ttymxc3"), (0, "speed", 38400), True),
    ("serial", "mux", "0", "2"): (ABSENT, (0, "connector", 2), False),
    ("serial", "function", "0"): (
        ABSENT,
        (0, "functions", [{"name": "serial", "function": 0}, {"name": "key", "function": 1}]),
        True,
    ),
    ("serial", "function", "0", "serial"): (ABSENT, (0, "function", "serial"), False),
    ("serial", "function", "0", "key"): (ABSENT, (0, "function", "key"), False),
    ("serial", "function", "1", "2"): (ABSENT, (0, "function", "2"), False),
    ("mrfi",): (ABSENT, (0, "address", "0x1a2b3c4d"), True),
    ("mrfi", "--index", "1"): (ABSENT, (0, "autolink", True), True),
    ("mrfi", "devices"): (
        ABSENT,
        (
            0,
            "devices",
            [
                {"address": "0x12340001", "value1": 3, "value2": 7, "name": ""},
                {"address": "0x12340002", "value1": 4, "value2": 1, "name": "pump"},
                {"address": "0x5678abcd", "value1": 5, "value2": 0, "name": "anchor-light"},
            ],
        ),
        True,
    ),
    ("mrfi", "devices", "--index", "1"): (ABSENT, (0, "devices", []), True),
    ("mrfi", "connections"): (
        ABSENT,
        (
            0,
            "connections",
            [
                {"address": "0x12340001", "value1": 31, "value2": 2, "value3": 196, "flag1": True, "flag2": False},
                {"address": "0x12340002", "value1": 10, "value2": 3, "value3": 185, "flag1": False, "flag2": True},
            ],
        ),
        True,
    ),
    ("mrfi", "connections", "--index", "1"): (ABSENT, (0, "connections", []), True),
    ("mrfi", "link", "0x5678abcd"): (ABSENT, (0, "link", "0x5678abcd"), False),
    ("mrfi", "link", "5678abcd", "--index", "1"): (ABSENT, (0, "link", "0x5678abcd"), False),
    ("mrfi", "unlink", "0x12340001"): (ABSENT, (0, "unlink", "0x12340001"), False),
    ("mrfi", "unlink", "0x5678abcd", "--index", "1"): (ABSENT, (0, "unlink", "0x5678abcd"), False),
    ("mrfi", "autolink"): (ABSENT, (0, "autolink", False), True),
    ("mrfi", "autolink", "on"): (ABSENT, (0, "autolink", True), False),
    ("mrfi", "autolink", "off", "--index", "1"): (ABSENT, (0, "autolink", False), False),
    ("mrfi", "class", "0x12340001"): ((0, "class", 0x1234), (0, "class", 0x1234), True),
    ("power", "suspend", "--yes"): ((0, "suspend", "requested"), (0, "suspend", "requested"), False),
    ("watchdog", "run", "--timeout", "5", "--", "true"): ((0, "armed", False), (0, "command", 0), False),
    ("watch", "thermal", "gps", "--count", "1"): ((0, "temperature", 45000), (0, "value 2", 1), True),
    ("doctor",): ((0, "/dev/watchdog", "ok"), (0, "/dev/input/event0", "ok"), True),
}

# They end the run: 121 restart, 122 power-off.
ENDINGS = {
    ("power", "off", "--yes"): (121, 122),
    ("power", "reboot", "--yes"): (121, 121),
}


def with_json(arguments):
    own = arguments.index("--") if "--" in arguments else len(arguments)
    return *arguments[:own], "--json", *arguments[own:]
