# SPDX-License-Identifier: Apache-2.0
"""Runs a command and, when it ends or its time is over, ends everything that it has left behind, daemons too.

contained.py SECONDS COMMAND...; the status is the command's, and 124 when its time was over.
"""

import ctypes
import os
import pathlib
import resource
import signal
import subprocess
import sys
import time

PR_SET_CHILD_SUBREAPER = 36
TIME_IS_OVER = 124


def children(pid):
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").glob("*/children"):
        try:
            found += [int(number) for number in task.read_text().split()]
        except OSError:
            pass  # it has ended meanwhile
    return found


def family(pid):
    found = children(pid)
    for child in found:
        found += children(child)
    return found


def end_family():
    """What is killed leaves its children to this process: until there is none."""
    while True:
        for pid in family(os.getpid()):
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        try:
            while os.waitpid(-1, os.WNOHANG) != (0, 0):
                pass
        except ChildProcessError:
            return
        time.sleep(0.005)


def main():
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    # The end of whoever asked for this is its end too.
    signal.signal(signal.SIGTERM, lambda *_: (end_family(), os._exit(TIME_IS_OVER)))
    process = subprocess.Popen(sys.argv[2:], stdin=subprocess.DEVNULL)
    try:
        status = process.wait(timeout=float(sys.argv[1]))
    except subprocess.TimeoutExpired:
        status = TIME_IS_OVER
    end_family()
    sys.exit(status if status >= 0 else 128 - status)


if __name__ == "__main__":
    main()
