# SPDX-License-Identifier: MIT
"""usage: member.py CALL_FUNCTION LIBRARY RULES DOCUMENT

As docs/permissions.md says, a member of the group may call every function except the power functions, and another user
none. The virtual device shows every file as the caller's, so these are plain files in a root of their own, with the
modes that a kernel gives them and those that the rules add. Only root can make such files.
HAZARD: no power function is called here: nothing would catch the restart call.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile

import rules

SKIPPED = 77
NOBODY = 65534
MEMBERS = 4242  # the group's number in here
WATCHDOG = "/dev/watchdog"

if os.getuid() != 0:
    print("skipped: only root can give files to a group")
    sys.exit(SKIPPED)
if sys.argv[1] != "--inside":
    if subprocess.run(["unshare", "--mount", "true"], capture_output=True, check=False).returncode != 0:
        print("skipped: root may not make a mount namespace here")
        sys.exit(SKIPPED)
    os.execvp("unshare", ["unshare", "--mount", "--net", sys.executable, "-B", __file__, "--inside", *sys.argv[1:]])

CALL_FUNCTION, LIBRARY, RULES, DOCUMENT = (os.path.abspath(each) for each in sys.argv[2:6])
TREE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "device", "tree")
failures = 0


def fail(text):
    global failures
    failures += 1
    print("FAILED:", text)


def make_root(root):
    """The machine's programs and libraries, and the device's files."""
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", root], check=True)
    for top in ("bin", "lib", "lib32", "lib64", "usr"):
        path = f"/{top}"
        if os.path.islink(path):
            os.symlink(os.readlink(path), root + path)
        elif os.path.isdir(path):
            os.mkdir(root + path)
            subprocess.run(["mount", "--rbind", path, root + path], check=True)
    for top in ("dev", "etc", "proc", "sys"):
        shutil.copytree(os.path.join(TREE, top), f"{root}/{top}", symlinks=True)
    for folder, _, files in os.walk(root + "/sys"):
        for file in files:
            os.chmod(os.path.join(folder, file), 0o644)
    os.chmod(root + WATCHDOG, 0o600)
    os.mkdir(root + "/try")
    shutil.copy(CALL_FUNCTION, root + "/try/call_function")
    shutil.copy(os.path.join(LIBRARY, "libvelmor.so.3"), root + "/try/libvelmor.so.3")


def apply_rules(root):
    for path, change in rules.changes(RULES).items():
        if change["group"] != rules.GROUP:
            fail(f"{path}: for the group {change['group']}")
        os.chown(root + path, 0, MEMBERS)
        mode = os.stat(root + path).st_mode
        os.chmod(root + path, mode | 0o020 if change["mode"] == "g+w" else int(change["mode"], 8))


def as_user(root, user, groups, command):
    def become():
        os.chroot(root)
        os.chdir("/")
        os.setgroups(groups)
        os.setgid(user)
        os.setuid(user)

    return subprocess.run(command, preexec_fn=become, env={"LD_LIBRARY_PATH": "/try"}, capture_output=True, text=True,
                          check=False)


def may_write(root, groups, path):
    return as_user(root, NOBODY, groups, ["/bin/sh", "-c", f": >>{path}"]).returncode == 0


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
    return found


with tempfile.TemporaryDirectory() as place:
    make_root(place)
    try:
        apply_rules(place)
        callable_by_members = functions_of("group")
        if len(callable_by_members) < 20:
            fail(f"only {callable_by_members} in the table")
        for function in callable_by_members:
            if function.startswith("power_"):
                sys.exit(f"FAILED: the table lets the group call {function}")
            before = ["watchdog_enable"] if function in ("watchdog_refresh", "watchdog_disable") else []
            command = ["/try/call_function", *before, function]
            # Some fail for root too: a plain file takes no requests, and no list is open.
            member, root = as_user(place, NOBODY, [MEMBERS], command), as_user(place, 0, [], command)
            failed = "cannot set board resources" in member.stderr + root.stderr
            if not member.stdout or member.stdout != root.stdout or failed:
                fail(f"{function} as a member: {member.stdout} {member.stderr}; as root: {root.stdout} {root.stderr}")
            done = as_user(place, NOBODY, [], ["/try/call_function", function])
            if not done.stdout.startswith("-1") or not done.stderr.startswith("cannot set board resources: "):
                fail(f"{function} as another user: {done.stdout} {done.stderr}")
        for path in rules.changes(RULES):
            if may_write(place, [], path) or not may_write(place, [MEMBERS], path):
                fail(f"{path}: members alone may write it")
        if may_write(place, [MEMBERS], "/sys/power/state"):
            fail("a member may write /sys/power/state")
        if set(functions_of("root")) != {"power_shutdown", "power_reboot", "power_suspend"}:
            fail(f"root's alone: {functions_of('root')}")
    finally:
        subprocess.run(["umount", "--lazy", place], check=True)
sys.exit(1 if failures else 0)
