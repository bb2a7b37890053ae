#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The header is the manual: every function has its text, and header, export list and library name the same symbols."""

import argparse
import pathlib
import re
import subprocess
import sys

FUNCTION = re.compile(r"(?:^|\n)(?P<result>[a-z][\w \t]*?[ *])(?P<name>\w+)\((?P<arguments>[^;{}]*)\);")
GLOBAL = re.compile(r"\bextern [^;(]*?\b(\w+)(?:\[\w*\])?;")
COMMENT = re.compile(r"/\*.*?\*/", re.S)
WORDS_OF_A_TEXT = 3


def blocks(text):
    """What stands between blank lines: a comment and the declarations under it."""
    return re.split(r"\n[ \t]*\n", text)


def functions(text):
    """Each function with whether a text stands directly above it or above the declarations that it follows."""
    for block in blocks(text):
        comment = COMMENT.match(block.strip())
        told = comment is not None and len(re.findall(r"\w+", comment.group())) >= WORDS_OF_A_TEXT
        for found in FUNCTION.finditer(COMMENT.sub("", block)):
            if not found["result"].startswith(("typedef", "extern")):
                yield found["name"], told


def exports(library):
    listing = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True)
    symbols = [line.split() for line in listing.stdout.splitlines()]
    return {name.split("@")[0] for *_, kind, name in symbols if kind in "TDBRVW"}


def map_names(path):
    shown = re.search(r"global:(.*?)local:", path.read_text(), re.S).group(1)
    return set(re.findall(r"\w+", shown))


def untold(header, grouped):
    """Functions without a text; only grouped headers may share one between the declarations of a block."""
    told = {}
    for block in blocks(header.read_text()):
        found = list(functions(block))
        for position, (name, text) in enumerate(found):
            told[name] = text and (grouped or position == 0)
    return [f"{header.name}: {name} has no text" for name, text in told.items() if not text]


def differences(declared, exported, listed):
    return (
        [f"{name} is in the header and not exported" for name in sorted(declared - exported)]
        + [f"{name} is exported and not in the header" for name in sorted(exported - declared)]
        + [f"{name} is in the export list and not in the header" for name in sorted(listed - declared)]
        + [f"{name} is in the header and not in the export list" for name in sorted(declared - listed)]
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--header", type=pathlib.Path, required=True)
    parser.add_argument("--platform", type=pathlib.Path, required=True, help="folder of the platform's headers")
    parser.add_argument("--map", type=pathlib.Path, required=True)
    parser.add_argument("--library", required=True)
    given = parser.parse_args()

    text = given.header.read_text()
    declared_functions = {name for name, _ in functions(text)}
    declared = declared_functions | set(GLOBAL.findall(COMMENT.sub("", text)))
    found = untold(given.header, grouped=False)
    for header in sorted(given.platform.glob("*.h")):
        found += untold(header, grouped=True)
    found += differences(declared, exports(given.library), map_names(given.map))
    print("\n".join(found) or f"{len(declared_functions)} functions, {len(declared)} symbols: all told, all exported")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
