# SPDX-License-Identifier: Apache-2.0
"""What the service takes: time until it is ready, and memory."""
import pathlib
import subprocess
import time

from service import Service, settings
from tables import SIZES, Holding, at, full

SETTINGS = settings("/bin/sh")


def start(bench):
    services = {at("ready", size): Holding(bench, "ready", size, SETTINGS) for size in SIZES}
    services[at("ready, 256 full jobs", SIZES[-1])] = Holding(bench, "ready-full", SIZES[-1], SETTINGS, None, full(bench))
    # Not in turns: there is no peer, and between two starts of one service those of the others would fill the caches.
    for name, service in services.items():
        taken = []
        for _ in range(bench.rounds(12) + 1):
            taken.append(service.start())
            service.stop()
        bench.report.add(name, "ms", taken[1:], None, 50)


def memory(bench):
    record = record_bytes(bench)
    found = Found()
    for i in range(bench.rounds(5)):
        found.floor.append(link_floor(bench))
        found.look("fresh", Service(bench.build, bench.fresh(f"memory-fresh-{i}"), SETTINGS))
        for size in SIZES:
            found.look(size, Holding(bench, f"memory-{i}", size, SETTINGS))
    report = bench.report
    for place, name in (("fresh", "fresh"), *((size, "restarted") for size in SIZES)):
        size = 0 if place == "fresh" else place
        report.add(at(f"proportional memory, {name}", size), "MiB", found.whole[place], found.floor, None, "link floor")
        if size == 0:
            over = [ours - floor for ours, floor in zip(found.whole[place], found.floor)]
            report.add(at(f"proportional memory over the floor, {name}", size), "MiB", over, None, 0.6)
    # Pages of the stores' files are the kernel's, which it takes back when it wants; what is anonymous is the service's.
    grown = [(most - least) / SIZES[-1] for least, most in zip(found.own[SIZES[0]], found.own[SIZES[-1]])]
    print(f"memory: {record} bytes of a schedule are the library's record of it, with its key and its job")
    report.add("memory for each schedule beyond its record", "B", [each - record for each in grown], None, 256)
    report.add("proportional memory, starter", "MiB", found.starter)


class Found:
    """In MiB, but what is the service's own alone in bytes."""

    def __init__(self):
        self.floor, self.starter = [], []
        self.whole = {place: [] for place in ("fresh", *SIZES)}
        self.own = {place: [] for place in ("fresh", *SIZES)}

    def look(self, place, service):
        with service:
            service.client()
            time.sleep(0.3)
            pid = service.process.pid
            self.whole[place].append(kib(pid, "Pss") / 1024)
            self.own[place].append(kib(pid, "Anonymous") * 1024)
            self.starter += [kib(child, "Pss") / 1024 for child in children(pid)]


def record_bytes(bench):
    return int(subprocess.run([bench.build / "bench/record_bytes"], capture_output=True, check=True).stdout)


def link_floor(bench):
    with subprocess.Popen([bench.build / "bench/link_floor", "link"]) as floor:
        time.sleep(0.3)
        found = kib(floor.pid, "Pss") / 1024
        floor.kill()
    return found


def kib(pid, what):
    for line in open(f"/proc/{pid}/smaps_rollup"):
        if line.startswith(f"{what}:"):
            return int(line.split()[1])
    raise RuntimeError(f"no {what}")


def children(pid):
    return [int(child) for child in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
