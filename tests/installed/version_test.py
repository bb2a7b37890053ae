#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The version stands in many files, each of which somebody reads: all have the build's."""

import argparse
import pathlib
import re
import subprocess
import sys


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def found_versions(given):
    def first(file, pattern):
        match = re.search(pattern, (given.source / file).read_text(), re.M)
        return match[1] if match else None

    yield "debian/changelog", first("debian/changelog", r"\Aschedcli \(([^)]+)\)")
    yield "CHANGELOG.md", first("CHANGELOG.md", r"^## (\S+)")
    yield "NEWS", first("NEWS", r"^(\d\S+)")
    for page in ("schedd.8", "schedsh.1"):
        yield page, first(f"docs/man/{page}", r'^\.TH .*"schedcli (\S+)"')
    header = (given.source / "include/schedcli.h").read_text()
    yield "schedcli.h", ".".join(re.search(rf"#define SCHEDCLI_VERSION_{part} (\d+)\n", header)[1]
                                 for part in ("MAJOR", "MINOR", "PATCH"))
    for package in ("schedcli.pc", "schedcli-static.pc"):
        yield package, re.search(r"^Version: (\S+)", (given.packages / package).read_text(), re.M)[1]
    for program in given.programs:
        yield program, (re.search(r"\d+\.\d+\.\d+", output(program, "--version")) or [None])[0]
    for library in given.libraries:
        yield library, pathlib.Path(library).resolve().name.partition(".so.")[2]
        soname = re.search(r"\(SONAME\).*\[(.*)\]", output("readelf", "-d", library))[1]
        # The name by which programs find it has the major number alone: it changes with each break.
        yield soname, given.version if soname.endswith(f".so.{given.version.partition('.')[0]}") else soname


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--source", type=pathlib.Path, required=True)
    parser.add_argument("--packages", type=pathlib.Path, required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("--programs", nargs="+", required=True)
    parser.add_argument("--libraries", nargs="+", required=True)
    given = parser.parse_args()
    wrong = [f"{where}: {found}" for where, found in found_versions(given) if found != given.version]
    if wrong:
        sys.exit(f"not {given.version}: " + ", ".join(wrong))
    return 0


if __name__ == "__main__":
    sys.exit(main())
