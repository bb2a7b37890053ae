#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""coverage.py BUILD: line and branch coverage of the library's folders; fails when a line, or a branch without a reason, is left.

Branches that the compiler adds (static initialisation, unreachable code, exceptions) are left out by gcovr. What else cannot be
reached stands in coverage_exceptions.txt: FILE:LINE-TEXT, then the reason."""
import json
import pathlib
import re
import subprocess
import sys

FOLDERS = ("diag", "db", "time", "cli", "pss", "show", "acfg")


def main():
    build = pathlib.Path(sys.argv[1])
    report = build / "coverage.json"
    filters = [option for folder in FOLDERS for option in ("--filter", f"^{folder}/")]
    command = ["gcovr", "--root", ".", "--object-directory", str(build), "--exclude-throw-branches", "--exclude-unreachable-branches",
               *filters]
    subprocess.run([*command, "--json", str(report)], check=True)
    print(subprocess.run(command, capture_output=True, text=True, check=True).stdout)
    print(subprocess.run([*command, "--branches"], capture_output=True, text=True, check=True).stdout)

    exceptions = []
    path = pathlib.Path("tests/lint/coverage_exceptions.txt")
    if path.exists():
        exceptions = [line.split("|")[:2] for line in path.read_text().splitlines() if "|" in line and not line.startswith("#")]
    left, explained = [], 0
    for file in json.loads(report.read_text())["files"]:
        source = pathlib.Path(file["file"]).read_text().splitlines()
        for line in file["lines"]:
            missed = line["count"] == 0 or any(b["count"] == 0 and not b.get("throw") for b in line["branches"])
            if not missed or line.get("gcovr/noncode"):
                continue
            text = source[line["line_number"] - 1].strip()
            if any(name.strip() == file["file"] and part.strip() in text for name, part in exceptions):
                explained += 1
            else:
                left.append(f'{file["file"]}:{line["line_number"]}: {"line" if line["count"] == 0 else "branch"} not taken: {text}')
    print("\n".join(left))
    print(f"coverage: {len(left)} lines or branches left, {explained} explained in {path}")
    return 1 if left else 0


sys.exit(main())
