#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Changes one ring in one place at a time and sees whether a test notices.

A mutant that does not compile is not counted. Survivors that survivors.md explains are marked; others, or fewer caught
than the ring's goal, end with status 1.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import math
import os
import pathlib
import queue
import re
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from commands import ROOT, must  # noqa: E402
from library_ring import LibraryRing  # noqa: E402
from mutants import mutants  # noqa: E402
from program_ring import ProgramRing  # noqa: E402

REQUIRED = {"library": 0.95, "host": 0.9, "service": 0.9, "shell": 0.9}


def explained():
    """(file, line, change) of each row of the survivors' table."""
    rows = set()
    for line in (ROOT / "tests/mutate/survivors.md").read_text().splitlines():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if len(cells) == 4 and cells[0].startswith("`"):
            rows.add(tuple(cell.strip("`").replace("\\|", "|") for cell in cells[:3]))
    return rows


def as_row(mutant):
    cells = [mutant.file, mutant.source, mutant.change]
    return "| " + " | ".join("`" + cell.replace("|", "\\|") + "`" for cell in cells) + " | |"


class Verdicts:
    """What is known from earlier runs: of what was caught as long as the mutated file is the same and tests only get
    better, of what survived a stage as long as the commit is."""

    def __init__(self, path, texts):
        self.path = path
        self.commit = must(["git", "rev-parse", "HEAD"]).strip()
        self.digests = {file: hashlib.sha256(text.encode()).hexdigest() for file, text in texts.items()}
        self.known = json.loads(path.read_text()) if path.exists() else {}

    def name(self, mutant):
        return " ".join([self.digests[mutant.file], mutant.file, str(mutant.begin), mutant.change])

    def earlier(self, mutant, stage):
        verdict, commit = self.known.get(self.name(mutant), {}).get(stage, (None, None))
        return None if verdict == "survived" and commit != self.commit else verdict

    def note(self, mutant, stage, verdict):
        self.known.setdefault(self.name(mutant), {})[stage] = (verdict, self.commit)
        whole = self.path.with_suffix(".new")  # an interruption leaves the old one or the new one
        whole.write_text(json.dumps(self.known))
        whole.replace(self.path)


def check_stages(ring, stages, candidates, wanted, jobs, verdicts, log):
    """Results of the first `wanted` candidates that compile: each stage tries what has survived those before."""
    results = {}
    for stage in stages:
        for mutant, verdict in check_all(ring, stage, candidates, wanted, jobs, verdicts, log):
            results[mutant] = verdict
        candidates = [mutant for mutant, verdict in results.items() if verdict == "survived"]
        wanted = len(candidates)
    return [(mutant, verdict) for mutant, verdict in results.items() if verdict != "invalid"]


def check_all(ring, stage, candidates, wanted, jobs, verdicts, log):
    """Results of one stage."""
    workers = queue.SimpleQueue()
    for worker in ring.workers(stage):
        workers.put(worker)

    def check(mutant):
        if verdicts.earlier(mutant, stage) is not None:
            return mutant, verdicts.earlier(mutant, stage)
        worker = workers.get()
        try:
            return mutant, worker.check(mutant)
        finally:
            workers.put(worker)

    results, valid, remaining = [], 0, iter(candidates)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        pending = set()
        while True:
            while len(pending) < jobs and valid + len(pending) < wanted:
                mutant = next(remaining, None)
                if mutant is None:
                    break
                pending.add(pool.submit(check, mutant))
            if not pending:
                return results
            done, pending = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                mutant, verdict = future.result()
                verdicts.note(mutant, stage, verdict)
                where = f"{mutant.file}:{mutant.line}"
                print(f"{stage:9} {verdict:24} {where}: {mutant.change}: {mutant.source}", file=log, flush=True)
                results.append((mutant, verdict))
                if verdict != "invalid":
                    valid += 1
                    show_progress(stage, valid, wanted)


def show_progress(stage, done, wanted):
    if sys.stderr.isatty():
        print(f"\r{stage}: {done} of {wanted}", end="\n" if done == wanted else "", file=sys.stderr, flush=True)


