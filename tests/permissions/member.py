# SPDX-License-Identifier: MIT
"""usage: member.py VELMOR-SIM CALL_FUNCTION LIBRARY RULES DOCUMENT

Tries docs/permissions.md on the virtual device, whose files get the groups and modes of the udev rules: as root, as an
ordinary user in the group, and as one who is not.
"""

import json
import os
import re
import subprocess
import sys

import rules
import users

SIM, CALL_FUNCTION, LIBRARY, RULES, DOCUMENT = (os.path.abspath(each) for each in sys.argv[1:6])
GROUP = "4242"  # what the group "velmor" is here
USERS = {"root": [], "a member": [*users.ORDINARY, "--groups", GROUP], "another user": users.ANOTHER_USER}
RESTARTED = 121
failures = 0

users.skip_unless_root(SIM)


def fail(text):
    global failures
    failures += 1
    print("FAILED:", text)


def commands_of_rules():
    """As a shell script, what udev does by the rules."""
    lines = []
    for path, change in rules.changes(RULES).items():
        if change["group"] != rules.GROUP:
            fail(f"{path}: for the group {change['group']}")
        lines.append(f"chgrp {GROUP} {path} && chmod {change['mode']} {path}")
    return " && ".join(lines)


def on_device(user, command, prepare="true"):
    """Run a command as this user. Returns its status, output and messages, and the acts after the rules."""
    trace = os.path.join(place, "trace")
    script = f'{APPLY} && {prepare} && exec "$@"'
    done = subprocess.run([SIM, "run", "--all-users", "--trace", trace, "--", "sh", "-c", script, "sh", *USERS[user],
                           *command], capture_output=True, text=True, check=False)
    with open(trace, encoding="utf-8") as lines:
        acts = [{key: value for key, value in json.loads(line).items() if key not in ("pid", "time")} for line in lines]
    return done.returncode, done.stdout, done.stderr, acts


def call(user, function, prepare="true"):
    before = ["watchdog_enable"] if function in ("watchdog_refresh", "watchdog_disable") else []
    return on_device(user, ["env", f"LD_LIBRARY_PATH={place}", f"{place}/call_function", *before, function], prepare)


def functions_of(who):
    """Those that the document's first table lists for "group" or "root", as NAME or NAME:INDEX."""
    with open(DOCUMENT, encoding="utf-8") as text:
        table = re.search("<!-- begin: files on this device -->\n(.*?)<!-- end", text.read(), re.DOTALL)[1]
    found = []
    for row in table.splitlines()[2:]:
        cells = [cell.strip() for cell in row.strip("|").split(" | ")]
        if cells[-1] == who:
            names = re.findall(r"`(\w+)`(?: (\d+))?", cells[0])
            found += [name + (f":{index}" if index else "") for name, index in names]
    return list(dict.fromkeys(found))


def expect(what, got, wanted):
    if got != wanted:
        fail(f"{what}\n  got:    {got}\n  should: {wanted}")


def check_members_functions():
    functions = functions_of("group")
    if len(functions) < 20:
        fail(f"only {functions} in the table")
    for function in functions:
        if function.startswith("power_"):
            fail(f"the table lets the group call {function}")
            continue
        root = call("root", function)
        # Some fail for root too, because no list is open.
        if root[0] != 0 or not root[1] or "cannot set board resources" in root[2]:
            fail(f"{function} as root: {root}")
        expect(f"{function} as a member", call("a member", function), root)


def check_another_users_functions():
    """Every function of the table, the power functions, and one of a family that this device lacks."""
    for function in [*functions_of("group"), *functions_of("root"), "attitude_get"]:
        status, said, message, _ = call("another user", function)
        if status != 0 or not said.startswith("-1") or not message.startswith("cannot set board resources: "):
            fail(f"{function} as another user: {status} {said} {message}")


def check_power_functions():
    expect("the functions of root alone", functions_of("root"), ["power_shutdown", "power_reboot", "power_suspend"])
    for function in ("power_shutdown", "power_reboot"):
        expect(f"{function} as root", call("root", function)[0], RESTARTED)
    status, said, _, _ = call("a member", "power_shutdown")
    expect("power_shutdown as a member", (status, said.strip().split(":")[0]), (0, "-1 errno 1"))
    # The device's /sbin/reboot ends with 1 if it may not restart.
    status, said, _, _ = call("a member", "power_reboot")
    expect("power_reboot as a member", (status, said.split()[0].strip(":")), (0, "-1"))

    def suspensions(*arguments):
        status, said, _, acts = call(*arguments)
        expect("power_suspend: result", (status, said.split()[0].strip(":")), (0, "0"))
        return sum(act["act"] == "write" and act["path"] == "/sys/power/state" for act in acts)

    expect("power_suspend as root", suspensions("root", "power_suspend"), 1)
    expect("power_suspend as a member", suspensions("a member", "power_suspend"), 0)
    given = f"chgrp {GROUP} /sys/power/state && chmod 0664 /sys/power/state"
    expect("power_suspend as a member who may", suspensions("a member", "power_suspend", given), 1)


def check_files():
    def may(user, redirection, path):
        return on_device(user, ["sh", "-c", f": {redirection}{path}"])[0] == 0

    for path in rules.changes(RULES):
        if may("another user", ">>", path) or not may("a member", ">>", path):
            fail(f"{path}: members alone may write it")
        if not path.startswith("/dev/") and not may("another user", "<", path):
            fail(f"{path}: not everyone may read it")
    if may("a member", ">>", "/sys/power/state"):
        fail("a member may write /sys/power/state")


APPLY = commands_of_rules()
with users.readable_copies(CALL_FUNCTION, os.path.join(LIBRARY, "libvelmor.so.3")) as place:
    check_members_functions()
    check_another_users_functions()
    check_power_functions()
    check_files()
sys.exit(1 if failures else 0)
