#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""builds.py FOLDER: the product builds without a preset too, where a warning is none of ours to refuse: optimised as a
Release and with Debian's hardening, without a build type, and by clang. What optimisation makes the compiler see is
compiled for good; the others are checked up to the code."""
import concurrent.futures
import json
import os
import pathlib
import shlex
import subprocess
import sys

DEBIAN = {"CXXFLAGS": "--get CXXFLAGS", "CFLAGS": "--get CFLAGS", "CPPFLAGS": "--get CPPFLAGS"}
CLANG = {"CC": "clang", "CXX": "clang++"}


def debian_flags():
    run = lambda question: subprocess.run(["dpkg-buildflags", *question.split()], capture_output=True, text=True, check=True)
    return {name: run(question).stdout.strip() for name, question in DEBIAN.items()}


def configure(folder, environment, options):
    environment = {**os.environ, **environment}
    environment["CXXFLAGS"] = " ".join(environment.get(name, "") for name in ("CPPFLAGS", "CXXFLAGS"))
    command = ["cmake", "-G", "Ninja", "-DSCHEDCLI_TESTS=OFF", *options, "-B", folder]
    result = subprocess.run(command, env=environment, capture_output=True, text=True)
    if result.returncode != 0:
        print(result.stdout + result.stderr)
    return result.returncode == 0


def compiled(entry, syntax_only):
    words = shlex.split(entry["command"])
    del words[words.index("-o"):words.index("-o") + 2]
    words = [word for word in words if word != "-g"]
    words += ["-fsyntax-only"] if syntax_only else ["-o", "/dev/null"]
    return subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True)


def fails(folder, syntax_only):
    entries = json.loads((folder / "compile_commands.json").read_text())
    warned, failed = 0, []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for entry, result in zip(entries, pool.map(lambda each: compiled(each, syntax_only), entries)):
            warned += "warning:" in result.stderr
            if result.returncode != 0:
                failed.append(entry["file"])
                print(result.stderr)
    print(f"{folder.name}: {len(entries)} files, {warned} with warnings, {len(failed)} failed")
    return bool(failed) or not entries


def main():
    root = pathlib.Path(sys.argv[1])
    builds = [("hardened-release", debian_flags(), ["-DCMAKE_BUILD_TYPE=Release"], False), ("no-build-type", {}, [], True),
              ("clang", CLANG, ["-DCMAKE_BUILD_TYPE=Release"], True)]
    bad = [name for name, environment, options, syntax_only in builds
           if not configure(root / name, environment, options) or fails(root / name, syntax_only)]
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
