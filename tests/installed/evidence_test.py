#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A page that names tests and files as its evidence names such as there are."""

import pathlib
import re
import sys

PAGES = ("README.md", "SECURITY.md", "docs/reliability.md")
FILE = re.compile(r"`((?:[a-z_]+/)*[a-z_]+\.(?:cpp|py))`")
TEST = re.compile(r"`([a-z0-9]+(?:_[a-z0-9]+){2,})`")
LINK = re.compile(r"\]\(([^):#]+)(?:#([a-z-]+))?\)")


def heads(page):
    return {re.sub(r"[^a-z0-9 -]", "", head.lower()).replace(" ", "-") for head in re.findall(r"(?m)^#+ (.*)$", page.read_text())}


def main(root):
    tests = [file for file in (root / "tests").rglob("*") if file.suffix in (".cpp", ".py")]
    words = set(re.findall(r"\w+", "\n".join(file.read_text() for file in tests if file != pathlib.Path(__file__).resolve())))
    missing = []
    for page in PAGES:
        text = (root / page).read_text()
        missing += [f"{page}: {name}" for name in FILE.findall(text) if not any(str(file).endswith(f"/{name}") for file in tests)]
        missing += [f"{page}: {name}" for name in TEST.findall(text) if name not in words]
        for target, head in LINK.findall(text):
            file = (root / page).parent / target
            if not file.exists() or (head and head not in heads(file)):
                missing.append(f"{page}: {target} {head}")
    if missing:
        sys.exit("there is no\n" + "\n".join(missing))
    return 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
