# SPDX-License-Identifier: Apache-2.0
"""Which test cases enter which functions, so that a mutant is tried on the cases alone that could notice it."""

import bisect
import collections
import dataclasses
import json
import os
import pathlib
import re
import struct
import subprocess

from commands import must

NOTES = 1 << 17
SOURCE = pathlib.Path(__file__).with_name("entered.c")


def instrumented(build):
    """Compiler options for code whose functions are noted, and the library that notes them."""
    build.mkdir(parents=True, exist_ok=True)
    library = build / "entered.so"
    places = [f'-DENTERED="{build}/entered"', f'-DBUILD="{build}/"']
    must(["cc", "-O1", "-fPIC", "-shared", *places, SOURCE, "-o", library])
    noted = "-finstrument-functions -finstrument-functions-exclude-file-list=/usr/,/tests/"
    # The linker would leave it out of a program that has no such function itself, and the C library has empty ones of
    # the same names, which would then come before those of the libraries' own library.
    linked = f"-Wl,--push-state,--no-as-needed {library} -Wl,--pop-state"
    return f"{noted} -fvisibility-inlines-hidden", linked


def hash_of(name):
    """As in entered.c."""
    total = 5381
    for byte in name.split(".so")[0].encode():
        total = (total * 33 + byte) & 0xFFFF
    return total


@dataclasses.dataclass(frozen=True)
class Case:
    test: str
    name: str  # empty: the test has no cases of its own


def cases_of(test):
    """The cases of a GoogleTest program; another kind of test is one."""
    if not test.command[0].endswith("_test") or len(test.command) > 1:
        return [Case(test.name, "")]
    listed = subprocess.run([*test.command, "--gtest_list_tests"], capture_output=True, text=True, cwd=test.directory)
    suite, found = "", []
    for line in listed.stdout.splitlines():
        line = line.split("#")[0].rstrip()
        if line.startswith("  "):
            found.append(Case(test.name, suite + line.strip()))
        elif line.endswith("."):
            suite = line
    return [case for case in found if "DISABLED_" not in case.name] or [Case(test.name, "")]


class Notes:
    """The file where the functions are noted, while it exists."""

    def __init__(self, build):
        self.path = build / "entered"

    def __enter__(self):
        with open(self.path, "wb") as file:
            file.truncate(8 * NOTES)
        self.path.chmod(0o666)
        return self

    def __exit__(self, *_):
        self.path.unlink()

    def entered(self):
        with open(self.path, "rb") as file:
            count = min(struct.unpack("<Q", file.read(8))[0], NOTES - 1)
            return set(struct.unpack(f"<{count}Q", file.read(8 * count)))


def functions_of(linked):
    """(begin, end) of each function of a linked file, ascending."""
    found = set()
    for line in must(["nm", "--defined-only", "-S", linked]).splitlines():
        match = re.match(r"([0-9a-f]+) ([0-9a-f]+) [tTwWuV] ", line)
        if match:
            begin = int(match[1], 16)
            found.add((begin, begin + int(match[2], 16)))
    return sorted(found)


def lines_of(linked, source):
    """(file, line, address) of each row of the line table that is of our sources."""
    table = must(["objdump", "--wide", "--dwarf=decodedline", linked])
    file = None
    for row in table.splitlines():
        if row.endswith(":") and "/" in row:
            path = row.rstrip(":").removeprefix("CU: ")
            file = path.removeprefix(f"{source}/") if path.startswith(f"{source}/") else None
            continue
        match = re.match(r"(\S+)\s+(\d+)\s+0x([0-9a-f]+)", row)
        # The rows behind a unit's heading may be of one of its headers.
        if match and file and os.path.basename(file) == match[1]:
            yield file, int(match[2]), int(match[3], 16)


class Places:
    """The functions that have code of a line, as the notes name them."""

    def __init__(self, linked_files, source):
        self.functions = collections.defaultdict(set)
        for linked in linked_files:
            known = functions_of(linked)
            begins = [begin for begin, _ in known]
            name = hash_of(linked.name) << 48
            for file, line, address in lines_of(linked, source):
                at = bisect.bisect_right(begins, address) - 1
                if at >= 0 and address < known[at][1]:
                    self.functions[file, line].add(name | begins[at])
        if not self.functions:
            raise RuntimeError("no function was found by its lines: is the build without debug information?")

    def of(self, file, line):
        return self.functions.get((file, line), set())

    def of_file(self, file):
        return set().union(*(functions for (name, _), functions in self.functions.items() if name == file))


class Reach:
    """Function -> cases, kept from one run to the next while what a case runs is the same to the byte."""

    def __init__(self, path):
        self.path = path
        self.seconds, self.made_of, self.cases = {}, {}, collections.defaultdict(set)

    def take_kept(self, made_of):
        """What is known of the cases that `made_of` names, by their test's name; of others nothing is."""
        kept = json.loads(self.path.read_text()) if self.path.exists() else []
        for test, name, seconds, digest, functions in kept:
            if made_of.get(test) == digest:
                self.add(Case(test, name), seconds, digest, functions)

    def add(self, case, seconds, digest, functions):
        self.seconds[case], self.made_of[case] = seconds, digest
        for function in functions:
            self.cases[function].add(case)

    def keep(self):
        of_case = collections.defaultdict(list)
        for function, cases in self.cases.items():
            for case in cases:
                of_case[case].append(function)
        rows = [[case.test, case.name, seconds, self.made_of[case], of_case[case]] for case, seconds in self.seconds.items()]
        self.path.write_text(json.dumps(rows))

    def that_enter(self, functions):
        return set().union(*(self.cases[function] for function in functions)) if functions else set()
