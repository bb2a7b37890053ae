#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""An installation in a prefix that is nobody's: it writes nothing elsewhere, and an ordinary user's programs start from it."""

import argparse
import os
import pathlib
import pwd
import re
import shutil
import subprocess
import sys
import tempfile
import time

PATIENCE_S = 60  # only ends a wait that would not end


class Ordinary:
    """Whoever runs the test; instead of root, nobody."""

    def __init__(self, home):
        self.options = {"env": {"PATH": "/usr/bin:/bin", "HOME": str(home)}}
        if os.geteuid() == 0:
            nobody = pwd.getpwnam("nobody")
            self.options |= {"user": nobody.pw_uid, "group": nobody.pw_gid, "extra_groups": []}
            os.chown(home, nobody.pw_uid, nobody.pw_gid)

    def start(self, *command):
        return subprocess.Popen(command, stderr=subprocess.PIPE, text=True, **self.options)

    def run(self, *command):
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **self.options)


def demand(holds, what):
    if not holds:
        sys.exit(what)


def install(given, prefix):
    done = subprocess.run([given.cmake, "--install", given.build, "--prefix", prefix], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, env=os.environ | {"DESTDIR": ""})
    demand(done.returncode == 0, done.stdout)
    elsewhere = [file for file in re.findall(r"^-- Installing: (.*)$", done.stdout, re.M) if not file.startswith(f"{prefix}/")]
    demand(not elsewhere, f"installed outside of the prefix: {elsewhere}")
    demand(f"copy {prefix}/etc/schedcli and {prefix}/etc/pam.d/schedcli there" in done.stdout,
           f"what is left to do is not said:\n{done.stdout[-500:]}")
    for file in ("etc/pam.d/schedcli", "etc/schedcli/schedd.conf", "share/man/man8/schedd.8"):
        demand((prefix / file).is_file(), f"no {file}")
    unit = (prefix / "lib/systemd/system/schedd.service").read_text()
    demand(f"\nExecStart={prefix}/sbin/schedd\n" in unit and "@" not in unit, f"the unit starts another program:\n{unit}")


def wait_for(what, holds):
    end = time.monotonic() + PATIENCE_S
    while not holds():
        demand(time.monotonic() < end, f"waited in vain: {what}")
        time.sleep(0.05)


def run_a_job(user, prefix, state):
    shell = [prefix / "bin/schedsh", "--state-dir", state]
    service = user.start(prefix / "sbin/schedd", "--state-dir", state)
    try:
        wait_for("the service", lambda: service.poll() is not None or user.run(*shell, "-c", "show clock").returncode == 0)
        demand(service.poll() is None, f"the service ended: {service.stderr.read() if service.poll() is not None else ''}")
        for command in ("feature scheduler", "scheduler job name where commands echo it ran"):
            done = user.run(*shell, "-c", command)
            demand(done.returncode == 0, f"{command}: {done.stdout}")
        lines = ["scheduler schedule name now", "job name where", "time daily 23:30", "end", "scheduler run schedule now"]
        done = user.run(*shell, *(part for line in lines for part in ("-c", line)))
        demand(done.returncode == 0, done.stdout)
        wait_for("the job's output", lambda: "it ran" in user.run(*shell, "-c", "show scheduler logfile").stdout)
    finally:
        service.terminate()
        service.wait()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--cmake", required=True)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    given = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="schedcli-prefix."))
    try:
        folder.chmod(0o755)
        home = folder / "home"
        home.mkdir()
        install(given, folder / "first")
        (folder / "first").rename(folder / "moved")
        run_a_job(Ordinary(home), folder / "moved", home / "state")
    finally:
        shutil.rmtree(folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
