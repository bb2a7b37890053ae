# SPDX-License-Identifier: Apache-2.0
"""A Debian system in a container that is booted by its own supervisor, and driven from outside."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import time

ENTER = pathlib.Path(__file__).with_name("enter.sh")
PATIENCE_S = 60  # only ends a wait that would not end


class Failed(Exception):
    pass


def wait_until(what, holds, patience=PATIENCE_S):
    """What `holds` gives once it is true."""
    end = time.monotonic() + patience
    while time.monotonic() < end:
        if found := holds():
            return found
        time.sleep(0.05)
    raise Failed(f"waited in vain: {what}")


class Machine:
    def __init__(self, image, folder):
        self.root = folder / "root"
        self.console = folder / "console.log"
        self.container = None
        self.init = None
        shutil.rmtree(folder, ignore_errors=True)
        self.root.mkdir(parents=True)
        subprocess.run(["tar", "--extract", "--file", image, "--directory", self.root], check=True)
        (self.root / "etc/machine-id").write_text("")
        (self.root / "etc/hostname").write_text("booted\n")
        (self.root / "packages").mkdir()

    def __enter__(self):
        self.container = subprocess.Popen(["unshare", "--mount", "--propagation", "private", ENTER, self.root],
                                          stdin=subprocess.DEVNULL, stdout=open(self.console, "ab"),
                                          stderr=subprocess.STDOUT, start_new_session=True)
        try:
            self.wait_for_boot()
        except Failed:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        if self.init is not None and self.container.poll() is None:
            os.kill(self.init, signal.SIGKILL)
        self.container.terminate()
        self.leave()

    def leave(self):
        """What the container's supervisor made in the outer machine's control groups goes with it."""
        self.container.wait(PATIENCE_S)
        subprocess.run(["unshare", "--mount", "--propagation", "private", "sh", "-ec", "mount -t cgroup2 cgroup2 /sys/fs/cgroup; "
                        'find "/sys/fs/cgroup/schedcli-booted-$0" -depth -type d -exec rmdir {} +', str(self.container.pid)],
                       check=True)

    def child_of_container(self):
        if self.container.poll() is not None:
            raise Failed(f"the container ended: {self.console.read_text()[-2000:]}")
        children = pathlib.Path(f"/proc/{self.container.pid}/task/{self.container.pid}/children").read_text().split()
        found = [int(child) for child in children if child != str(self.init) and self.is_init(child)]
        return found[0] if found else None

    @staticmethod
    def is_init(process):
        try:
            return pathlib.Path(f"/proc/{process}/comm").read_text() == "systemd\n"
        except OSError:  # it was a step on the way, and is over
            return False

    def wait_for_boot(self):
        # The one of before stays a child until it is reaped.
        self.init = wait_until("the container's first process", self.child_of_container)
        wait_until("the boot's end", lambda: self.run("systemctl", "is-system-running", check=False).strip()
                   in ("running", "degraded"))

    def reboot(self):
        """The container ends with it, and is begun again on the same disk."""
        self.run("systemctl", "reboot", check=False)
        self.leave()
        self.__enter__()

    def run(self, *command, check=True, user=None, stdin=None):
        """Its output, errors included."""
        if user is not None:
            command = ("runuser", "-u", user, "--", *command)
        done = subprocess.run(["nsenter", f"--target={self.init}", "--all", "env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
                               "LC_ALL=C.UTF-8", *command], input=stdin, stdin=None if stdin else subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
        if check and done.returncode != 0:
            raise Failed(f"{' '.join(command)} ended with {done.returncode}: {done.stdout}")
        return done.stdout

    def succeeds(self, *command, **more):
        try:
            self.run(*command, **more)
            return True
        except Failed:
            return False

    def from_outside(self, *command):
        """A program of the outer machine in the network of this one."""
        subprocess.run(["nsenter", f"--target={self.init}", "--net", *command], check=True, stdout=subprocess.DEVNULL)

    def sh(self, script, **more):
        return self.run("sh", "-ec", script, **more)

    def shell(self, *lines, user=None, check=True):
        """What an operator reads who types these."""
        return self.run("schedsh", "-e", user=user, stdin="\n".join(lines) + "\n", check=check)

    def journal(self, *matches):
        self.run("journalctl", "--sync")
        text = self.run("journalctl", "--output=json", "--no-pager", *matches, check=False)
        return [json.loads(line) for line in text.splitlines() if line.startswith("{")]

    def property(self, name, unit="schedd.service"):
        return self.run("systemctl", "show", "--value", f"--property={name}", unit).strip()

    def active(self):
        return self.property("ActiveState") == "active"
