# SPDX-License-Identifier: MIT
"""Each act of each command fails in turn: the JSON stays valid, the exit status is right, nothing is half done."""

import collections

import device
from commands import COMMANDS, with_json
from device import BOARDS, Session, ctl, expect, fail

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


ERRORS = {"open": "EACCES", "read": "EIO", "write": "EIO", "ioctl": "EIO"}


def faults(acts, start):
    """Each kind of act on each file: its first one after the start, and which of its kind on that file this is."""
    begun = collections.Counter((act["act"], act["path"]) for act in start if act["act"] in ERRORS)
    after = collections.Counter((act["act"], act["path"]) for act in acts if act["act"] in ERRORS) - begun
    modes = {act["path"]: act["mode"] for act in acts if act["act"] == "open"}
    for kind, path in after:
        yield kind, path, modes[path], begun[kind, path] + 1


def is_needless(arguments, path):
    """The percentage of a level that is set is left out if it cannot be computed."""
    return path.endswith("max_brightness") and arguments[:2] == ("backlight", "set") and "%" not in arguments[2]


def check(session, arguments, kind, path, mode, nth):
    denies = kind == "open"
    if denies and nth > 1:
        return  # the start is denied too: see below
    fault = f"{path}:{kind}:{ERRORS[kind]}"
    if arguments[0] == "watchdog":  # it may stay armed
        options = ["--fault", fault if denies else f"{fault}:{nth}"]
        result = ctl(*with_json(arguments), board=session.board, options=options)
    else:
        session.prepare(arguments)
        result = session.ctl(*with_json(arguments), fault=fault, nth=None if denies else nth)
    result.document()
    # An empty list is read again for the cause, and then this can be read.
    lists = kind == "read" and arguments[:2] in (("mrfi", "devices"), ("mrfi", "connections"))
    if path in FORGIVEN or lists or is_needless(arguments, path):
        return
    # The cause is looked for afterwards. A write is not tried, here access() grants everything, and the files of a GPIO
    # line are gone by then.
    found = (mode == "r" or path.startswith("/dev/")) and not path.startswith("/sys/class/gpio/")
    wanted = (1,) if not denies else (4,) if found else (1, 4)
    if result.status not in wanted:
        fail(f"{result.what}: exit status {result.status}, should be one of {wanted}: {result.out}")
    if not result.err.startswith("velmorctl: "):
        fail(f"{result.what}: on standard error: {result.err}")


def check_start(session):
    """One failure is reported, whatever is asked for."""
    for kind, path, _, nth in faults(session.start(), []):
        for command in ("status", "io", "backlight"):
            result = session.ctl(command, "--json", fault=f"{path}:{kind}:EIO", nth=nth)
            result.document()
            # Without the kinds of its trip points the board starts, but that zone cannot be read.
            wanted = 0 if "trip_point" in path and command != "status" else 1
            expect(f"{result.what}: exit status", result.status, wanted)
            expect(f"{result.what}: lines on standard error", len(result.err.splitlines()), wanted)


def check_overview(session):
    """One file of each folder that the status reads."""
    start = session.start()
    folders = set()
    for kind, path, _, nth in faults(session.ctl("status").acts, start):
        folder = path.rsplit("/", 1)[0]
        if kind == "read" and path not in FORGIVEN and folder not in folders:
            folders.add(folder)
            result = session.ctl("status", "--json", fault=f"{path}:read:EIO", nth=nth)
            failed = [item for item in result.document()["items"] if (item["error"] or {}).get("kind") == "failed"]
            expect(f"{result.what}: exit status and failures", (result.status, len(failed) > 0), (1, True))


for board_number, board in enumerate(BOARDS):
    with Session(board) as session:
        for arguments, expectations in COMMANDS.items():
            if expectations[board_number][0] != 0 or arguments[0] in ("doctor", "status", "watch"):
                continue
            session.prepare(arguments)
            session.start()  # sets back what the previous command has set
            start = session.start()
            for kind, *rest in faults(session.ctl(*with_json(arguments)).acts, start):
                # The other board has all files of this device: one kind of failure for each is enough here.
                if kind == "open" or board == "all-families":
                    check(session, arguments, kind, *rest)
        check_start(session)
        check_overview(session)

with Session("all-families") as session:
    for arguments, (name, unchanged) in SINGLE.items():
        path = [act["path"] for act in session.ctl(*arguments).acts if act["act"] == "write"][-1]
        for kind in ("open", "write"):
            session.command("set", name, unchanged)
            result = session.ctl(*arguments, fault=f"{path}:{kind}:EIO")
            expect(f"{result.what}: exit status", result.status, 1)
            expect(f"{result.what}: what is left", session.command("get", name), unchanged + "\n")

with Session("device") as session:
    platform = session.ctl("platform", "--json", fault="/proc/platform/serial_number:read:EIO")
    serial_number = platform.document()["items"][0]
    expect("a serial number that cannot be read", (serial_number["value"], serial_number["note"]),
           (None, "none, or not readable"))
    maximum = "/sys/class/backlight/pwm-backlight.0/max_brightness"
    start = len([act for act in session.start() if act["act"] == "read" and act["path"] == maximum])
    level = session.ctl("backlight", "--json", fault=f"{maximum}:read:EIO", nth=start + 1).document()["items"]
    expect("a percentage without max_brightness", [each["value"] for each in level], [128, None])
    before = session.command("get", "backlight.brightness")
    percent = session.ctl("backlight", "set", "10%", fault=f"{maximum}:read:EIO", nth=start + 1)
    expect("setting a percentage without max_brightness",
           (percent.status, session.command("get", "backlight.brightness")), (1, before))
    start_fault = session.ctl("wifi", fault="/sys/devices/platform/mxc_pwm.1/duty:write:EIO")
    expect("a start that cannot write", start_fault.err,
           "velmorctl: wifi_present failed: the board does not start: cannot use /sys/devices/platform/mxc_pwm.1/period "
           "or /sys/devices/platform/mxc_pwm.1/duty: velmorctl doctor checks the files\n")

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
