#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The figures that tell whether files and functions stay small: lines of each file and function: median, 95th percentile, longest ten.

Reads formatted sources (the formatting check runs first): a definition starts in the first column of its namespace and ends with
the first brace that stands under it."""
import pathlib
import re
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from sources import sources  # noqa: E402

SHIPPED = {"include", "platform", "diag", "db", "time", "cli", "pss", "show", "acfg", "host", "control", "service", "shell"}
NOT_A_FUNCTION = re.compile(r"^\s*(namespace|struct|class|enum|union|extern \"C\"|static const|const|constexpr|inline constexpr|if|for|while|switch|do|else)\b")
FUNCTION_LIMIT = 60  # a longer one needs a reason that a reader would accept; then it stands in REASONS
REASONS_FILE = pathlib.Path("tests/lint/long_functions.txt")


def functions(file):
    """Yields (lines, name, first line) of each function body of the file."""
    lines = file.read_text().splitlines()
    start = None
    for number, line in enumerate(lines):
        indent = len(line) - len(line.lstrip())
        if start is None:
            if line.rstrip().endswith("{") and ")" in line and not NOT_A_FUNCTION.match(line) and indent <= 2 and "= [" not in line:
                first = number
                while first > 0 and lines[first - 1].strip() and not re.search(r"[;{}:/\\]$|^#|^//|^\s*//", lines[first - 1].rstrip()):
                    first -= 1
                head = " ".join(text.strip() for text in lines[first:number + 1])
                found = re.search(r"([A-Za-z_~][\w:~]*)\s*\(", head)
                start = (first, indent, found.group(1) if found else "?")
        elif re.match(r"^" + " " * start[1] + r"\}", line):
            yield number - start[0] + 1, start[2], start[0] + 1
            start = None


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(len(values) * share))] if values else 0


def report(title, rows):
    sizes = [row[0] for row in rows]
    print(f"{title}: {len(sizes)}, median {percentile(sizes, .5)}, 95th percentile {percentile(sizes, .95)} lines; the longest ten:")
    for row in sorted(rows, reverse=True)[:10]:
        print(f"  {row[0]:5} {row[1]}")


def main():
    files = [path for path in sources() if path.parts[0] in SHIPPED and path.suffix != ".c"]
    bodies = [(count, f"{file}:{line} {name}") for file in files for count, name, line in functions(file)]
    report("files", [(len(file.read_text().splitlines()), str(file)) for file in files])
    report("functions", bodies)
    reasons = {line.split()[0] for line in REASONS_FILE.read_text().splitlines() if line.strip() and line[0] != "#"}
    unexplained = [where for count, where in bodies if count > FUNCTION_LIMIT and where.split()[1] not in reasons]
    for where in unexplained:
        print(f"{where}: more than {FUNCTION_LIMIT} lines and no reason in {REASONS_FILE}")
    return 1 if unexplained else 0


sys.exit(main())
