# SPDX-License-Identifier: Apache-2.0
"""Host, service and shell under mutation: each worker has a copy of the committed tree and a build of its own.

The rings are shared libraries there, so that a mutant costs one object and one link; what was built of the tests stays.
What survives the tests as they are, which takes a fifth of the time, is tried with the sanitizers too.
It is tried on the test cases that enter a function of its line; what none of them enters has survived. First come tests
that have caught most of the file's, then those that are named as its path is, then the tests of the ring's own folder, of
those the ones that enter most of the file in their time.
"""

import collections
import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

from commands import MEMORY_LIMIT_MB, ROOT, SANITIZERS, must, run
from reach import Notes, Places, Reach, cases_of, instrumented

# Where the tests are that could notice a change of the ring.
TEST_FOLDERS = {
    "host": ["host", "service", "shell", "system"],
    "service": ["service", "system"],
    "shell": ["shell", "system"],
}
CONTAINED = pathlib.Path(__file__).with_name("contained.py")
TIME_IS_OVER = 124


@dataclasses.dataclass(frozen=True)
class Test:
    name: str
    folder: str
    command: tuple
    directory: str
    environment: tuple


class Tree:
    """A copy of the committed source and its build; what an interrupted run has left changed is put back."""

    def __init__(self, directory):
        self.directory = directory
        self.source = directory / "source"
        self.build = directory / "build"
        self.scratch = directory / "scratch"

    def take_commit(self):
        """Files that are the same keep their time, and with it what was built of them."""
        fresh = self.directory / "fresh"
        shutil.rmtree(fresh, ignore_errors=True)
        fresh.mkdir(parents=True)
        archive = subprocess.run(["git", "archive", "HEAD"], cwd=ROOT, check=True, capture_output=True).stdout
        subprocess.run(["tar", "-x", "-C", fresh], input=archive, check=True)
        wanted = {path.relative_to(fresh) for path in fresh.rglob("*") if not path.is_dir()}
        for path in [path for path in self.source.rglob("*") if not path.is_dir()]:
            if path.relative_to(self.source) not in wanted:
                path.unlink()
        for path in wanted:
            old, new = self.source / path, fresh / path
            if not old.exists() or old.read_bytes() != new.read_bytes():
                old.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(new, old)
                os.utime(old)
        shutil.rmtree(fresh)

    def configure_noted(self):
        """Each function that is entered can be noted."""
        noted, linked = instrumented(self.build)
        self.configure(f"-g1 {noted}", linked)

    def configure_sanitized(self):
        self.configure(" ".join(SANITIZERS))

    def configure(self, flags="", linked=""):
        options = ["-DCMAKE_BUILD_TYPE=Mutate", "-DBUILD_SHARED_LIBS=ON", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"]
        options += [f"-DCMAKE_{language}_FLAGS=-O0 -w {flags}" for language in ("C", "CXX")]
        linker = "-fuse-ld=lld" if shutil.which("ld.lld") else ""
        options += [f"-DCMAKE_{kind}_LINKER_FLAGS={linker} {linked}" for kind in ("EXE", "SHARED", "MODULE")]
        if shutil.which("ccache"):
            options += [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
        must(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", *options])

    def make(self, targets=(), jobs=1):
        # Lines are found by the whole paths of their files, which this would shorten.
        environment = {**os.environ, "CCACHE_BASEDIR": ""}
        return run(["ninja", "-C", self.build, f"-j{jobs}", *targets], env=environment)

    def make_all(self, jobs):
        built = self.make(jobs=jobs)
        if built.returncode != 0:
            sys.exit(built.stdout + built.stderr)

    def products(self):
        """All that was linked and is no test."""
        targets = must(["ninja", "-C", self.build, "-t", "targets", "all"]).splitlines()
        linked = [line.split(":")[0] for line in targets if "_LINKER__" in line]
        return [target for target in linked if not target.startswith("tests/") and (self.build / target).exists()]

    def programs_with(self, header):
        """The test programs that include it."""
        found, program = set(), None
        for line in must(["ninja", "-C", self.build, "-t", "deps"]).splitlines():
            if not line.startswith(" "):
                named = re.match(r"tests/.*CMakeFiles/([^/]+)\.dir/", line)
                program = named and named[1]
            elif program and os.path.relpath(self.build / line.strip(), self.source) == header:
                found.add(program)
        return found

    def is_ours(self, target):
        """Whether it is linked from the rings' sources: no archive, and no link to another name."""
        path = self.build / target
        return path.suffix != ".a" and path.is_file() and not path.is_symlink()

    def sources(self, ring):
        """The ring's sources, and its headers that they include."""
        sources, headers = set(), set()
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            path = os.path.relpath(entry["file"], self.source)
            if path.startswith(ring + "/"):
                sources.add(path)
        for line in must(["ninja", "-C", self.build, "-t", "deps"]).splitlines():
            path = os.path.relpath(self.build / line.strip(), self.source)
            if path.startswith(ring + "/") and path.endswith(".h"):
                headers.add(path)
        return sorted(sources) + sorted(headers)

    def tests(self, ring):
        listed = json.loads(must(["ctest", "--show-only=json-v1"], cwd=self.build))
        found = []
        for test in listed["tests"]:
            properties = {entry["name"]: entry["value"] for entry in test["properties"]}
            directory = properties["WORKING_DIRECTORY"]
            folder = os.path.relpath(directory, self.build / "tests").split("/")[0]
            if folder in TEST_FOLDERS[ring] and "long" not in properties.get("LABELS", []):
                environment = tuple(properties.get("ENVIRONMENT", []))
                found.append(Test(test["name"], folder, tuple(test["command"]), directory, environment))
        return found

    def digests(self, tests, products):
        """Of all that each test runs, by its name."""
        linked = hashlib.sha256()
        for product in sorted(products):
            linked.update((self.build / product).read_bytes())
        found = {}
        for test in tests:
            own = linked.copy()
            for part in test.command:
                own.update(pathlib.Path(part).read_bytes() if os.path.isfile(part) else part.encode())
            found[test.name] = own.hexdigest()
        return found

    def passes(self, test, cases, seconds):
        """Whether these cases of the test do; or None when their time was over."""
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.scratch.mkdir()
        self.scratch.chmod(0o1777)
        environment = {
            **os.environ,
            "TMPDIR": str(self.scratch),
            "GTEST_FILTER": ":".join(case.name for case in cases) or "*",
            "GTEST_FAIL_FAST": "1",
            "GTEST_BRIEF": "1",
            "ASAN_OPTIONS": f"hard_rss_limit_mb={MEMORY_LIMIT_MB}",
            **dict(entry.split("=", 1) for entry in test.environment),
        }
        command = [sys.executable, CONTAINED, str(seconds), *test.command]
        nowhere = subprocess.DEVNULL
        status = subprocess.run(command, cwd=test.directory, env=environment, stdout=nowhere, stderr=nowhere).returncode
        return None if status == TIME_IS_OVER else status == 0


class ProgramRing:
    """What the check needs to know of a ring: its texts, its stages, and a worker for each job."""

    stages = ("plain", "sanitized")

    def __init__(self, ring, directory, jobs, seconds):
        self.ring = ring
        self.seconds = seconds
        self.trees = [Tree(directory / f"noted{number}") for number in range(jobs)]
        self.sanitized_trees = [Tree(directory / f"sanitized{number}") for number in range(jobs)]
        for tree in self.trees:
            tree.take_commit()
            tree.configure_noted()
            tree.make_all(jobs)
        first = self.trees[0]
        self.targets = first.products()
        self.texts = {file: (first.source / file).read_text() for file in first.sources(ring)}
        self.caught_by = collections.Counter()
        self.reach = Reach(directory / "reach.json")
        self.program_of = {test.name: os.path.basename(test.command[0]) for test in first.tests(ring)}
        self.try_cases()
        self.places = Places([first.build / target for target in self.targets if first.is_ours(target)], first.source)

    def try_cases(self):
        """The unchanged ring must pass each; what it enters then is noted."""
        tests = self.trees[0].tests(self.ring)
        self.made_of = self.trees[0].digests(tests, self.targets)
        self.reach.take_kept(self.made_of)
        waiting = [(test, case) for test in tests for case in cases_of(test)]
        waiting = [entry for entry in waiting if entry[1] not in self.reach.seconds]
        queue = collections.deque(waiting)
        with concurrent.futures.ThreadPoolExecutor(len(self.trees)) as pool:
            failed = sum(pool.map(lambda tree: self.try_waiting(tree, queue), self.trees), [])
        self.reach.keep()
        if failed:
            sys.exit(f"with the unchanged {self.ring} these fail: {' '.join(failed)}")

    def try_waiting(self, tree, queue):
        failed = []
        tests = {test.name: test for test in tree.tests(self.ring)}
        while queue:
            test, case = queue.popleft()
            start = time.monotonic()
            with Notes(tree.build) as notes:
                if tree.passes(tests[test.name], [case], 900) or tree.passes(tests[test.name], [case], 900):
                    self.reach.add(case, time.monotonic() - start, self.made_of[case.test], notes.entered())
                else:
                    failed.append(f"{case.test} {case.name}")
        return failed

    def cases_for(self, mutant):
        functions = self.places.of(mutant.file, mutant.line)
        cases = self.reach.that_enter(functions) if functions else self.cases_of_file(mutant.file)
        if not mutant.file.endswith(".h"):
            return cases
        # What a test program has of a header's inline functions is its own.
        programs = self.trees[0].programs_with(mutant.file)
        return cases | {case for case in self.reach.seconds if self.program_of[case.test] in programs}

    def cases_of_file(self, file):
        """For a line without code of its own, as in a table."""
        return self.reach.that_enter(self.places.of_file(file)) or set(self.reach.seconds)

    def workers(self, stage):
        if stage == "plain":
            return [Worker(self, tree, is_known=True) for tree in self.trees]
        for tree in self.sanitized_trees:
            tree.take_commit()
            tree.configure_sanitized()
            tree.make_all(len(self.trees))
        return [Worker(self, tree, is_known=False) for tree in self.sanitized_trees]

    def in_order(self, tests, file, cases):
        """(test, its cases), as many as the time for a mutant has room for."""
        folder = os.path.dirname(file)
        of_test = collections.defaultdict(list)
        for case in cases:
            of_test[case.test].append(case)

        entered = collections.Counter()
        for function in self.places.of_file(file):
            entered.update({case.test for case in self.reach.cases[function]})

        def rank(test):
            return (
                -self.caught_by[file, test.name],
                -self.named_alike(test, file),
                -self.caught_by[folder, test.name],
                test.folder != self.ring,
                -entered[test.name] / (1 + self.time_of(of_test[test.name])),
            )

        spent = 0
        for test in sorted((t for t in tests if of_test[t.name]), key=rank):
            if spent >= self.seconds:
                return
            spent += self.time_of(of_test[test.name])
            yield test, of_test[test.name]

    def named_alike(self, test, file):
        """How many words of the test's name the file's path has."""
        words = set(test.name.split("_")) - {"test", self.ring}
        return sum(any(word in part for part in re.split(r"[/_.]", file)) for word in words)

    def note_catch(self, file, test):
        self.caught_by[file, test.name] += 1
        self.caught_by[os.path.dirname(file), test.name] += 1

    def time_of(self, cases):
        return sum(self.reach.seconds[case] for case in cases)

    def time_limit(self, cases):
        """Generous, since a busy machine must not pass for a caught mutant."""
        return 30 + 12 * self.time_of(cases)


class Worker:
    """A build that mutants are tried in. is_known: its tests have passed with the unchanged ring."""

    def __init__(self, ring, tree, is_known):
        self.ring = ring
        self.tree = tree
        self.is_known = is_known
        self.tests = tree.tests(ring.ring)
        self.stale = set()  # test programs that may have an earlier mutant's header

    def check(self, mutant):
        """'invalid', 'survived', or what caught it."""
        path = self.tree.source / mutant.file
        original = self.ring.texts[mutant.file]
        path.write_text(mutant.apply(original))
        try:
            verdict, test, cases = self.tried(mutant)
        finally:
            path.write_text(original)
        if test is not None and not self.is_known and not self.passes_unchanged(mutant, test, cases):
            sys.exit(f"with the sanitizers and the unchanged {self.ring.ring} this fails: {test.name}")
        return verdict

    def tried(self, mutant):
        """(verdict, the test that caught it, its cases)"""
        if self.tree.make(self.ring.targets).returncode != 0:
            return "invalid", None, None
        for test, cases in self.ring.in_order(self.tests, mutant.file, self.ring.cases_for(mutant)):
            if not self.fresh(mutant, self.ring.program_of[test.name]):
                return "invalid", None, None
            limit = self.ring.time_limit(cases)
            passed = self.tree.passes(test, cases, limit)
            # What fails by chance would pass for a catch.
            if passed is None or not passed and not self.tree.passes(test, cases, limit):
                self.ring.note_catch(mutant.file, test)
                return test.name, test, cases
        return "survived", None, None

    def passes_unchanged(self, mutant, test, cases):
        made = self.tree.make(self.ring.targets)
        if made.returncode != 0 or not self.fresh(mutant, self.ring.program_of[test.name]):
            sys.exit(made.stdout + made.stderr)
        return self.tree.passes(test, cases, self.ring.time_limit(cases))

    def fresh(self, mutant, program):
        """Whether the test program is built of the source as it is."""
        if program.endswith("_test") and (mutant.file.endswith(".h") or program in self.stale):
            if self.tree.make([program]).returncode != 0:
                return False
            self.stale.discard(program)
            if mutant.file.endswith(".h"):
                self.stale.add(program)
        return True
