#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""documents.py: the files and folders of this tree that the developers' documents name exist. A source may be named without
its suffix, and one of the service without service/."""
import pathlib
import re
import sys

DOCUMENTS = ("CONTRIBUTING.md", "README.md", "docs/architecture.md", "docs/integrators-guide.md")
PATH = re.compile(r"(?<![\w./~$<-])((?:[\w.-]+/)+[\w.*-]*)")
SUFFIXES = ("", ".cpp", ".h", ".c")


def folders():
    below = {path.name for root in (".", "service") for path in pathlib.Path(root).iterdir() if path.is_dir()}
    return below - {"build", ".git"}


def exists(name):
    return any(list(pathlib.Path(root).glob(name.rstrip("./") + suffix)) for root in (".", "service") for suffix in SUFFIXES)


def missing(text, known):
    """The paths in a text that begin with a folder of the tree and lead nowhere, with their lines."""
    for number, line in enumerate(text.splitlines(), 1):
        for path in PATH.findall(line):
            if path.split("/")[0] in known and not exists(path):
                yield number, path


def main():
    known = folders()
    faults = [f"{document}:{number}: {path} does not exist" for document in DOCUMENTS
              for number, path in missing(pathlib.Path(document).read_text(), known)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
