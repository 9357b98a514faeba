# SPDX-License-Identifier: MIT
"""Runs on the virtual device: each line of standard input is a command, a JSON list of words. Prints its process id,
exit status and output as a JSON line. Standard input of the commands is empty.
"""

import json
import subprocess
import sys

for line in sys.stdin:
    with subprocess.Popen(json.loads(line), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, errors="replace") as process:
        out, err = process.communicate()
    print(json.dumps({"pid": process.pid, "status": process.returncode, "out": out, "err": err}), flush=True)
