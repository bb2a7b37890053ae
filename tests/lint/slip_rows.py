#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Each row of the tables of slips and of defences changes a place that the source has once, and names a test that there
is; each row of survivors.md is a mutant of the source. So whoever changes a line changes its rows too. Whether the test
notices is seen by ./dev slips and ./dev defences."""

import pathlib
import re
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/mutate"))
from defences import DEFENCES  # noqa: E402
from mutants import mutants  # noqa: E402
from mutate import explained  # noqa: E402
from named_slips import GROUPS  # noqa: E402


def cases():
    """Suite.case of each test in the tree."""
    found = set()
    for path in (ROOT / "tests").rglob("*.cpp"):
        found |= {f"{suite}.{case}" for suite, case in re.findall(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", path.read_text())}
    return found


def complaints(rows):
    known = cases()
    for row in rows:
        places = (ROOT / row.file).read_text().count(row.there)
        if places != 1:
            yield f"{row.file}: has {places} such places: {row.there}"
        for _, case in row.tests:
            plain = re.sub(r"^\w+/|/\w+$", "", case)  # of a test with parameters
            if plain not in known and "*" not in plain:
                yield f"{row.what}: there is no test {case}"


def stale_survivors():
    rows = explained()
    for file in sorted({row[0] for row in rows}):
        text = (ROOT / file).read_text()
        for row in sorted(rows - {mutant.key() for mutant in mutants(file, text)}):
            if row[0] == file:
                yield f"survivors.md: there is no such mutant: {' | '.join(row)}"


if __name__ == "__main__":
    slips = [row for group in GROUPS for row in group.ROWS]
    wrong = [*complaints([*DEFENCES, *slips]), *stale_survivors()]
    print("\n".join(wrong), end="\n" if wrong else "")
    sys.exit(1 if wrong else 0)
