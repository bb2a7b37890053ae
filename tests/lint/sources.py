#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""sources.py: the tree's C and C++ files, a line each. Also of a copy without its history, which git could not list."""
import pathlib

SUFFIXES = {".c", ".cpp", ".h"}
NOT_SOURCES = {"build"}  # of the tree's folders; hidden ones aside


def sources():
    """Paths below the current directory, the tree's root."""
    folders = [path for path in pathlib.Path().iterdir() if path.name not in NOT_SOURCES and not path.name.startswith(".")]
    found = [path for folder in folders for path in ([folder] if folder.is_file() else folder.rglob("*"))]
    return sorted(path for path in found if path.suffix in SUFFIXES)


if __name__ == "__main__":
    print("\n".join(map(str, sources())))
