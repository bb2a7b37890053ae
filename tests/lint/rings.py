#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""rings.py BUILD: each ring knows only the one inside it. Checks what the sources include and what the built files link."""
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from sources import sources  # noqa: E402

LIBRARY = {"include", "platform", "diag", "db", "time", "cli", "pss", "show", "acfg"}
# folder -> folders whose headers it may include
MAY_INCLUDE = {**{folder: LIBRARY for folder in LIBRARY},
               "platform": {"platform"},
               "host": {"include", "platform", "host"},
               "control": {"include", "platform", "host", "control"},
               "service": {"include", "platform", "host", "control", "service"},
               "shell": {"include", "platform", "host", "control", "shell"}}
# What the built files may need at run time, as prefixes of the shared objects' names.
RUNTIME = ("libc.", "libm.", "libstdc++.", "libgcc_s.", "ld-linux")
MAY_LINK = {"libschedcli.so": RUNTIME + ("libglib-2.0.",),
            "host/libschedhost.so": RUNTIME + ("libglib-2.0.", "libevent_core-2.1.", "liblmdb.", "libpam.", "libsodium.", "libschedcli."),
            # Each library that is loaded costs a short command a thirtieth of its time, the runtime of C++ a quarter.
            "shell/schedsh": ("libc.", "libm.", "ld-linux", "libglib-2.0.", "liblmdb.", "libedit.")}


def included_folder(name):
    if (pathlib.Path("include") / name).exists():  # the public headers are named as their installer's users name them
        return "include"
    return name.split("/")[0] if "/" in name else None


def bad_includes():
    for file in sources():
        folder = file.parts[0]
        if folder not in MAY_INCLUDE:
            continue
        for number, line in enumerate(file.read_text().splitlines(), 1):
            found = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
            if not found:
                continue
            target = included_folder(found.group(1))
            if target is None:
                yield f'{file}:{number}: include "{found.group(1)}" by its folder, as "{folder}/{found.group(1)}"'
            elif target not in MAY_INCLUDE[folder]:
                yield f"{file}:{number}: {folder}/ must not know {target}/"


def bad_links(build):
    for name, allowed in MAY_LINK.items():
        out = subprocess.run(["readelf", "-d", build / name], capture_output=True, text=True, check=True).stdout
        for needed in re.findall(r"NEEDED.*\[(.+)\]", out):
            if not needed.startswith(allowed):
                yield f"{name} links {needed}"


def main():
    faults = [*bad_includes(), *bad_links(pathlib.Path(sys.argv[1]))]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


sys.exit(main())
