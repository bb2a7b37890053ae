# SPDX-License-Identifier: Apache-2.0
"""A table of named changes of the product, each with the test that is said to notice it.

The product has no switch for them: a copy of the committed tree is changed, and put back. The check ends with 1 when a
test passes with its change, fails without it, or a row no longer fits the source."""

import argparse
import dataclasses
import functools
import pathlib
import subprocess
import sys
import time

from commands import ROOT
from program_ring import CONTAINED, Tree

SECONDS = 300  # for one test as it is


@dataclasses.dataclass(frozen=True)
class Row:
    what: str
    file: str
    there: str
    gone: str  # the same place with the change
    program: str  # the test program
    case: str  # the test in it
    or_else: tuple = ()  # further (program, case), of which one is enough

    @property
    def tests(self):
        return ((self.program, self.case), *self.or_else)


class Checker:
    def __init__(self, tree):
        self.tree = tree

    def runs(self, program, case, seconds):
        """Whether the test passes within the time; None when it is skipped or not there."""
        found = [path for path in (self.tree.build / "tests").rglob(program) if path.is_file()]
        if not found:
            return None
        command = [sys.executable, CONTAINED, str(seconds), found[0], f"--gtest_filter={case}"]
        ended = subprocess.run(command, cwd=found[0].parent, capture_output=True, text=True, errors="replace")
        if ended.returncode == 0 and "[  PASSED  ] 1 test" not in ended.stdout:
            return None
        return ended.returncode == 0

    @functools.cache
    def seconds_unchanged(self, program, case):
        """None when it does not pass."""
        begun = time.monotonic()
        return time.monotonic() - begun if self.runs(program, case, SECONDS) else None

    def time_limit(self, program, case):
        """Generous: what hangs with the change is noticed, a busy machine is not."""
        return 30 + 6 * self.seconds_unchanged(program, case)

    def changed(self, row):
        """What is seen: 'fails' is what is wanted."""
        path = self.tree.source / row.file
        original = path.read_text()
        if original.count(row.there) != 1:
            return f"the source has {original.count(row.there)} such places"
        path.write_text(original.replace(row.there, row.gone))
        try:
            for program, case in row.tests:
                made = self.tree.make([program, "schedd_starter"])
                if made.returncode != 0:
                    return "does not compile: " + made.stdout[-2000:]
                if self.runs(program, case, self.time_limit(program, case)) is False:
                    return "fails"
            return "passes"
        finally:
            path.write_text(original)

    def check(self, row):
        for program, case in row.tests:
            if self.seconds_unchanged(program, case) is None:
                return f"{program} {case} does not pass, unchanged"
        return self.changed(row)


def main(description, rows, name):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build" / name, help="of the copy and its build")
    parser.add_argument("--only", default="", help="rows that are called so, in part")
    parser.add_argument("--jobs", type=int, default=1)
    options = parser.parse_args()
    chosen = [row for row in rows if options.only in row.what]
    tree = Tree(options.folder)
    tree.take_commit()
    tree.configure()  # the tests alone decide: no sanitizers, no notes of what is entered
    built = tree.make(sorted({program for row in chosen for program, _ in row.tests}), jobs=options.jobs)
    if built.returncode != 0:
        sys.exit(built.stdout + built.stderr)
    checker = Checker(tree)
    for test in dict.fromkeys(test for row in chosen for test in row.tests):
        checker.seconds_unchanged(*test)  # while nothing of what is built has a change
    wrong = 0
    for row in chosen:
        begun = time.monotonic()
        seen = checker.check(row)
        wrong += seen != "fails"
        print(f"{row.what:60} {row.case:90} {seen}, {time.monotonic() - begun:.0f} s", flush=True)
    print(f"{len(chosen) - wrong} of {len(chosen)} rows are noticed")
    sys.exit(1 if wrong else 0)