def print_table(results):
    """A line for each operator."""
    tried, caught = collections.Counter(), collections.Counter()
    for mutant, verdict in results:
        tried[mutant.operator] += 1
        caught[mutant.operator] += verdict != "survived"
    print(f"\n{'operator':16} {'mutants':>7} {'caught':>7} {'survived':>8}")
    for operator in sorted(tried):
        print(f"{operator:16} {tried[operator]:7} {caught[operator]:7} {tried[operator] - caught[operator]:8}")


def report(results, known, required):
    survivors = sorted((m for m, verdict in results if verdict == "survived"), key=lambda m: (m.file, m.line))
    caught = len(results) - len(survivors)
    for mutant in survivors:
        mark = "explained" if mutant.key() in known else "UNEXPLAINED"
        print(f"survived ({mark}) {mutant.file}:{mutant.line}: {mutant.change}\n    {mutant.source}")
    unexplained = [m for m in survivors if m.key() not in known]
    if unexplained:
        print("\nrows for survivors.md:")
        print("\n".join(as_row(mutant) for mutant in unexplained))
    print_table(results)
    share = caught / len(results) if results else 0
    print(f"\n{len(results)} mutants: {caught} caught, {len(survivors)} survived: {100 * share:.1f} % caught")
    return 0 if share >= required and not unexplained else 1


def order(seed, mutant):
    """At random, but a change elsewhere in the tree leaves the sample as it is."""
    return hashlib.sha256(" ".join([str(seed), *mutant.key()]).encode()).digest()


def refuse_changes():
    """The copies are of the commit; and what is explained is a line that the commit has."""
    if must(["git", "status", "--porcelain"]):
        sys.exit("the tree has changes: commit them first, the check is made of what is committed")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--ring", choices=sorted(REQUIRED), default="library")
    parser.add_argument("--build", type=pathlib.Path, help="where copies and builds are (build/mutate)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=500)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--seconds", type=float, default=math.inf, help="begin no further test of a mutant after so many (all)")
    parser.add_argument("--only", default="", help="mutate files whose path begins so")
    parser.add_argument("--operator", help="mutate in this way alone")
    parser.add_argument("--resume", action="store_true", help="keep what earlier runs found in files that are the same")
    parser.add_argument("--first", action="store_true", help="leave out what comes after the first stage")
    parser.add_argument("--survivors", action="store_true", help="check the survivors of the last run again")
    parser.add_argument("--known", action="store_true", help="check the explained survivors again")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    refuse_changes()
    place = (arguments.build or ROOT / "build/mutate").resolve()
    build = place / arguments.ring
    build.mkdir(parents=True, exist_ok=True)
    if arguments.ring == "library":
        ring = LibraryRing(arguments.ring, build, arguments.jobs)
    else:
        ring = ProgramRing(arguments.ring, place / "programs", arguments.jobs, arguments.seconds)  # the three share their copies
    everything = [m for file, text in ring.texts.items() for m in mutants(file, text)]
    candidates = [m for m in everything if m.file.startswith(arguments.only)]
    candidates = [m for m in candidates if arguments.operator in (None, m.operator)]
    candidates.sort(key=lambda mutant: order(arguments.seed, mutant))
    last = build / "survivors.json"
    if arguments.survivors:
        before = {tuple(key) for key in json.loads(last.read_text())}
        candidates = [m for m in candidates if m.key() in before]
    known = explained()
    if arguments.known:
        candidates = [m for m in candidates if m.key() in known]
    print(f"{len(everything)} possible mutants, up to {min(arguments.count, len(candidates))} of {len(candidates)} checked")

    if not arguments.resume:
        (build / "verdicts.json").unlink(missing_ok=True)
    verdicts = Verdicts(build / "verdicts.json", ring.texts)
    stages = ring.stages[:1] if arguments.first else ring.stages
    with open(build / "mutants.log", "w") as log:
        results = check_stages(ring, stages, candidates, arguments.count, arguments.jobs, verdicts, log)
    last.write_text(json.dumps([m.key() for m, verdict in results if verdict == "survived"]))
    return report(results, known, REQUIRED[arguments.ring])


if __name__ == "__main__":
    sys.exit(main())
