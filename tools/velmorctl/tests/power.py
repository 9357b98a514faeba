# SPDX-License-Identifier: MIT
"""power: asks on a terminal, refuses without one. Only ever inside the virtual device."""

import os
import pty
import select
import subprocess

import device
from device import CTL, SIM, ctl, environment, expect, fail

RESTARTED, POWERED_OFF = 121, 122
device.skip_without_device()

for what, status in (("off", POWERED_OFF), ("reboot", RESTARTED)):
    refused = ctl("power", what, board="all-families")
    expect(f"power {what} without a terminal", (refused.status, refused.err),
           (2, f"velmorctl: power {what}: there is no terminal to ask on; use --yes\n"))
    expect(f"power {what} --yes", ctl("power", what, "--yes", board="all-families").status, status)
expect("power off of this device is a restart", ctl("power", "off", "--yes").status, RESTARTED)
expect("power suspend without a terminal", ctl("power", "suspend").status, 2)
expect("power suspend", device.script("$ctl power suspend --yes >/dev/null; $get power.suspended").out, "1\n")


def on_terminal(answer):
    """power reboot on a terminal, with this answer. Returns the exit status and what was printed."""
    parent, child = pty.openpty()
    process = subprocess.Popen([SIM, "run", "--", "env", *environment("device"), CTL, "power", "reboot"],
                               stdin=child, stdout=child, stderr=child, start_new_session=True)
    os.close(child)
    text = b""
    answered = False
    while select.select([parent], [], [], 30)[0]:
        try:
            text += os.read(parent, 4096)
        except OSError:
            break
        if b"[y/N]" in text and not answered:
            os.write(parent, answer)
            answered = True
    os.close(parent)
    return process.wait(30), text.decode()


for answer, status in ((b"y\n", RESTARTED), (b"n\n", 1), (b"\n", 1)):
    got, text = on_terminal(answer)
    expect(f"answer {answer}", got, status)
    if "power reboot: really? [y/N]" not in text:
        fail(f"it does not ask: {text}")

for fault, status in (("restart:call:EPERM", 4), ("restart:call:EIO", 1)):
    failed = ctl("power", "off", "--yes", "--json", options=["--fault", fault])
    failed.document()
    expect(f"power off with {fault}", failed.status, status)
device.finish()
