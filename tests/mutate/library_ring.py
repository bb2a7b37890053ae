# SPDX-License-Identifier: Apache-2.0
"""The library under mutation: each mutant is compiled alone and linked into a shared library that the unmodified unit
tests load, those of its own folder first, then the others, up to the first failure, a crash or the time limit."""

import dataclasses
import json
import os
import pathlib
import resource
import shlex
import shutil
import subprocess
import sys
import time

from commands import MEMORY_LIMIT_MB, ROOT, SANITIZERS, must, run

FOLDERS = ["diag", "db", "time", "cli", "pss", "show", "acfg"]
LIBRARY = "libmutant.so"


@dataclasses.dataclass(frozen=True)
class Test:
    folder: str
    executable: pathlib.Path
    wraps: tuple  # the calls of the library that its tests stand in for are named when the library is linked


class LibraryRing:
    """The library and its tests, built once; the tests relinked so that they load the library instead of holding it."""

    stages = ("sanitized",)

    def __init__(self, _, directory, jobs):
        self.directory = directory
        self.jobs = jobs
        self.glib = must(["pkg-config", "--libs", "glib-2.0"]).split()
        self.configure()
        self.compile_commands = self.library_objects()
        self.includers = self.find_includers()
        self.tests = self.relink_tests()
        self.texts = {file: (ROOT / file).read_text() for file in self.sources()}  # as they were built
        self.limits = time_limits(self)

    def workers(self, _):
        return [Worker(self, number) for number in range(self.jobs)]

    def configure(self):
        options = ["-DCMAKE_BUILD_TYPE=Mutate", "-DSCHEDCLI_PROGRAMS=OFF"]
        if shutil.which("ccache"):
            options += [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
        # Compiled hundreds of times; warnings about a mutant say nothing.
        flags = f"-O0 -w {' '.join(SANITIZERS)}"
        options += [f"-DCMAKE_CXX_FLAGS={flags}", f"-DCMAKE_C_FLAGS={flags}"]
        must(["cmake", "-S", ROOT, "-B", self.directory, "-G", "Ninja", *options])
        must(["cmake", "--build", self.directory, f"-j{self.jobs}"])

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
    def __init__(self, build, number):
        self.build = build
        self.directory = build.directory / "mutate" / f"worker{number}"
        shutil.rmtree(self.directory, ignore_errors=True)
        self.directory.mkdir(parents=True)

    def check(self, mutant):
        """'invalid', 'survived', or what caught it."""
        path = self.directory / "overlay" / mutant.file
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(mutant.apply(self.build.texts[mutant.file]))
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
        ordered = sorted(self.build.tests, key=lambda test: (test.folder != folder, self.build.limits[test]))
        linked = {}
        for test in ordered:
            if test.wraps not in linked:
                linked[test.wraps] = self.build.link_library(self.directory / str(len(linked)), replaced, test.wraps)
            if not passes(test, linked[test.wraps].parent, self.build.limits[test]):
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
