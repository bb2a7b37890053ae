#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The example of examples/simulated-switch, built and run as an integrator does, against the installed library alone."""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys

CXX = {"gcc": "g++", "clang": "clang++"}
HIDDEN = "-Werror -fvisibility=hidden"
DATE = re.compile(r"[A-Z][a-z]{2} [A-Z][a-z]{2} [ \d]\d 23:30:00 \d{4}")


def run(*command, **environment):
    """Its output, errors included; a failure ends the test with it."""
    done = subprocess.run(command, env=os.environ | environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{done.stdout}ended with {done.returncode}")
    return done.stdout


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}: {found!r} is not {wanted!r}")


class Installed:
    def __init__(self, scratch):
        self.prefix = scratch / "prefix"

    def find(self, pattern):
        found = list(self.prefix.glob(pattern))
        expect(pattern, len(found), 1)
        return found[0]

    @property
    def example(self):
        return self.find("share/doc/*/examples/simulated-switch")

    @property
    def packages(self):
        return str(self.find("lib/**/schedcli.pc").parent)

    def ask(self, *question):
        return run("pkg-config", *question, PKG_CONFIG_PATH=self.packages).strip()


def version_of_the_header(installed):
    header = installed.find("include/schedcli/include/schedcli.h").read_text()
    return ".".join(re.search(rf"#define SCHEDCLI_VERSION_{part} (\d+)\n", header)[1] for part in ("MAJOR", "MINOR", "PATCH"))


def exports(archive):
    return {line.split()[-1] for line in run("nm", "--defined-only", "--extern-only", archive).splitlines() if " " in line}


def install(scratch, given):
    """The library's component alone, moved after it was installed; then what can be asked of it."""
    cmake, build, export_list, version = given
    shutil.rmtree(scratch, ignore_errors=True)
    run(cmake, "--install", build, "--prefix", scratch / "first", "--component", "library")
    (scratch / "first").rename(scratch / "prefix")
    installed = Installed(scratch)
    for package in ("schedcli", "schedcli-static"):
        expect(f"the version of {package}", installed.ask("--modversion", package), version)
    expect("the version in the header", version_of_the_header(installed), version)
    wanted = set(re.findall(r"^    (\w+);$", pathlib.Path(export_list).read_text(), re.M))
    shown_by_one_alone = exports(installed.find("lib/**/libschedcli.a")) ^ wanted
    expect("what the static library or the export list shows alone, the first", sorted(shown_by_one_alone)[:5], [])


def check(program, golden, static):
    needed = run("readelf", "-d", program)
    expect(f"{program} links the shared library", "libschedcli.so.1]" in needed, not static)
    shown = DATE.sub("DATE", run(program, TZ="UTC"))
    if shown != golden.read_text():
        sys.exit(f"{program} shows\n{shown}and not what {golden} has")


def make(scratch, golden, compiler):
    """Both languages on both libraries; what is compiled is the same for both."""
    installed = Installed(scratch)
    for language, command in (("c", compiler), ("c++", CXX[compiler])):
        folder = scratch / f"make-{compiler}-{language}"
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(installed.example, folder)
        for static in ("", "1"):
            (folder / "simulated-switch").unlink(missing_ok=True)
            run("make", "-C", folder, f"CC={command}", f"LANGUAGE={language}", f"STATIC={static}", f"CFLAGS={HIDDEN}",
                PKG_CONFIG_PATH=installed.packages)
            check(folder / "simulated-switch", golden, static)
        print(f"make, {command}, {language}: shared and static")


def cmake(scratch, golden, compiler):
    """Each language once, each library once; make has them all together."""
    installed = Installed(scratch)
    for language, static in (("C", "ON"), ("CXX", "")) if compiler == "gcc" else (("C", ""), ("CXX", "ON")):
        folder = scratch / f"cmake-{compiler}-{language}"
        shutil.rmtree(folder, ignore_errors=True)
        run("cmake", "-G", "Ninja", "-S", installed.example, "-B", folder, f"-DCMAKE_PREFIX_PATH={installed.prefix}",
            f"-DCMAKE_C_COMPILER={compiler}", f"-DCMAKE_CXX_COMPILER={CXX[compiler]}", f"-DSWITCH_STATIC={static or 'OFF'}",
            f"-DSWITCH_CXX={'ON' if language == 'CXX' else 'OFF'}", f"-DCMAKE_{language}_FLAGS={HIDDEN}")
        run("cmake", "--build", folder)
        check(folder / "simulated-switch", golden, static)
        print(f"cmake, {compiler}, {language}: {'static' if static else 'shared'}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--scratch", type=pathlib.Path, required=True)
    parser.add_argument("--golden", type=pathlib.Path, required=True)
    parser.add_argument("what", choices=("install", "make", "cmake"))
    parser.add_argument("given", nargs="+")
    given = parser.parse_args()
    if given.what == "install":
        install(given.scratch, given.given)
    else:
        {"make": make, "cmake": cmake}[given.what](given.scratch, given.golden, *given.given)


if __name__ == "__main__":
    main()
