#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""builds.py FOLDER: the product builds without a preset too, where a warning is none of ours to refuse. As a Release with
Debian's hardening it is compiled whole, as that is what optimisation makes the compiler warn of; by clang, which static
analysis gives every source to, and without a build type, where nothing is optimised, a source of each folder is."""
import concurrent.futures
import json
import os
import pathlib
import shlex
import subprocess
import sys
import time

CLANG = {"CC": "clang", "CXX": "clang++"}


def debian_flags():
    def get(name):
        return subprocess.run(["dpkg-buildflags", "--get", name], capture_output=True, text=True, check=True).stdout.strip()
    return {"CXXFLAGS": get("CPPFLAGS") + " " + get("CXXFLAGS"), "CFLAGS": get("CPPFLAGS") + " " + get("CFLAGS")}


def ring(entry):
    return pathlib.Path(entry["file"]).relative_to(pathlib.Path.cwd()).parts[0]


def one_of_each_ring(entries):
    return list({ring(entry): entry for entry in entries}.values())


def configured(folder, environment, options):
    command = ["cmake", "-G", "Ninja", "-DSCHEDCLI_TESTS=OFF", *options, "-B", folder]
    result = subprocess.run(command, env={**os.environ, **environment}, capture_output=True, text=True)
    if result.returncode != 0:
        print(result.stdout + result.stderr)
    return result.returncode == 0


def compiled(entry):
    words = shlex.split(entry["command"])
    del words[words.index("-o"):words.index("-o") + 2]
    words = [word for word in words if word != "-g"] + ["-o", "/dev/null"]
    return subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True)


def fails(folder, choose):
    begun = time.monotonic()
    entries = choose(json.loads((folder / "compile_commands.json").read_text()))
    warned, failed = 0, 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for result in pool.map(compiled, entries):
            warned += "warning:" in result.stderr
            failed += result.returncode != 0
            if result.returncode != 0:
                print(result.stderr)
    print(f"{folder.name}: {len(entries)} files, {warned} with warnings, {failed} failed, {time.monotonic() - begun:.0f} s")
    return failed != 0 or not entries


def main():
    root = pathlib.Path(sys.argv[1])
    release = ["-DCMAKE_BUILD_TYPE=Release"]
    builds = [("hardened-release", debian_flags(), [*release, "-DSCHEDCLI_UNITE=ON"], list),
              ("clang", CLANG, release, one_of_each_ring), ("no-build-type", {}, [], one_of_each_ring)]
    bad = [name for name, environment, options, choose in builds
           if not configured(root / name, environment, options) or fails(root / name, choose)]
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
