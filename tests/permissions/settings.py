# SPDX-License-Identifier: MIT
"""usage: settings.py VELMOR-SIM VELMORCTL LIBRARY-OF-ALL-FAMILIES

Every kind of setting with velmorctl, as a user who may set only what the library's start sets: exit status 4, "not
permitted".
"""

import os
import subprocess
import sys

import users

SIM, VELMORCTL, LIBRARY = (os.path.abspath(each) for each in sys.argv[1:4])
SETTINGS = ("backlight set 5", "backlight set 50%", "display off", "led set #ff0010", "io set 9 0", "io set 1 1",
            "antenna wifi 1", "serial mux 0 2", "mrfi link 0x5678abcd", "mrfi autolink on", "power suspend --yes",
            "watchdog run -- true")
GRANT_START = 'chmod a+w /sys/devices/platform/mxc_pwm.*/* && exec "$@"'
failures = 0

users.skip_unless_root(SIM)
with users.readable_copies(VELMORCTL, os.path.join(LIBRARY, "libvelmor.so.3")) as place:
    for setting in SETTINGS:
        command = ["env", f"LD_LIBRARY_PATH={place}", *users.ANOTHER_USER, f"{place}/velmorctl", *setting.split()]
        done = subprocess.run([SIM, "run", "--all-users", "--board", "all-families", "--", "sh", "-c", GRANT_START, "sh",
                               *command], capture_output=True, text=True, check=False)
        if done.returncode != 4:
            failures += 1
            print(f"FAILED: velmorctl {setting}: status {done.returncode}, should be 4\n{done.stdout}{done.stderr}")
sys.exit(1 if failures else 0)
