# SPDX-License-Identifier: Apache-2.0
"""How late a job begins: a bare program and a shell's script, of root and of another user."""
import os
import shutil
import subprocess
import time

from probe import Probe, lateness, sleep_until
from service import settings
from tables import OTHER_USER, SIZES, Holding, at

BARE, SHELL = "bare exec", "through sh"
MARGIN_S = 5  # for setting all due times


# Who starts the probe takes turns by the second, the floor and each size of each variant; each has a probe of its own.
def due(bench):
    rounds = bench.rounds(10)
    variants = [Variant(bench, way, user) for way in (BARE, SHELL) for user in ("root", OTHER_USER)]
    step = sum(variant.turns for variant in variants)
    atd = AtDaemon.find(bench)
    try:
        for variant in variants:
            variant.prepare(rounds)
        start = int(time.time()) + MARGIN_S
        for place, variant in enumerate(variants):
            variant.begin(start + place * variant.turns, step, rounds)
        if time.time() > start:
            raise RuntimeError("the first was due before all were configured")
        peer = atd.lateness(3 if bench.factor >= 1 else 1) if atd else []
        sleep_until(start + step * rounds + 1)
    finally:
        for variant in variants:
            variant.end()
    for variant in variants:
        variant.report(rounds, peer)


class Variant:
    turns = 1 + len(SIZES)

    def __init__(self, bench, way, user):
        self.bench, self.way, self.user = bench, way, user
        self.name = f"due, {way}, {user}"
        directory = bench.fresh(self.name.replace(", ", "-").replace(" ", "-"))
        self.floor = Probe(bench, directory)
        self.script = directory / "script"
        self.script.write_text(f"exec {self.floor.program}\n")
        self.loop = None
        self.services = [DueService(bench, directory.name, size, way, user) for size in SIZES]

    def prepare(self, rounds):
        for service in self.services:
            service.prepare(rounds)

    def begin(self, start, step, rounds):
        command = [self.floor.program] if self.way == BARE else ["/bin/sh", self.script]
        self.loop = subprocess.Popen([self.bench.build / "bench/floor", "due", self.user, str(start), str(step),
                                      str(rounds), *command])
        for place, service in enumerate(self.services):
            service.set_times(range(start + 1 + place, start + step * rounds, step))

    def end(self):
        if self.loop:
            self.loop.kill()
            self.loop.wait()
        for service in self.services:
            service.stop()

    def report(self, rounds, peer):
        floor = began(self.floor, rounds, f"{self.name}, floor")
        for service in self.services:
            ours = began(service.probe, rounds, at(self.name, service.size))
            self.bench.report.add(at(self.name, service.size), "ms", ours, floor, 1.5 if self.way == BARE else None)
            if self.way == SHELL and self.user == "root" and peer:
                self.bench.report.add(at("due, through sh, beside atd", service.size), "ms", ours, peer, 1 / 3, "atd")


class DueService(Holding):
    def __init__(self, bench, name, size, way, user):
        super().__init__(bench, name, size, "")
        self.probe = Probe(bench, self.directory)
        self.settings.write_text(settings(self.probe.program if way == BARE else "/bin/sh"))
        self.user, self.asker = user, None

    def prepare(self, rounds):
        self.start()
        self.asker = self.client()
        self.asker.define_job("bench", f"exec {self.probe.program}\n".encode(), self.user)
        for i in range(rounds):
            self.asker.create_schedule(f"bench-{i}", "bench", None, self.user)
        self.own = rounds

    def set_times(self, moments):
        for i, moment in enumerate(moments):
            self.asker.set_time(f"bench-{i}", moment, self.user)


def began(probe, rounds, name):
    found = list(lateness(probe.moments()).values())
    if len(found) != rounds:
        raise RuntimeError(f"{name}: {len(found)} of {rounds} began")
    return found


class AtDaemon:
    """Debian's atd, the machine's own or one for this run. Its jobs are due at full minutes."""

    def __init__(self, bench):
        self.probe = Probe(bench, bench.fresh("atd"))

    @classmethod
    def find(cls, bench):
        if os.geteuid() == 0 and shutil.which("atd") and shutil.which("at"):
            return cls(bench)
        print("due: atd is not measured: it is not installed, or this is not root")
        return None

    def lateness(self, rounds):
        running = subprocess.run(["pidof", "atd"], capture_output=True).stdout
        daemon = None if running else subprocess.Popen(["atd", "-f"], stderr=subprocess.DEVNULL)
        first = int(time.time()) // 60 + 1
        try:
            for i in range(rounds):
                when = time.strftime("%Y%m%d%H%M", time.localtime((first + i) * 60))
                subprocess.run(["at", "-t", when], input=f"exec {self.probe.program}\n", text=True, check=True,
                               capture_output=True)
            moments = self.probe.await_count(rounds, 60 * rounds + 20)
        finally:
            if daemon:
                daemon.terminate()
                daemon.wait()
        return [moment % 60 * 1000 for moment in moments]
