# SPDX-License-Identifier: MIT
"""What the tests share that run programs as several users of the virtual device.

Only root can become other users there; an ordinary user who runs such a test becomes root of a user namespace with that
user's subordinate ids.
"""

import contextlib
import os
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
ORDINARY = ["setpriv", "--reuid", "65534", "--regid", "65534"]
ANOTHER_USER = [*ORDINARY, "--clear-groups"]


def skip_unless_root(sim):
    """Skip the test where programs cannot run as other users. Starts the test again to become root of a namespace."""
    if os.getuid() != 0:
        namespace = ["unshare", "--map-root-user", "--map-auto"]
        if subprocess.run([*namespace, "true"], capture_output=True, check=False).returncode != 0:
            print("skipped: neither root nor a user with ids in /etc/subuid")
            sys.exit(SKIPPED)
        os.execvp(namespace[0], [*namespace, sys.executable, "-B", *sys.argv])
    tried = subprocess.run([sim, "run", "--all-users", "--", "true"], capture_output=True, text=True, check=False)
    if tried.returncode == 125:
        print("skipped:", tried.stderr.strip())
        sys.exit(SKIPPED)


@contextlib.contextmanager
def readable_copies(*files):
    """A folder with copies that other users can reach; a home, where the build may be, is often closed to them."""
    with tempfile.TemporaryDirectory() as place:
        os.chmod(place, 0o755)
        for file in files:
            shutil.copy(file, place)
        yield place
