#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""tidy.py BUILD: clang-tidy over every source of the library, the host and the programs, one process for each core."""
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

FOLDERS = ("diag", "db", "time", "cli", "pss", "show", "acfg", "host", "control", "service", "shell")
# The path-sensitive analyzer takes minutes there for what the address sanitizer sees in the tests.
WITHOUT_ANALYZER = ("service", "shell")


def check(file, build):
    ring = pathlib.Path(file).relative_to(pathlib.Path.cwd()).parts[0]
    options = ["--checks=-clang-analyzer-*"] if ring in WITHOUT_ANALYZER else []
    result = subprocess.run(["clang-tidy", "--quiet", f"-p={build}", *options, file], capture_output=True, text=True)
    return result.returncode, result.stdout


def with_clangs_options(build):
    """A database of the same commands, without what only the other compiler knows."""
    text = (build / "compile_commands.json").read_text()
    folder = build / "tidy"
    folder.mkdir(exist_ok=True)
    (folder / "compile_commands.json").write_text(text.replace(" -fno-gnu-unique", ""))
    return folder


def main():
    build = with_clangs_options(pathlib.Path(sys.argv[1]))
    root = pathlib.Path.cwd()
    commands = json.loads((build / "compile_commands.json").read_text())
    files = sorted({c["file"] for c in commands if pathlib.Path(c["file"]).relative_to(root).parts[0] in FOLDERS})
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for code, text in pool.map(lambda file: check(file, build), files):
            failed += code != 0
            print(text, end="")
    print(f"clang-tidy: {len(files)} files, {failed} with findings")
    return 1 if failed or not files else 0


sys.exit(main())
