# SPDX-License-Identifier: MIT
"""Every command on both boards: text, JSON, bare value, exit status; and that queries write nothing."""

import os

import device
from commands import COMMANDS, ENDINGS, with_json
from device import BOARDS, Session, ctl, expect, fail, on_terminal

device.skip_without_device()


def first_value(item):
    value = item["value"]
    if isinstance(value, list):
        return [str(next(iter(each.values()))) for each in value]
    return [str(int(value)) if isinstance(value, bool) else str(value)]


def check(session, arguments, wanted):
    session.prepare(arguments)
    result = session.ctl(*with_json(arguments))
    document = result.document()
    session.prepare(arguments)
    text = session.ctl(*arguments)
    expect(f"{text.what}: as text", text.status, result.status)
    status, name, value = wanted
    expect(result.what, result.status, status)
    got = [item["value"] for item in document["items"] if item["name"] == name]
    if name is not None and value not in got:
        fail(f"{result.what}: {name} is {got}, should be {value}")
    if result.status == 0:
        expect(f"{text.what}: on standard error", text.err, "")
        if not text.out:
            fail(f"{text.what}: prints nothing")
    else:
        expect(f"{text.what}: lines on standard error", len(text.err.splitlines()), 1)
        if not text.err.startswith("velmorctl: "):
            fail(f"{text.what}: {text.err}")
    return result, document


def check_value(session, arguments, document):
    if arguments[0] in ("status", "doctor", "watch") or "--" in arguments:
        return
    session.prepare(arguments)
    bare = session.ctl(*arguments, "--value")
    item = document["items"][0]
    wanted = "" if item["error"] else "".join(each + "\n" for each in first_value(item))
    expect(f"{bare.what}: --value", bare.out, wanted)


def written(acts):
    return [act["path"] for act in acts if act["act"] == "open" and act["mode"] != "r"]


for board_number, board in enumerate(BOARDS):
    with Session(board) as session:
        start = written(session.start())
        if not start:
            fail(f"{board}: the record shows no write of the start")
        for arguments, expectations in COMMANDS.items():
            result, document = check(session, arguments, expectations[board_number])
            check_value(session, arguments, document)
            if expectations[2]:
                wanted = [] if arguments == ("doctor",) else start
                expect(f"{result.what}: what it writes", written(result.acts), wanted)
    for arguments, statuses in ENDINGS.items():
        expect(f"{board}: {arguments}", ctl(*arguments, board=board).status, statuses[board_number])

# Units and sources are in the document, the bare value is without them, and the text has both.
thermal = ctl("thermal", "--json").document()["items"][0]
expect("unit of a temperature", thermal["unit"], "mdegC")
expect("source of a temperature", thermal["source"].split()[0], "/sys/class/thermal/thermal_zone0/temp")
expect("backlight in text", ctl("backlight").out, """backlight 0  level    128 of 255
             percent  57 %  [###########---------]
""")
hot = ctl("thermal", options=["--set", "thermal.temp=91000"])
expect("thermal in text", hot.out, """thermal 0  temperature  91.0 °C  [############|##|#|#-]
           active       60.0 °C
           hot          75.0 °C
           very hot     85.0 °C
           critical     95.0 °C
""")
expect("the nearest step", ctl("backlight", "set", "50%").out.splitlines()[1].split("  ")[-1],
       "(the step nearest to 50 %)")
expect("line 0", ctl("io", "config", "0", "--duty", "25").out,
       """io 0  frequency  2700 Hz  (until the next start: see velmorctl(1), HAZARDS)
      duty       25 %
""")
refused = ctl("mrfi", "unlink", "0x5678abcd", board="all-families")
expect("a write that the driver refuses", (refused.status, refused.out, refused.err),
       (1, "", "velmorctl: mrfi_unlink failed: cannot write /sys/class/mrfi/mrfi0/unlink: "
        "velmorctl doctor checks the files\n"))
fine = ["--set", "backlight.max_brightness=100"]
for percent in (1, 33, 50, 99):
    got = device.script(f"$ctl backlight set {percent}% >set && $ctl backlight --json; rm set", options=fine).values()
    expect(f"{percent} % of a fine backlight", got["percent"], percent)

expect("colour on a terminal", "\x1b[1m" in on_terminal("thermal")[1], True)
expect("no colour if the user wants none", "\x1b" in on_terminal("thermal", settings=["NO_COLOR=1"])[1], False)
expect("no colour in JSON", "\x1b" in on_terminal("thermal", "--json")[1], False)
expect("no colour elsewhere", "\x1b" in ctl("thermal").out, False)

# A part that the hardware table leaves out.
without = ctl("wifi", "--json", board="without-radios").document()["items"][0]
expect("a radio that is not fitted", (without["value"], without["error"]["kind"]), (False, "not fitted"))
status = ctl("status", board="without-radios")
expect("absent objects by name", status.out.splitlines()[-1],
       "not fitted: led, wifi, bluetooth, attitude, motion, mrfi")
expect("status without absent objects", status.status, 0)
expect("without an object", ctl().out, ctl("status").out)
with open(os.path.join(device.HERE, "../../../README.md"), encoding="utf-8") as readme:
    shown = "".join(f"    {line}\n" for line in ctl().out.splitlines())
    expect("the status that the README shows", shown in readme.read(), True)

# Names that peers send by radio do not reach the terminal as control characters.
evil = ctl("mrfi", "devices", board="all-families", options=["--raw", r"mrfi0.devices=0x1 1 1 \x1b[31mred\xff\n"])
expect("a control character", "\x1b" in evil.out, False)
evil = ctl("mrfi", "devices", "--json", board="all-families", options=["--raw", r"mrfi0.devices=0x1 1 1 \x1b\xff\n"])
evil.document()
device.finish()
