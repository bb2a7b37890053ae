#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The Debian packages on a Debian system that is booted by its own supervisor, from their installation to their purge."""

import argparse
import pathlib
import sys
import time
import traceback

import adverse_cases
import cases
import packages
import service
from machine import Failed, Machine, wait_until


def prepared(machine, built, folder):
    machine.packages = packages.put(machine, built)
    machine.newer = packages.put(machine, packages.with_version(built, "9.9.9", folder))
    machine.run("useradd", "--create-home", "--shell", "/bin/sh", "alice")
    machine.run("dpkg", "--install", *machine.packages)
    wait_until("the service after its installation", machine.active)
    machine.shell("configure terminal", "feature scheduler")
    service.configure(machine, "alice", "group", "cat /proc/self/cgroup")  # what every case may run


def attempt(case, machine):
    began = time.monotonic()
    try:
        case(machine)
        wrong = None
    except Failed as failure:
        wrong = str(failure)
    except Exception:  # a slip of the test itself is a failure of the case
        wrong = traceback.format_exc()
    print(f"{'FAILED' if wrong else 'ok':6} {time.monotonic() - began:5.1f} s  {case.__name__}", flush=True)
    if wrong:
        journal = machine.console.with_name(f"{case.__name__}.journal")
        journal.write_text(machine.run("journalctl", "--no-pager", check=False))
        print(f"       {wrong}\n       the machine's journal: {journal}", flush=True)
    return wrong is None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--image", type=pathlib.Path, required=True, help="the system as a tar file")
    parser.add_argument("--packages", type=pathlib.Path, required=True, help="the folder with the packages")
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="where the machine is unpacked")
    parser.add_argument("--only", help="cases with this in their names; the packages are installed all the same")
    given = parser.parse_args()
    built = packages.built(given.packages)
    wanted = [case for case in cases.CASES + adverse_cases.CASES if given.only is None or given.only in case.__name__]
    with Machine(given.image, given.folder) as machine:
        prepared(machine, built, given.folder)
        passed = sum(attempt(case, machine) for case in wanted)
    print(f"{passed} passed, {len(wanted) - passed} failed")
    return 0 if wanted and passed == len(wanted) else 1


if __name__ == "__main__":
    sys.exit(main())
