# SPDX-License-Identifier: MIT
"""usage: udev.py VELMOR-SIM RULES

udev itself reads the rules, for the devices of the virtual device. When a device appears, gets its driver or changes,
it would do what rules.py reads in them, and nothing when the device or its driver goes. "udevadm test" changes nothing:
it only says what it would do.
"""

import os
import re
import shutil
import subprocess
import sys

import rules

SKIPPED = 77
SIM, RULES = (os.path.abspath(each) for each in sys.argv[1:3])
GROUP = "4242"

# In the run's own mount namespace. The rules are the only ones in /etc, and the group exists.
SCRIPT = """
    mount -t tmpfs none /etc/udev && mkdir /etc/udev/rules.d && cp "$1" /etc/udev/rules.d || exit 1
    echo "%s:x:%s:" >/etc/udev/group && mount --bind /etc/udev/group "$(readlink -f /etc/group)" || exit 1
    shift
    for action in add bind change unbind offline remove; do
        for place; do
            echo "event $action $place"
            udevadm test --action=$action "$place" 2>&1
        done
    done
""" % (rules.GROUP, GROUP)

if shutil.which("udevadm") is None:
    print("skipped: no udevadm; Debian's package udev has it")
    sys.exit(SKIPPED)
changes = rules.changes(RULES)
wanted = {"add": changes, "bind": changes, "change": changes, "unbind": {}, "offline": {}, "remove": {}}
# The directory of each device, as udevadm wants it: a node's is that of its class.
places = sorted({os.path.dirname(path) if path.startswith("/sys") else "/sys/class/misc/" + os.path.basename(path)
                 for path in changes})
done = subprocess.run([SIM, "run", "--", "bash", "-c", SCRIPT, "bash", RULES, *places], text=True, check=False,
                      capture_output=True, env={**os.environ, "SYSTEMD_DEVICE_VERIFY_SYSFS": "0"})
if done.returncode == 125:
    print("skipped:", done.stderr.strip())
    sys.exit(SKIPPED)

found = {}
for part in re.split("^event ", done.stdout, flags=re.MULTILINE)[1:]:
    action, place = part.splitlines()[0].split()
    by_udev = found.setdefault(action, {})
    for command, argument, files in re.findall(r"^run: '/bin/(chgrp|chmod) (\S+) (.*)'$", part, re.MULTILINE):
        for file in files.split():
            change = by_udev.setdefault(f"{place}/{os.path.basename(file)}", {})
            change[{"chgrp": "group", "chmod": "mode"}[command]] = argument
    for word, value in re.findall(r"60-velmor\.rules:\d+ (GROUP|MODE) (\S+)$", part, re.MULTILINE):
        node = "/dev/" + os.path.basename(place)
        by_udev.setdefault(node, {})[word.lower()] = rules.GROUP if value == GROUP else value
messages = re.findall(r".*60-velmor\.rules:\d+ (?!RUN|GROUP|MODE).*", done.stdout)
if found != wanted or messages:
    print("FAILED:", done.returncode, done.stderr, *messages, f"\n  udev:     {found}\n  rules.py: {wanted}")
    sys.exit(1)
