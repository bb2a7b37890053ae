# SPDX-License-Identifier: Apache-2.0
"""The packages of a build, and the same ones as if of another version."""

import re
import shutil
import subprocess

NAMES = ("libschedcli1", "libschedhost1", "schedcli")  # in the order of their installation


def built(folder):
    found = {name: next(folder.glob(f"{name}_*.deb"), None) for name in NAMES}
    missing = [name for name, file in found.items() if file is None]
    if missing:
        raise SystemExit(f"no package {missing} in {folder}; ./dev package makes them")
    return found


def with_version(packages, version, folder):
    """The same contents under another version: what an upgrade does is the packages' scripts and the service's, and
    needs no other program."""
    made = {}
    for name, file in packages.items():
        tree = folder / name
        shutil.rmtree(tree, ignore_errors=True)
        subprocess.run(["dpkg-deb", "--raw-extract", file, tree], check=True)
        control = tree / "DEBIAN/control"
        control.write_text(re.sub(r"(?m)^Version: .*$", f"Version: {version}",
                                  re.sub(r"\(= [^)]*\)", f"(= {version})", control.read_text())))
        made[name] = folder / f"{name}_{version}.deb"
        subprocess.run(["dpkg-deb", "--root-owner-group", "-Znone", "--build", tree, made[name]], check=True,
                       stdout=subprocess.DEVNULL)
        shutil.rmtree(tree)
    return made


def put(machine, packages):
    """Where the machine sees them."""
    for file in packages.values():
        shutil.copy(file, machine.root / "packages")
    return [f"/packages/{file.name}" for file in packages.values()]
