#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""circles.py BUILD: no two files know each other, directly or by others. A file is a header with its source.

What the sources include is looked at in every folder. A call by a public header is no include of its file, so in the
library the objects' symbols are looked at too."""
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from sources import sources  # noqa: E402

FOLDERS = {"include", "platform", "diag", "db", "time", "cli", "pss", "show", "acfg", "host", "control", "service", "shell"}
LIBRARY_OBJECTS = "CMakeFiles/schedcli_objects.dir"


def circles(uses):
    """The groups of files of which each reaches each other one; `uses` maps a file to those that it knows."""
    reached = {}
    for start in uses:
        found, open_ends = set(), [start]
        while open_ends:
            for file in uses.get(open_ends.pop(), ()):
                if file not in found:
                    found.add(file)
                    open_ends.append(file)
        reached[start] = found
    groups = {frozenset(other for other in reached[file] if file in reached.get(other, ())) for file in uses}
    return sorted(sorted(group) for group in groups if len(group) > 1)


def included_files():
    files = [file for file in sources() if file.parts[0] in FOLDERS]
    known = {str(file.with_suffix("")) for file in files}
    uses = {}
    for file in files:
        own = str(file.with_suffix(""))
        targets = uses.setdefault(own, set())
        for name in re.findall(r'^\s*#\s*include\s*"([^"]+)\.h"', file.read_text(), re.M):
            targets |= {path for path in (name, "include/" + name) if path in known and path != own}
    return uses


def symbols(object_file):
    """What the object defines for others, and what it needs."""
    listing = subprocess.run(["nm", "-g", object_file], capture_output=True, text=True, check=True).stdout
    defined, needed = set(), set()
    for line in listing.splitlines():
        kind, name = line.split()[-2:]
        if kind in "TDBR":
            defined.add(name)
        elif kind == "U":
            needed.add(name)
    return defined, needed


def called_files(folder):
    built = {path.relative_to(folder).with_suffix(""): path for path in folder.rglob("*.o")}
    # An object whose source was moved stays in the build.
    objects = {str(source.with_suffix("")): symbols(path) for source, path in built.items() if source.exists()}
    home = {name: file for file, (defined, _) in objects.items() for name in defined}
    return {file: {home[name] for name in needed if name in home and home[name] != file}
            for file, (_, needed) in objects.items()}


def main():
    called = called_files(pathlib.Path(sys.argv[1]) / LIBRARY_OBJECTS)
    if not called:
        print(f"no objects of the library in {sys.argv[1]}")
        return 1
    found = circles(included_files()) + circles(called)
    for group in found:
        print("these know each other: " + ", ".join(group))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
