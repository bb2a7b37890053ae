#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""tidy.py BUILD: clang-tidy over every source of the library, the host and the programs, one process for each core.
Most of its time goes into the standard headers: sources of a folder, where a name stands for one thing, are checked as one
translation unit. Where that has a finding either half is checked, down to single sources."""
import concurrent.futures
import json
import os
import pathlib
import shlex
import subprocess
import sys

FOLDERS = ("diag", "db", "time", "cli", "pss", "show", "acfg", "host", "control", "service", "shell")
# The path-sensitive analyzer takes minutes there for what the address sanitizer sees in the tests.
WITHOUT_ANALYZER = ("service", "shell")
SOURCES_TOO = "--header-filter=/(include|platform|" + "|".join(FOLDERS) + r")/.*\.(h|cpp)$"
AT_ONCE = 12


def ring(file):
    return pathlib.Path(file).relative_to(pathlib.Path.cwd()).parts[0]


def options_of(entry):
    """The command without the names of its source and its output, and without what only the other compiler knows."""
    words = shlex.split(entry["command"])
    del words[words.index("-o"):words.index("-o") + 2]
    return tuple(word for word in words if word not in ("-c", entry["file"], "-fno-gnu-unique"))


def groups_of(entries):
    alike = {}
    for entry in entries:
        kind = ring(entry["file"]) in WITHOUT_ANALYZER, options_of(entry), os.path.dirname(entry["file"])
        alike.setdefault(kind, []).append(entry["file"])
    for (without_analyzer, options, _), files in alike.items():
        for first in range(0, len(files), AT_ONCE):
            yield without_analyzer, options, files[first:first + AT_ONCE]


def checked(options, without_analyzer, source):
    left_out = ["-bugprone-suspicious-include"] + (["-clang-analyzer-*"] if without_analyzer else [])
    command = ["clang-tidy", "--quiet", SOURCES_TOO, "--checks=" + ",".join(left_out), source, "--", *options[1:]]
    return subprocess.run(command, capture_output=True, text=True)


def findings(without_analyzer, options, files, folder):
    """What is found in these files: nothing at once, or by looking at either half."""
    unit = folder / (pathlib.Path(files[0]).relative_to(pathlib.Path.cwd()).as_posix().replace("/", "-") + f"-{len(files)}.cpp")
    unit.write_text("".join(f'#include "{file}"\n' for file in files))
    result = checked(options, without_analyzer, unit if len(files) > 1 else files[0])
    if result.returncode == 0:
        return []
    if len(files) == 1:
        return [result.stdout]
    half = len(files) // 2
    return sum((findings(without_analyzer, options, part, folder) for part in (files[:half], files[half:])), [])


def main():
    build = pathlib.Path(sys.argv[1])
    commands = json.loads((build / "compile_commands.json").read_text())
    entries = {each["file"]: each for each in commands if ring(each["file"]) in FOLDERS}
    folder = build / "tidy"
    folder.mkdir(exist_ok=True)
    groups = list(groups_of(entries[file] for file in sorted(entries)))
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(lambda group: findings(*group, folder), groups):
            failed += len(found)
            print("".join(found), end="")
    print(f"clang-tidy: {len(entries)} files in {len(groups)} groups, {failed} with findings")
    return 1 if failed or not entries else 0


if __name__ == "__main__":
    sys.exit(main())
