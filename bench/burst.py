# SPDX-License-Identifier: Apache-2.0
"""A thousand schedules that are due together."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time

from probe import Probe, sleep_until
from service import settings
from tables import SIZES, YEAR_S, Holding, at

BURST = 1000
PACED = 100  # so many changes tell how long all take
QUIET_S = 0.7  # nothing more is stored after such a pause
IN_MEMORY = "/dev/shm" if os.path.isdir("/dev/shm") else None  # for the files of runs, as /run is where it is installed


def burst(bench):
    slow = bench.build / "bench/libslow_flush.so"
    tables = {size: prepared(bench, size) for size in SIZES}
    loops, found = [], {size: [] for size in SIZES}
    for i in range(bench.rounds(4)):
        loops.append(bare_burst(bench, f"burst-floor-{i}"))
        for size in SIZES:
            found[size].append(burst_once(bench, f"burst-{i}", size, tables[size], None) +
                               burst_once(bench, f"burst-slow-{i}", size, tables[size], slow))
    loop_starts, loop_ends = zip(*loops)
    for size in SIZES:
        starts, ends, _, slow_ends = zip(*found[size])
        bench.report.add(at("1,000 due: last start", size), "ms", starts, None, 1000)
        bench.report.add(at("1,000 due: last start beside the loop", size), "ms", starts, loop_starts)
        bench.report.add(at("1,000 due: last durable outcome", size), "ms", ends, loop_ends, 1 / 0.8)
        bench.report.add(at("1,000 due: the same, flushes 2 ms slower", size), "ms", slow_ends, ends, 1.2, "without")


def bare_burst(bench, name):
    directory = bench.fresh(name)
    probe = Probe(bench, directory)
    output = subprocess.run([bench.build / "bench/floor", "burst", str(BURST), directory / "store.mdb", probe.program],
                            capture_output=True, text=True, check=True).stdout
    shutil.rmtree(directory)
    return tuple(float(word) for word in output.split())


def prepared(bench, size):
    """The tables of that size with those of the burst, which have no times yet."""
    with Holding(bench, "burst-tables", size, settings("/bin/sh")) as service:
        client = service.client()
        client.define_job("bench", b"true\n")
        client.configure("".join(f"scheduler schedule name bench-{i}\n job name bench\n" for i in range(BURST)))
        service.own = BURST
    return service.state


def burst_once(bench, name, size, tables, preload):
    """Milliseconds to the last start and to the last commit of the run-time store."""
    with tempfile.TemporaryDirectory(prefix="schedcli-bench.", dir=IN_MEMORY) as run:
        os.chmod(run, 0o755)
        return burst_of(bench, Holding(bench, name, size, "", None, tables), pathlib.Path(run), preload)


def burst_of(bench, service, run, preload):
    service.run = run
    service.own = BURST
    probe = Probe(bench, service.directory)
    service.settings.write_text(settings(probe.program, parallel=64, parallel_per_user=64))
    with service:
        moment = set_times(service.client())
    service.preload = preload
    with service:
        if time.time() > moment:
            raise RuntimeError("the burst was due before it was configured")
        sleep_until(moment)
        moments = probe.await_count(BURST)
        last = last_change(service.state)
        outcomes = service.client().stored_outcomes()
    if len(moments) != BURST or outcomes != BURST:
        raise RuntimeError(f"{len(moments)} of {BURST} began, {outcomes} outcomes are stored")
    shutil.rmtree(service.directory)
    return (max(moments) - moment) * 1000, (last - moment) * 1000


def set_times(client):
    """The moment of all of them."""
    begin = time.time()
    for i in range(PACED):
        client.set_time(f"bench-{i}", int(begin) + YEAR_S)
    moment = int(time.time() + 2 * BURST / PACED * (time.time() - begin)) + 2
    for i in range(BURST):
        client.set_time(f"bench-{i}", moment)
    return moment


def last_change(state):
    """Of the stores, once they have come to rest."""
    while time.time() - (last := max(path.stat().st_mtime for path in state.glob("*.mdb"))) < QUIET_S:
        time.sleep(0.05)
    return last
