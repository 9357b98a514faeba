# SPDX-License-Identifier: MIT
"""Each act of each command fails in turn: the JSON stays valid, the exit status is right, nothing is half done."""

import device
from commands import COMMANDS
from device import BOARDS, ctl, expect, fail, script

device.skip_without_device()

# The library forgives these.
FORGIVEN = ("/proc/platform/serial_number", "/sys/power/state")
# Settings of a single attribute: what another process reads if setting has failed.
SINGLE = {
    ("backlight", "set", "128"): ("backlight.brightness", "2"),
    ("display", "off"): ("display.blank", "0"),
    ("led", "set", "#ff0010"): ("keypad.color", "0 0 0"),
    ("io", "set", "9", "0"): ("gps.enable", "1"),
    ("mrfi", "autolink", "on"): ("mrfi0.autolink", "0"),
}


def key(act):
    return act["act"], act["path"]


def faults(acts, start_length):
    """The acts after the start that may fail, and which of its kind on its file each is."""
    for number, act in enumerate(acts):
        # A failure to close a file that was read is the same for every file.
        if number >= start_length and act["act"] in ("open", "read", "write", "ioctl"):
            nth = sum(1 for each in acts[: number + 1] if key(each) == key(act))
            yield act, nth


def with_json(arguments):
    own = arguments.index("--") if "--" in arguments else len(arguments)
    return *arguments[:own], "--json", *arguments[own:]


def check(arguments, board, act, nth):
    path, kind = act["path"], act["act"]
    once = ctl(*with_json(arguments), board=board, options=["--fault", f"{path}:{kind}:EIO:{nth}"])
    once.document()
    lists = arguments[:2] in (("mrfi", "devices"), ("mrfi", "connections"))  # read again, as they seem empty
    tools_own = kind != "write" and path.endswith("max_brightness")
    if path in FORGIVEN or lists or tools_own or arguments[0] in ("status", "watch", "doctor"):
        return
    expect(f"{once.what}: exit status", once.status, 1)
    expect(f"{once.what}: lines on standard error", len(once.err.splitlines()) >= 1, True)


def check_denied(arguments, board, act):
    """Without permission to open a file for reading. The start would fail too if it opens the file."""
    denied = ctl(*with_json(arguments), board=board, options=["--fault", f"{act['path']}:open:EACCES"])
    denied.document()
    if act["path"] in FORGIVEN or act["path"].endswith("max_brightness") or arguments[0] in ("status", "watch", "doctor"):
        return
    # A write is not tried to find the cause, and here access() grants everything.
    device_node = act["path"].startswith("/dev/")
    wanted = (4,) if act["mode"] == "r" or device_node else (1, 4)
    if denied.status not in wanted:
        fail(f"{denied.what}: exit status {denied.status}, should be one of {wanted}: {denied.out}")


for board_number, board in enumerate(BOARDS):
    start = ctl("mrfi", "class", "0x1", board=board, traced=True).acts
    started = {each["path"] for each in start if "path" in each}
    for arguments, expectations in COMMANDS.items():
        wanted = expectations[board_number]
        if wanted is None or wanted[0] != 0 or arguments in (("doctor",), ("status",), ("backlight", "set", "50%")):
            continue
        acts = ctl(*with_json(arguments), board=board, traced=True).acts
        for act, nth in faults(acts, len(start)):
            check(arguments, board, act, nth)
            if act["act"] == "open" and act["path"] not in started:
                check_denied(arguments, board, act)

# The start: one failure is reported, whatever is asked for.
for board in BOARDS:
    for act, nth in faults(ctl("mrfi", "class", "0x1", board=board, traced=True).acts, 0):
        path, kind = act["path"], act["act"]
        options = ["--fault", f"{path}:{kind}:EIO:{nth}"]
        for command in ("status", "io", "backlight"):
            result = ctl(command, "--json", board=board, options=options)
            result.document()
            # Without the kinds of its trip points the board starts, but that zone cannot be read.
            wanted = 0 if "trip_point" in path and command != "status" else 1
            expect(f"{result.what}: exit status", result.status, wanted)
            expect(f"{result.what}: lines on standard error", len(result.err.splitlines()), wanted)

for arguments, (name, unchanged) in SINGLE.items():
    acts = ctl(*arguments, board="all-families", traced=True).acts
    path = [act["path"] for act in acts if act["act"] == "write"][-1]
    for kind in ("open", "write"):
        fault = ["--fault", f"{path}:{kind}:EIO"]
        setting = " ".join(f"'{each}'" for each in arguments)
        before = script(f"$set {name} '{unchanged}'; $ctl {setting}; $get {name}", board="all-families", options=fault)
        expect(f"{before.what}: what is left", before.out, unchanged + "\n")

# Malformed text is quoted.
malformed = ctl("backlight", "--json", options=["--raw", "backlight.brightness=much\\n"])
error = malformed.document()["items"][0]["error"]
expect("malformed text", error["cause"],
       '/sys/class/backlight/pwm-backlight.0/brightness reads "much" instead of a number')
expect("function and result", (error["function"], error["result"]), ("backlight_get", -1))
denied = ctl("backlight", options=["--fault", "/sys/class/backlight/*/brightness:open:EACCES"])
expect("one line, with function, cause and hint", denied.err,
       "velmorctl: backlight_get failed: not permitted to read /sys/class/backlight/pwm-backlight.0/brightness "
       "(root:root 0644): see velmorctl(1), PERMISSIONS\n")
expect("not permitted", denied.status, 4)
device.finish()
