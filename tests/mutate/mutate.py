#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Changes the library in one place at a time and sees whether a unit test notices.

Each mutant is compiled alone and linked into a shared library that the unmodified unit tests load: those of its own
folder first, then the others, up to the first failure, a crash or the time limit. A mutant that does not compile is
not counted. Survivors that survivors.md explains are marked; others, or fewer than 95 % caught, end with status 1.
"""

import argparse
import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import queue
import re
import resource
import shlex
import shutil
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # the tree stays as it is
from mutants import mutants  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ["diag", "db", "time", "cli", "pss", "show", "acfg"]
REQUIRED = 0.95
MEMORY_LIMIT_MB = 2048  # a mutant's endless growth must not take the machine with it
SANITIZERS = ["-fsanitize=address,undefined", "-fno-sanitize-recover=undefined"]  # a wrong access is noticed too
LIBRARY = "libmutant.so"


def run(command, **options):
    return subprocess.run(command, cwd=options.pop("cwd", ROOT), text=True, capture_output=True, **options)


def must(command, **options):
    result = run(command, **options)
    if result.returncode != 0:
        sys.exit(f"{shlex.join(map(str, command))}\n{result.stdout}{result.stderr}")
    return result.stdout


@dataclasses.dataclass(frozen=True)
class Test:
    folder: str
    executable: pathlib.Path
    wraps: tuple  # the calls of the library that its tests stand in for are named when the library is linked


class Build:
    """The library and its tests, built once; the tests relinked so that they load the library instead of holding it."""

    def __init__(self, directory, jobs):
        self.directory = directory
        self.glib = must(["pkg-config", "--libs", "glib-2.0"]).split()
        self.configure(jobs)
        self.compile_commands = self.library_objects()
        self.includers = self.find_includers()
        self.tests = self.relink_tests()

    def configure(self, jobs):
        options = ["-DCMAKE_BUILD_TYPE=Mutate", "-DSCHEDCLI_PROGRAMS=OFF", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]
        if shutil.which("ccache"):
            options += [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
        # Compiled hundreds of times; warnings about a mutant say nothing.
        flags = f"-O0 -w {' '.join(SANITIZERS)}"
        options += [f"-DCMAKE_CXX_FLAGS={flags}", f"-DCMAKE_C_FLAGS={flags}"]
        must(["cmake", "-S", ROOT, "-B", self.directory, "-G", "Ninja", *options])
        must(["cmake", "--build", self.directory, f"-j{jobs}"])

    def library_objects(self):
        """Compile command and object of each library source."""
        entries = json.loads((self.directory / "compile_commands.json").read_text())
        found = {}
        for entry in entries:
            source = os.path.relpath(entry["file"], ROOT)
            command = [word for word in shlex.split(entry["command"]) if not word.endswith("ccache")]
            output = command[command.index("-o") + 1]
            if source.split("/")[0] in FOLDERS and "schedcli_objects.dir" in output:
                found[source] = (command, output)
        return found

    def find_includers(self):
        """Library sources by the header that they include, however deep."""
        includers = {}
        for source, (_, output) in self.compile_commands.items():
            for line in must(["ninja", "-C", self.directory, "-t", "deps", output]).splitlines()[1:]:
                header = os.path.relpath(self.directory / line.strip(), ROOT)
                if header.split("/")[0] in FOLDERS and header != source:
                    includers.setdefault(header, []).append(source)
        return includers

    def sources(self):
        return sorted(self.compile_commands) + sorted(h for h in self.includers if h.endswith(".h"))

    def relink_tests(self):
        """The unit tests that hold the library's objects."""
        listed = json.loads(must(["ctest", "--show-only=json-v1"], cwd=self.directory))
        tests = []
        for test in listed["tests"]:
            executable = pathlib.Path(test.get("command", [""])[0])
            if not executable.is_relative_to(self.directory):
                continue
            relative = executable.relative_to(self.directory)
            link = must(["ninja", "-C", self.directory, "-t", "commands", "-s", str(relative)]).splitlines()[-1]
            words = [word for word in shlex.split(link) if word not in (":", "&&")]
            if any("schedcli_objects.dir" in word for word in words):
                tests.append(self.relink(words, relative))
        return tests

    def relink(self, words, relative):
        wraps = tuple(word for word in words if word.startswith("-Wl,--wrap="))
        library = self.link_library(self.directory / "mutate" / relative.name, {}, wraps)
        output = words.index("-o") + 1
        # Before the archives, so that what only the library needs of them is taken too.
        kept = [*words[:output], str(library.parent / "test"), str(library), "-rdynamic", *words[output + 1 :]]
        must([word for word in kept if "schedcli_objects.dir" not in word], cwd=self.directory)
        return Test(relative.parts[1], library.parent / "test", wraps)

    def link_library(self, directory, replaced, wraps):
        directory.mkdir(parents=True, exist_ok=True)
        library = directory / LIBRARY
        objects = [replaced.get(output, str(self.directory / output)) for _, output in self.compile_commands.values()]
        must(["g++", "-shared", *SANITIZERS, "-o", library, f"-Wl,-soname,{LIBRARY}", *wraps, *objects, *self.glib])
        return library


