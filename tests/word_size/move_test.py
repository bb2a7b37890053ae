#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Stores go from programs of one word size to the other's and back, as text: everything is there, byte for byte, and runs."""

import argparse
import contextlib
import difflib
import pathlib
import subprocess
import sys
import tempfile
import time

STORES = ("running:scheduler_runtime", "running:scheduler_runtime_database", "startup:scheduler_startup", "running:scheduler_debug_runtime")
PATIENCE_S = 60  # only ends a wait that would not end
CONFIGURATION = """configure terminal
feature scheduler
scheduler logfile size 64
scheduler transport email from switch@example.net
scheduler transport email smtp-server mail.example.net port 2525 vrf management
scheduler job name greet
echo good morning
end-job
scheduler job name long
{long}
end-job
scheduler schedule name daily
job name greet
email-addr somebody@example.net
time daily 07:30
scheduler schedule name far
job name greet
job name long
time start 2037:Dec:31:23:59
end
copy running-config startup-config
""".format(long="\n".join(f"echo line {line} of a text that needs several records" for line in range(200)))


def demand(holds, what):
    if not holds:
        sys.exit(what)


class Programs:
    """Those of one build, on a state directory of their own."""

    def __init__(self, build, state):
        self.build, self.state = build, state

    def shell(self, text):
        done = subprocess.run([self.build / "shell/schedsh", "--state-dir", self.state, "-e"], input=text, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        demand(done.returncode == 0, f"{self.build}: {text[:200]}\n{done.stdout}")
        return done.stdout

    @contextlib.contextmanager
    def service(self):
        process = subprocess.Popen([self.build / "service/schedd", "--state-dir", self.state], stderr=subprocess.PIPE, text=True)
        try:
            self.wait_for(lambda: process.poll() is not None or
                          subprocess.run([self.build / "shell/schedsh", "--state-dir", self.state, "-c", "show clock"],
                                         capture_output=True).returncode == 0)
            demand(process.poll() is None, f"{self.build}: the service ended")
            yield
        finally:
            process.terminate()
            _, words = process.communicate()
        demand(process.returncode == 0, f"{self.build}: the service ended with {process.returncode}: {words}")

    @staticmethod
    def wait_for(holds):
        end = time.monotonic() + PATIENCE_S
        while not holds():
            demand(time.monotonic() < end, "waited in vain")
            time.sleep(0.05)

    def dump(self):
        return {store: self.shell(f"store dump {store}\n") for store in STORES}

    def load(self, stores):
        for store, text in stores.items():
            file = self.state.parent / "moved.txt"
            file.write_text(text)
            self.shell(f"store load {store} {file}\n")

    def configured(self):
        return self.shell("show running-config\nshow startup-config\nshow scheduler job\n")

    def runs(self):
        self.shell("scheduler run schedule daily\n")
        self.wait_for(lambda: "good morning" in self.shell("show scheduler logfile\n"))


def word_size(build):
    return (build / "service/schedd").read_bytes()[4] * 32  # the class of its header


def move(source, target):
    """What `source` has, running in `target`."""
    with source.service():
        configured = source.configured()
    stores = source.dump()
    with target.service():
        pass
    target.load(stores)
    demand(target.dump() == stores, f"loaded by {target.build} and dumped again, a store has another text")
    with target.service():
        shown = difflib.unified_diff(configured.splitlines(), target.configured().splitlines(), lineterm="", n=1)
        demand(not (difference := "\n".join(shown)), f"{target.build} shows another configuration:\n{difference}")
        target.runs()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--here", type=pathlib.Path, required=True)
    parser.add_argument("--other", type=pathlib.Path, required=True)
    given = parser.parse_args()
    builds = given.other.resolve(), given.here.resolve()
    demand((builds[0] / "service/schedd").exists(), f"no programs in {builds[0]}; build the preset release first")
    demand({word_size(build) for build in builds} == {32, 64}, "the programs are not of two word sizes")
    with tempfile.TemporaryDirectory(prefix="schedcli-words.") as folder:
        first, second, third = (Programs(build, pathlib.Path(folder) / f"{number}/state")
                                for number, build in enumerate((builds[0], builds[1], builds[0])))
        for programs in (first, second, third):
            programs.state.parent.mkdir()
        with first.service():
            first.shell(CONFIGURATION)
            first.runs()
        move(first, second)
        with second.service():
            second.shell("configure terminal\nscheduler schedule name added\njob name long\ntime monthly 31:12:00\nend\n")
        move(second, third)
    return 0


if __name__ == "__main__":
    sys.exit(main())
