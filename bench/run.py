#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Speed as ratios: each measure beside a floor or a peer in the same rounds, in turns.

run.py BUILD [--json FILE | --keep] [--svg FILE] [--rounds FACTOR] [MEASURE...]   ends with 2 when a goal is missed
run.py --compare FILE FILE
"""
import argparse
import os
import pathlib
import sys
import tempfile

from burst import burst
from clients import log, shell
from due import due
from fairness import fairness
from footprint import memory, start
from instructions import instructions
from picture import write_picture
from programs import growth, store, text, transport
from report import Report, commit_of, compare, head

MEASURES = {measure.__name__: measure for measure in (
    due, burst, growth, start, memory, log, shell, store, transport, text, fairness, instructions)}


def arguments():
    parser = argparse.ArgumentParser(prog="./dev bench", description=__doc__.splitlines()[0])
    parser.add_argument("build", nargs="?", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("measures", nargs="*", metavar="MEASURE", help=f"one of {', '.join(MEASURES)}; all unless given")
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE", help="keep the results there")
    parser.add_argument("--keep", action="store_true", help="keep them as build/bench-COMMIT.json")
    parser.add_argument("--svg", type=pathlib.Path, metavar="FILE", help="draw them there")
    parser.add_argument("--rounds", type=float, default=1, help="the factor of rounds; less is quicker and noisier")
    parser.add_argument("--compare", nargs=2, metavar="FILE", help="show two results side by side")
    given = parser.parse_intermixed_args()  # measures may stand behind options
    if unknown := [name for name in given.measures if name not in MEASURES]:
        parser.error(f"no measure {', '.join(unknown)}; there are {', '.join(MEASURES)}")
    return given


class Bench:
    """What the measures share."""

    def __init__(self, build, directory, report, rounds):
        self.build, self.directory, self.report, self.factor = build, pathlib.Path(directory), report, rounds

    def rounds(self, usual):
        return max(2, round(usual * self.factor))

    def fresh(self, name):
        path = self.directory / name
        path.mkdir()
        return path


def main():
    given = arguments()
    if given.compare:
        return compare(*given.compare)
    build = given.build.absolute()
    commit = commit_of(pathlib.Path(__file__).parent)
    report = Report(head(commit))
    with tempfile.TemporaryDirectory(prefix="schedcli-bench.") as directory:
        os.chmod(directory, 0o755)  # jobs of other users begin in it
        bench = Bench(build, directory, report, given.rounds)
        for name in given.measures or MEASURES:
            MEASURES[name](bench)
    if given.keep:
        given.json = build.parent / f"bench-{commit}.json"
    if given.json:
        report.write(given.json)
    if given.svg:
        write_picture(report.head, report.rows, given.svg)
    if missed := report.missed():
        print(f"missed: {', '.join(missed)}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