class Worker:
    def __init__(self, build, number, limits, texts):
        self.build = build
        self.limits = limits
        self.texts = texts
        self.directory = build.directory / "mutate" / f"worker{number}"
        shutil.rmtree(self.directory, ignore_errors=True)
        self.directory.mkdir(parents=True)

    def check(self, mutant):
        """'invalid', 'survived', or what caught it."""
        path = self.directory / "overlay" / mutant.file
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(mutant.apply(self.texts[mutant.file]))
        try:
            replaced = self.compile(mutant.file)
        finally:
            path.unlink()
        return "invalid" if replaced is None else self.run_tests(mutant.file.split("/")[0], replaced)

    def compile(self, file):
        replaced = {}
        for source in [file] if file.endswith(".cpp") else self.build.includers[file]:
            command, output = self.build.compile_commands[source]
            target = self.directory / (source.replace("/", "_") + ".o")
            overlay = str(self.directory / "overlay")
            words = [command[0], f"-I{overlay}", *command[1:]]
            words[words.index("-o") + 1] = str(target)
            if source == file:
                words[words.index("-c") + 1] = f"{overlay}/{file}"
            if run(words, cwd=self.build.directory).returncode != 0:
                return None
            replaced[output] = str(target)
        return replaced

    def run_tests(self, folder, replaced):
        # Its own folder's tests first, then the quicker ones first.
        ordered = sorted(self.build.tests, key=lambda test: (test.folder != folder, self.limits[test]))
        linked = {}
        for test in ordered:
            if test.wraps not in linked:
                linked[test.wraps] = self.build.link_library(self.directory / str(len(linked)), replaced, test.wraps)
            if not passes(test, linked[test.wraps].parent, self.limits[test]):
                return test.executable.parent.name
        return "survived"


def leave_no_core():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(test, library_directory, limit):
    environment = {
        **os.environ,
        "LD_LIBRARY_PATH": str(library_directory),
        "GTEST_FAIL_FAST": "1",
        "GTEST_BRIEF": "1",
        "ASAN_OPTIONS": f"hard_rss_limit_mb={MEMORY_LIMIT_MB}",
    }
    process = subprocess.Popen(
        [str(test.executable)],
        cwd=library_directory,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        preexec_fn=leave_no_core,
    )
    try:
        return process.wait(timeout=limit) == 0
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return False


def time_limits(build):
    """Generous, since a busy machine must not pass for a caught mutant; the unchanged library must pass everything."""
    limits = {}
    for test in build.tests:
        start = time.monotonic()
        if not passes(test, test.executable.parent, 600):
            sys.exit(f"{test.executable.parent.name} fails with the unchanged library")
        limits[test] = 20 + 10 * (time.monotonic() - start)
    return limits


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
    """What is known from earlier runs; it holds as long as the mutated file is the same and tests only get better."""

    def __init__(self, path, texts):
        self.path = path
        self.digests = {file: hashlib.sha256(text.encode()).hexdigest() for file, text in texts.items()}
        self.known = json.loads(path.read_text()) if path.exists() else {}

    def name(self, mutant):
        return " ".join([self.digests[mutant.file], mutant.file, str(mutant.begin), mutant.change])

    def earlier(self, mutant):
        verdict = self.known.get(self.name(mutant))
        return None if verdict == "survived" else verdict

    def note(self, mutant, verdict):
        self.known[self.name(mutant)] = verdict
        self.path.write_text(json.dumps(self.known))


