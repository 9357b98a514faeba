# SPDX-License-Identifier: MIT
"""watchdog run: fed while the command lives, disarmed when it ends well; the watchdog bites in every other case."""

import os
import tempfile

import device
from device import ctl, expect, fail, script

BITTEN = 120
device.skip_without_device()


def check(what, result, status, *words):
    expect(f"{what}: exit status", result.status, status)
    for word in words:
        if word not in result.out + result.err:
            fail(f"{what}: does not say {word!r}: {result.out}{result.err}")


def acts_on_watchdog(result):
    return [act["act"] for act in result.acts if act.get("path") == "/dev/watchdog"]


def run(*arguments, **options):
    return ctl("watchdog", "run", "--timeout", "1", *arguments, **options)


fed = run("--", "sleep", "3", traced=True)
check("a command that outlives the timeout", fed, 0, "ended well")
acts = acts_on_watchdog(fed)
expect("armed first", acts[:2], ["open", "ioctl"])
expect("disarmed last", acts[-2:], ["write", "close"])
expect("the magic close", [act["text"] for act in fed.acts if act["act"] == "write"][-1], "V")
if acts.count("ioctl") < 4:
    fail(f"it is fed too seldom: {acts}")

check("a command that fails", run("--", "sh", "-c", "exit 3"), BITTEN, "ended with status 3", "the watchdog bites")
check("a command that is killed", run("--", "sh", "-c", "kill -9 $$"), BITTEN, "was killed by signal 9")
check("a command that does not exist", run("--", "/no/such/program"), 1, "cannot run /no/such/program")

with tempfile.TemporaryDirectory() as scratch:
    alive = os.path.join(scratch, "alive")
    silent = run("--alive", alive, "--", "sleep", "60")
    check("a command that never touches its file", silent, BITTEN, "the command is silent", alive)
    touching = f"for i in 1 2 3 4 5 6 7 8 9 10 11 12; do echo $i >{alive}; sleep 0.2; done"
    check("a command that touches its file", run("--alive", alive, "--", "sh", "-c", touching), 0, "ended well")
    hanging = touching + "; sleep 60"
    check("a command that stops touching it", run("--alive", alive, "--", "sh", "-c", hanging), BITTEN, "silent")

killed = script("$ctl watchdog run --timeout 1 -- sleep 60 & sleep 0.5; kill -9 $!; sleep 60")
check("velmorctl is killed", killed, BITTEN)
busy = script("exec 3>/dev/watchdog; $ctl watchdog run --timeout 1 -- touch ran; status=$?; printf V >&3; ls ran 2>&1; "
              "exit $status")
check("the watchdog is in use", busy, 1, "watchdog_enable failed", "busy", "No such file")
refused = run("--", "true", options=["--fault", "/dev/watchdog:ioctl:EIO:1"])
check("a timeout that the driver refuses", refused, 1, "watchdog_enable failed")
denied = run("--", "true", options=["--fault", "/dev/watchdog:open:EACCES"])
check("without permission", denied, 4, "see velmorctl(1), PERMISSIONS")
check("one feed that fails", ctl("watchdog", "run", "--timeout", "4", "--", "sleep", "3",
                                 options=["--fault", "/dev/watchdog:ioctl:EIO:2"]), 0, "watchdog_refresh failed")
never = script("$ctl watchdog run --timeout 1 -- sleep 60",
               options=[each for n in range(2, 40) for each in ("--fault", f"/dev/watchdog:ioctl:EIO:{n}")])
check("feeding fails for good", never, BITTEN, "watchdog_refresh failed")

documents = ctl("watchdog", "run", "--timeout", "1", "--json", "--", "false").documents()
expect("the command's status as JSON", documents[0]["items"][0]["value"], 1)
expect("what the watchdog does as JSON", documents[0]["items"][1]["value"], True)
well = ctl("watchdog", "run", "--json", "--", "true").values()
expect("the JSON of a command that ends well", well, {"command": 0, "armed": False})

# With an argument that is an option or a command of velmorctl itself.
check("arguments after --", ctl("watchdog", "run", "--", "echo", "status", "--json"), 0, "status --json\n")
for timeout in ("0", "-1", "5s", "1.5", ""):
    check(f"timeout {timeout!r}", ctl("watchdog", "run", "--timeout", timeout, "--", "true"), 2)
device.finish()
