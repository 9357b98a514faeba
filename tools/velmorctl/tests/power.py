# SPDX-License-Identifier: MIT
"""power: asks on a terminal, refuses without one. Only ever inside the virtual device."""

import device
from device import ctl, expect, fail, on_terminal

RESTARTED, POWERED_OFF = 121, 122
device.skip_without_device()

for what, status in (("off", POWERED_OFF), ("reboot", RESTARTED)):
    refused = ctl("power", what, board="all-families")
    expect(f"power {what} without a terminal", (refused.status, refused.err),
           (2, f"velmorctl: power {what}: there is no terminal to ask on; use --yes\n"))
    expect(f"power {what} --yes", ctl("power", what, "--yes", board="all-families").status, status)
expect("power off of this device is a restart", ctl("power", "off", "--yes").status, RESTARTED)
expect("power suspend without a terminal", ctl("power", "suspend").status, 2)
expect("power suspend", device.script("$ctl power suspend --yes >/dev/null; $sim get $run power.suspended").out, "1\n")


for answer, status in ((b"y\n", RESTARTED), (b"n\n", 1), (b"\n", 1)):
    got, text = on_terminal("power", "reboot", answer=answer)
    expect(f"answer {answer}", got, status)
    if "power reboot: really? [y/N]" not in text:
        fail(f"it does not ask: {text}")

# The status of /sbin/reboot is no error number. 95 would be that of what is not fitted.
for code in (1, 13, 95):
    failed = ctl("power", "reboot", "--yes", options=["--set", f"reboot.exit={code}"])
    expect(f"/sbin/reboot fails with {code}", (failed.status, failed.err),
           (1, f"velmorctl: power_reboot failed: /sbin/reboot failed or ended with status {code}\n"))

for fault, status in (("restart:call:EPERM", 4), ("restart:call:EIO", 1)):
    failed = ctl("power", "off", "--yes", "--json", options=["--fault", fault])
    failed.document()
    expect(f"power off with {fault}", failed.status, status)
device.finish()