def check_all(build, texts, candidates, wanted, jobs, limits, verdicts, log):
    """Results of the first `wanted` candidates that compile."""
    workers = queue.SimpleQueue()
    for number in range(jobs):
        workers.put(Worker(build, number, limits, texts))

    def check(mutant):
        if verdicts.earlier(mutant) is not None:
            return mutant, verdicts.earlier(mutant)
        worker = workers.get()
        try:
            return mutant, worker.check(mutant)
        finally:
            workers.put(worker)

    results, remaining = [], iter(candidates)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        pending = set()
        while True:
            while len(pending) < jobs and len(results) + len(pending) < wanted:
                mutant = next(remaining, None)
                if mutant is None:
                    break
                pending.add(pool.submit(check, mutant))
            if not pending:
                return results
            done, pending = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                mutant, verdict = future.result()
                verdicts.note(mutant, verdict)
                print(f"{verdict:24} {mutant.file}:{mutant.line}: {mutant.change}: {mutant.source}", file=log, flush=True)
                if verdict != "invalid":
                    results.append((mutant, verdict))
                    show_progress(len(results), wanted)


def show_progress(done, wanted):
    if sys.stderr.isatty():
        print(f"\r{done} of {wanted}", end="\n" if done == wanted else "", file=sys.stderr, flush=True)


def report(results, known):
    survivors = sorted((m for m, verdict in results if verdict == "survived"), key=lambda m: (m.file, m.line))
    caught = len(results) - len(survivors)
    for mutant in survivors:
        mark = "explained" if mutant.key() in known else "UNEXPLAINED"
        print(f"survived ({mark}) {mutant.file}:{mutant.line}: {mutant.change}\n    {mutant.source}")
    unexplained = [m for m in survivors if m.key() not in known]
    if unexplained:
        print("\nrows for survivors.md:")
        print("\n".join(as_row(mutant) for mutant in unexplained))
    share = caught / len(results) if results else 0
    print(f"\n{len(results)} mutants: {caught} caught, {len(survivors)} survived: {100 * share:.1f} % caught")
    return 0 if share >= REQUIRED and not unexplained else 1


def order(seed, mutant):
    """At random, but a change elsewhere in the tree leaves the sample as it is."""
    return hashlib.sha256(" ".join([str(seed), *mutant.key()]).encode()).digest()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/mutate")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=500)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--only", default="", help="mutate files whose path begins so")
    parser.add_argument("--resume", action="store_true", help="keep what earlier runs caught in files that are the same")
    parser.add_argument("--survivors", action="store_true", help="check the survivors of the last run again")
    parser.add_argument("--known", action="store_true", help="check the explained survivors again")
    arguments = parser.parse_args()

    build = Build(arguments.build.resolve(), arguments.jobs)
    texts = {file: (ROOT / file).read_text() for file in build.sources()}  # as they were built
    everything = [m for file, text in texts.items() for m in mutants(file, text)]
    candidates = [m for m in everything if m.file.startswith(arguments.only)]
    candidates.sort(key=lambda mutant: order(arguments.seed, mutant))
    last = arguments.build / "survivors.json"
    if arguments.survivors:
        before = {tuple(key) for key in json.loads(last.read_text())}
        candidates = [m for m in candidates if m.key() in before]
    known = explained()
    if arguments.known:
        candidates = [m for m in candidates if m.key() in known]
    print(f"{len(everything)} possible mutants, up to {min(arguments.count, len(candidates))} of {len(candidates)} checked")

    if not arguments.resume:
        (arguments.build / "verdicts.json").unlink(missing_ok=True)
    verdicts = Verdicts(arguments.build / "verdicts.json", texts)
    with open(arguments.build / "mutants.log", "w") as log:
        results = check_all(build, texts, candidates, arguments.count, arguments.jobs, time_limits(build), verdicts, log)
    last.write_text(json.dumps([m.key() for m, verdict in results if verdict == "survived"]))
    return report(results, known)


if __name__ == "__main__":
    sys.exit(main())
