# SPDX-License-Identifier: MIT
"""watchdog run: fed while the command lives, disarmed when it ends well; the watchdog bites in every other case."""

import concurrent.futures
import os
import tempfile

import device
from device import ctl, expect, fail, script

BITTEN = 120
device.skip_without_device()
scratch = tempfile.TemporaryDirectory()
alive = os.path.join(scratch.name, "alive")
# Where the unit must survive, the timeout leaves a busy machine seconds to feed.
TOUCHES = ("for i in {1}; do $sim wait-for-act $run /dev/watchdog:ioctl 60s & "
           "while kill -0 $! 2>/dev/null; do touch {0}; sleep 0.1; done; done")
OUTLIVES = "for i in 1 2 3 4 5; do $sim wait-for-act $run /dev/watchdog:ioctl 60s; done"
TEMPERATURE = "/sys/class/thermal/thermal_zone0/temp"


def run(*arguments, timeout="2", **options):
    return ctl("watchdog", "run", "--timeout", timeout, *arguments, **options)


def guarded(command, *options, timeout, **more):
    """A command of a shell under the watchdog."""
    words = f"$ctl watchdog run --timeout {timeout} {' '.join(options)} -- sh -c '{command}'"
    return script(f"export sim run; {words}", **more)


RUNS = {
    "fed": lambda: guarded(OUTLIVES, timeout=4, traced=True),
    "fails": lambda: run("--", "sh", "-c", "exit 3"),
    "killed": lambda: run("--", "sh", "-c", "kill -9 $$"),
    "missing": lambda: run("--", "/no/such/program", timeout="60"),
    "silent": lambda: run("--alive", alive + ".never", "--", "sleep", "600"),
    "touching": lambda: guarded(TOUCHES.format(alive + ".1", "1 2 3"), "--alive", alive + ".1", timeout=10),
    "falls silent": lambda: guarded(TOUCHES.format(alive + ".2", "1 2 3") + "; sleep 600", "--alive", alive + ".2",
                                    timeout=3),
    "velmorctl killed": lambda: script("$ctl watchdog run --timeout 1 -- sleep 600 & "
                                       "$sim wait-for-act $run /dev/watchdog:ioctl 60s; kill -9 $!; sleep 600"),
    "in use": lambda: script("exec 3>/dev/watchdog; $ctl watchdog run --timeout 60 -- touch ran; status=$?; "
                             "printf V >&3; ls ran 2>&1; exit $status"),
    "refused": lambda: run("--", "true", options=["--fault", "/dev/watchdog:ioctl:EIO:1"]),
    # Fed long before a quarter of this timeout.
    "long timeout": lambda: guarded("$sim wait-for-act $run /dev/watchdog:ioctl 60s", timeout=600),
    # SIGCHLD is ignored, as under some supervisors.
    "fails unseen": lambda: script("trap '' CHLD; exec $ctl watchdog run --timeout 2 -- sh -c 'exit 3'"),
    "stays armed": lambda: run("--", "true", timeout="60", options=["--fault", "/dev/watchdog:ioctl:EIO:1",
                                                                    "--fault", "/dev/watchdog:write:EIO"]),
    # Before velmorctl has turned to the file.
    "touches at once": lambda: guarded(f"touch {alive}.4; sleep 3", "--alive", alive + ".4", timeout=10, traced=True),
    "file deleted": lambda: guarded(TOUCHES.format(alive + ".3", "1") + f"; sleep 2; head -1 {TEMPERATURE}; "
                                    f"rm {alive}.3; sleep 600", "--alive", alive + ".3", timeout=5, traced=True),
    "denied": lambda: run("--", "true", options=["--fault", "/dev/watchdog:open:EACCES"]),
    "one feed fails": lambda: guarded(OUTLIVES, timeout=4, options=["--fault", "/dev/watchdog:ioctl:EIO:2"]),
    "no feed works": lambda: guarded("$sim fault $run /dev/watchdog:ioctl:EIO; sleep 600", timeout=2),
    "not disarmed": lambda: run("--json", "--", "true", timeout="60", options=["--fault", "/dev/watchdog:write:EIO"]),
    "fails, as JSON": lambda: run("--json", "--", "false"),
    "ends well, as JSON": lambda: run("--json", "--", "true", timeout="60"),
    # With an argument that is an option or a command of velmorctl itself.
    "arguments": lambda: run("--", "echo", "status", "--json", "[a,b]", "[]", timeout="60"),
    **{f"timeout {wrong!r}": lambda wrong=wrong: run("--", "true", timeout=wrong)
       for wrong in ("0", "-1", "5s", "1.5", "")},
}
with concurrent.futures.ThreadPoolExecutor(4) as pool:  # they mostly wait
    results = dict(zip(RUNS, pool.map(lambda each: each(), RUNS.values())))
scratch.cleanup()


def check(name, status, *words):
    result = results[name]
    expect(f"{name}: exit status", result.status, status)
    for word in words:
        if word not in result.out + result.err:
            fail(f"{name}: does not say {word!r}: {result.out}{result.err}")


check("fed", 0, "ended well", "armed")
on_watchdog = [act for act in results["fed"].acts if act.get("path") == "/dev/watchdog"]
acts = [act["act"] for act in on_watchdog]
expect("armed first", acts[:2], ["open", "ioctl"])
expect("disarmed last", acts[-2:], ["write", "close"])
expect("the magic close", on_watchdog[-2]["text"], "V")
check("long timeout", 0, "ended well")
check("fails", BITTEN, "ended with status 3", "the watchdog bites")
check("killed", BITTEN, "was killed by signal 9", "the watchdog bites")
check("missing", 1, "cannot run /no/such/program")
check("silent", BITTEN, "the command is silent", alive)
check("touching", 0, "ended well")
check("touches at once", 0, "ended well")
expect("touches at once: acts", [act["act"] for act in results["touches at once"].acts
                                 if act.get("path") == "/dev/watchdog"], ["open", "ioctl", "ioctl", "write", "close"])
check("falls silent", BITTEN, "the command is silent")
check("velmorctl killed", BITTEN)
check("in use", 1, "watchdog_enable failed", "busy", "No such file")
check("refused", 1, "watchdog_enable failed")
check("fails unseen", BITTEN, "ended with status 3", "the watchdog bites")
check("stays armed", 1, "watchdog_enable failed", "watchdog_disable failed", "stays armed and restarts the unit")
check("file deleted", BITTEN, "the command is silent")
acts = [(act["act"], act.get("path")) for act in results["file deleted"].acts]
deleted = acts.index(("read", TEMPERATURE))
feed = ("ioctl", "/dev/watchdog")
expect("file deleted: fed before and after that", (acts[:deleted].count(feed) > 1, acts[deleted:].count(feed)), (True, 0))
check("denied", 4, "see velmorctl(1), PERMISSIONS")
check("one feed fails", 0, "watchdog_refresh failed", "ended well")
check("no feed works", BITTEN, "watchdog_refresh failed")
check("not disarmed", 1, "watchdog_disable failed", "stays armed and restarts the unit")
check("arguments", 0, "status --json [a,b] []\n")
for name in RUNS:
    if name.startswith("timeout"):
        check(name, 2)

failed = results["fails, as JSON"].documents()[0]["items"]
expect("the command's status as JSON", [each["value"] for each in failed], [1, True])
expect("the command's failure as JSON", failed[0]["error"]["cause"],
       "the command ended with status 1: the watchdog bites")
expect("ends well, as JSON", results["ends well, as JSON"].values(), {"command": 0, "armed": False})
device.finish()
