# SPDX-License-Identifier: MIT
"""doctor: what it says about files that are missing, denied or malformed; and that it calls and writes nothing."""

import json
import os
import subprocess
import tempfile

import device
from device import BOARDS, CTL, Session, ctl, environment, expect, fail

device.skip_without_device()

for board in BOARDS:
    healthy = ctl("doctor", "--json", board=board, traced=True)
    document = healthy.document()
    expect(f"{board}: a healthy device", healthy.status, 0)
    names = {item["name"] for item in document["items"]}
    # It opens what it reads, once and for reading only, and no node: that would arm the watchdog.
    for act in healthy.acts:
        if act["act"] == "open" and (act["mode"] != "r" or act["path"].startswith("/dev/")):
            fail(f"{board}: doctor opens {act['path']} ({act['mode']})")
    others = "/sys/class/mrfi/mrfi0/rssi" in names
    expect(f"{board}: files of other boards", others, board == "all-families")

text = ctl("doctor").out
if "root:root 0644" not in text:
    fail(f"doctor does not print owner, group and mode:\n{text}")


def item_of(result, name):
    return next(item for item in result.document()["items"] if item["name"] == name)


brightness = "/sys/class/backlight/pwm-backlight.0/brightness"
malformed = ctl("doctor", "--json", options=["--raw", "backlight.brightness=5abc\\n"])
expect("malformed text", item_of(malformed, brightness)["error"]["cause"],
       f'{brightness} reads "5abc" instead of a number')
expect("malformed text: exit status", malformed.status, 1)
denied = ctl("doctor", "--json", options=["--fault", f"{brightness}:open:EACCES"])
expect("denied", item_of(denied, brightness)["error"]["cause"],
       f"not permitted to read {brightness} (root:root 0644)")
expect("denied: exit status", denied.status, 4)
broken = ctl("doctor", "--json", options=["--fault", f"{brightness}:read:EIO"])
expect("unreadable", item_of(broken, brightness)["error"]["cause"], f"cannot read {brightness}: Input/output error")

# Whenever a text makes a command fail, doctor finds it.
READ_BY_STATUS = ("platform.pht_version", "platform.pht", "platform.boot_date_day", "platform.os_version_status",
                  "platform.compatibility_version", "fs_version", "backlight.max_brightness", "backlight.brightness",
                  "display.blank", "pwm1.period", "pwm2.duty", "gps.enable", "thermal.temp",
                  "thermal.trip_point_0_type", "thermal.trip_point_3_temp", "keypad.color", "mrfi0.type",
                  "mrfi0.autolink")
found = 0
with Session("all-families") as session:
    files = dict(line.split()[0].split("=")[:1] + line.split()[-1:] for line in session.command("list").splitlines())
    for name in READ_BY_STATUS:
        for text in ("\n", "rubbish\n", "99999999999\n", "2\n"):
            before = session.command("get", name)
            session.command("raw", name, text)
            if session.ctl("status").status != 0:
                found += 1
                result = session.ctl("doctor", "--json")
                expect(f"{name} reads {text!r}: exit status of doctor", result.status, 1)
                expect(f"{name} reads {text!r}: has an error", item_of(result, files[name])["error"] is not None, True)
            session.command("set", name, before.removesuffix("\n"))
    expect("exit status after all texts", (session.ctl("status").status, session.ctl("doctor").status), (0, 0))
expect("texts that make the status fail", found > 40, True)

without = ctl("doctor", "--json", board="without-echosounder")
expect("without an echosounder: exit status", without.status, 0)
reset = item_of(without, "/sys/devices/platform/echosounder.0/reset")
if "the hardware table decides" not in reset["note"]:
    fail(f"a part by the table: {reset}")

with tempfile.TemporaryDirectory() as scratch:
    board_file = os.path.join(scratch, "board.json")
    with open(board_file, "w", encoding="utf-8") as out:
        json.dump({"description": "no table", "base": "device", "without": ["backlight"]}, out)
    missing = ctl("doctor", "--json", board=board_file)
    expect("missing", item_of(missing, brightness)["error"]["cause"], f"{brightness} is missing")
    expect("missing: exit status", missing.status, 1)
    status = ctl("status", board=board_file)
    expect("a board that does not start", status.err,
           "velmorctl: es_present failed: /sys/class/backlight/pwm-backlight.0/max_brightness is missing: "
           "is this the device?\n")
    expect("a board that does not start: exit status", status.status, 1)

# Attributes that nobody may write, in a folder in place of the kernel's, for a user without root's rights. One of them
# is of other boards, so it is no failure.
folder = os.path.dirname(brightness)
export = "/sys/class/gpio/export"
protected = subprocess.run(
    ["unshare", "-rm", "sh", "-ec", f"mount -t tmpfs none /sys/class; mkdir -p {folder}; echo 5 >{brightness}; "
     f"mkdir {os.path.dirname(export)}; touch {export}; chmod 444 {brightness} {export}; exec setpriv --bounding-set=-all \"$@\"", "sh", *environment("device"), CTL, "doctor"],
    capture_output=True, text=True, check=False)
if f"not permitted to write {brightness} (root:root 0444): see velmorctl(1), PERMISSIONS" not in protected.stderr:
    fail(f"an attribute that nobody may write: {protected.stderr}")
if f"of other boards: not permitted to write {export} (root:root 0444)" not in protected.stdout \
        or export in protected.stderr:
    fail(f"an attribute of other boards that nobody may write: {protected.stdout} {protected.stderr}")

# Off the device: nothing is there, and nothing is tried.
elsewhere = subprocess.run([*environment("device"), CTL, "doctor"], capture_output=True, text=True, check=False)
expect("off the device: exit status", elsewhere.returncode, 1)
if "/proc/platform/pht_version is missing: is this the device?" not in elsewhere.stderr:
    fail(f"off the device: {elsewhere.stderr}")
device.finish()
