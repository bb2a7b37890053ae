# SPDX-License-Identifier: Apache-2.0
"""What is measured: a function for each name, which reports one row or several."""
import json
import os
import pathlib
import shutil
import struct
import subprocess
import time

from report import exponent
from service import Service

BARE, SHELL = "bare exec", "through sh"
OTHER_USER = "nobody"


class Probe:
    """The program that notes when it began; a copy beside its own list of moments."""

    def __init__(self, bench, directory):
        self.program = directory / "probe"
        shutil.copy(bench.build / "bench/probe", self.program)
        self.times = directory / "probe.times"
        self.times.touch()
        self.times.chmod(0o666)

    def moments(self):
        return [float(line) for line in self.times.read_text().split()]

    def await_count(self, count, patience=60):
        end = time.monotonic() + patience
        while len(self.moments()) < count and time.monotonic() < end:
            time.sleep(0.05)
        return self.moments()


def settings(interpreter, **limits):
    lines = [f"[service]\ninterpreter={interpreter}\n[limits]\nschedules=100000\nschedules-per-user=100000\n[runs]"]
    return "\n".join(lines + [f"{name.replace('_', '-')}={value}" for name, value in limits.items()]) + "\n"


def sleep_until(moment):
    time.sleep(max(0, moment - time.time()))


def lateness(moments):
    """In milliseconds after the full second, by that second."""
    return {int(moment): (moment - int(moment)) * 1000 for moment in moments}


# Who starts the probe takes turns by the second; each has a probe of its own.
def due(bench):
    rounds, variants = bench.rounds(12), []
    atd = AtDaemon.find(bench)
    for way in (BARE, SHELL):
        for user in ("root", OTHER_USER):
            variants.append(DueVariant(bench, way, user))
    step = 2 * len(variants)
    start = int(time.time()) + 3
    try:
        for place, variant in enumerate(variants):
            variant.begin(start + 2 * place, step, rounds)
        peer = atd.lateness(4 if bench.factor >= 1 else 1) if atd else []
        sleep_until(start + step * rounds + 1)
    finally:
        for variant in variants:
            variant.end()
    for variant in variants:
        ours, floor = variant.found()
        if len(ours) != rounds or len(floor) != rounds:
            raise RuntimeError(f"{variant.way}, {variant.user}: {len(ours)} and {len(floor)} of {rounds} began")
        bench.report.add(f"due, {variant.way}, {variant.user}", "ms", ours, floor, 1.5 if variant.way == BARE else None)
        if variant.way == SHELL and variant.user == "root" and peer:
            bench.report.add("due, through sh, beside atd", "ms", ours, peer, 1 / 3, "atd")


class DueVariant:
    def __init__(self, bench, way, user):
        self.bench, self.way, self.user = bench, way, user
        directory = bench.fresh(f"due {way} {user}".replace(" ", "-"))
        (directory / "ours").mkdir()
        (directory / "floor").mkdir()
        self.ours, self.floor = Probe(bench, directory / "ours"), Probe(bench, directory / "floor")
        self.script = directory / "floor/script"
        self.script.write_text(f"exec {self.floor.program}\n")
        interpreter = self.ours.program if way == BARE else "/bin/sh"
        self.service = Service(bench.build, directory, settings(interpreter))
        self.loop = None

    def begin(self, start, step, rounds):
        self.service.start()
        client = self.service.client()
        client.define_job("bench", f"exec {self.ours.program}\n".encode(), self.user)
        for i in range(rounds):
            client.create_schedule(f"bench-{i}", "bench", start + 1 + i * step, self.user)
        command = [self.floor.program] if self.way == BARE else ["/bin/sh", self.script]
        self.loop = subprocess.Popen([self.bench.build / "bench/floor", "due", self.user, str(start), str(step),
                                      str(rounds), *command])

    def end(self):
        self.service.stop()
        if self.loop:
            self.loop.kill()
            self.loop.wait()

    def found(self):
        return list(lateness(self.ours.moments()).values()), list(lateness(self.floor.moments()).values())


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


BURST = 1000


def burst(bench):
    slow = bench.build / "bench/libslow_flush.so"
    found = []
    for i in range(bench.rounds(4)):
        found.append(bare_burst(bench, f"burst-floor-{i}") + burst_once(bench, f"burst-{i}", None) +
                     burst_once(bench, f"burst-slow-{i}", slow))
    loop_starts, loops, starts, ends, _, slow_ends = zip(*found)
    bench.report.add("1,000 due: last start", "ms", starts, None, 1000)
    bench.report.add("1,000 due: last start beside the loop", "ms", starts, loop_starts)
    bench.report.add("1,000 due: last durable outcome", "ms", ends, loops, 1 / 0.8)
    bench.report.add("1,000 due: the same, flushes 2 ms slower", "ms", slow_ends, ends, 1.2, "without")


def bare_burst(bench, name):
    directory = bench.fresh(name)
    probe = Probe(bench, directory)
    output = subprocess.run([bench.build / "bench/floor", "burst", str(BURST), directory / "store.mdb", probe.program],
                            capture_output=True, text=True, check=True).stdout
    return tuple(float(word) for word in output.split())


def burst_once(bench, name, preload):
    """Milliseconds to the last start and to the last commit of the run-time store."""
    directory = bench.fresh(name)
    probe = Probe(bench, directory)
    with_limits = settings(probe.program, parallel=64, parallel_per_user=64)
    with Service(bench.build, directory, with_limits) as service:
        client = service.client()
        client.define_job("bench", b"true\n")
        begin = time.time()
        for i in range(BURST):
            client.create_schedule(f"bench-{i}", "bench")
        moment = int(2 * time.time() - begin) + 3  # a change takes less than making one did
        for i in range(BURST):
            client.set_time(f"bench-{i}", moment)
    with Service(bench.build, directory, with_limits, preload) as service:
        if time.time() > moment:
            raise RuntimeError("the burst was due before it was configured")
        moments = probe.await_count(BURST)
        time.sleep(1.5)
        if len(moments) != BURST:
            raise RuntimeError(f"{len(moments)} of {BURST} began")
        last = max(path.stat().st_mtime for path in service.state.glob("*.mdb"))
        return (max(moments) - moment) * 1000, (last - moment) * 1000


def lines_of(bench, name, argument):
    """What a benchmark of its own prints: JSON, a line for each."""
    done = subprocess.run([bench.build / f"bench/{name}_bench", argument], capture_output=True, text=True)
    if done.returncode:
        raise RuntimeError(f"{name}_bench: {done.stderr.strip()}")
    return map(json.loads, done.stdout.splitlines())


def from_program(name):
    def run(bench):
        for row in lines_of(bench, name, bench.directory):
            bench.report.put(row)
    return run


def text(bench):
    for row in lines_of(bench, "text", tables(bench) / "state"):
        bench.report.put(row)


def growth(bench):
    """Each request at 100 to 100,000 schedules: the exponent of its cost."""
    for line in lines_of(bench, "growth", bench.directory):
        for size, samples in zip(line["sizes"], line["samples"]):
            bench.report.add(f"{line['name']} at {size:,}", "us", samples)
        costs = [sorted(samples)[len(samples) // 2] for samples in line["samples"]]
        found = exponent(line["sizes"], costs)
        bench.report.add(f"{line['name']}: exponent 10^2 to 10^5", "", [found], None, 1.05)


def tables(bench):
    """The state directory of a service with 256 full jobs and 10,000 schedules, made once."""
    directory = bench.directory / "tables"
    if not directory.exists():
        directory.mkdir()
        with Service(bench.build, directory, settings("/bin/sh")) as service:
            client = service.client()
            text = (b"x" * 99 + b"\n") * (60 * 1024 // 100)
            for i in range(256):
                client.define_job(f"job-{i}", text)
            for i in range(10000):
                client.create_schedule(f"schedule-{i}")
                client.modify(f"schedule-{i}", 999, f"job-{i % 256}", [0] * 9, "")
    return directory


def start(bench):
    empty = bench.fresh("start-empty")
    full = tables(bench)
    for name, directory, goal in (("ready, empty", empty, None), ("ready, full tables", full, 50)):
        taken = []
        for _ in range(bench.rounds(12)):
            service = Service(bench.build, directory, settings("/bin/sh"))
            taken.append(service.start())
            service.stop()
        bench.report.add(name, "ms", taken[1:], None, goal)


def proportional_kib(pid):
    for line in open(f"/proc/{pid}/smaps_rollup"):
        if line.startswith("Pss:"):
            return int(line.split()[1])
    raise RuntimeError("no Pss")


def memory(bench):
    found = {"fresh": [], "restarted": [], "floor": [], "starter": []}
    for i in range(bench.rounds(5)):
        directory = bench.fresh(f"memory-{i}")
        with subprocess.Popen([bench.build / "bench/link_floor", "link"]) as floor:
            time.sleep(0.3)
            found["floor"].append(proportional_kib(floor.pid) / 1024)
            floor.kill()
        for when in ("fresh", "restarted"):
            with Service(bench.build, directory, settings("/bin/sh")) as service:
                service.client()
                time.sleep(0.3)
                found[when].append(proportional_kib(service.process.pid) / 1024)
                found["starter"] += [proportional_kib(child) / 1024 for child in children(service.process.pid)]
    for when in ("fresh", "restarted"):
        bench.report.add(f"proportional memory, {when}", "MiB", found[when], found["floor"], None, "link floor")
        over = [ours - floor for ours, floor in zip(found[when], found["floor"])]
        bench.report.add(f"proportional memory over the floor, {when}", "MiB", over, None, 0.6)
    bench.report.add("proportional memory, starter", "MiB", found["starter"])


def children(pid):
    return [int(child) for child in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]


LOG_SIZE = 16 << 20


def log(bench):
    """The whole log, through a pipe, beside cat of the same text; what another client waits for meanwhile."""
    directory = bench.fresh("log")
    service = Service(bench.build, directory, settings("/bin/sh"))
    with service:
        service.client().resize_log(LOG_SIZE)
    file = next(path for path in service.state.iterdir() if path.is_file() and path.open("rb").read(8) == b"SCHEDLOG")
    subprocess.run([bench.build / "bench/fill_log", file, "100"], check=True)
    shell = service.shell("show scheduler logfile")
    text = directory / "text"
    ours, cat, waits = [], [], []
    with service:
        with text.open("wb") as shown:
            subprocess.run(shell, stdout=shown, check=True)
        if text.stat().st_size < LOG_SIZE // 2:
            raise RuntimeError("the log is not full")
        for _ in range(bench.rounds(5)):
            cat.append(drained(["cat", text]))
            with Asker(service) as asker:
                ours.append(drained(shell))
            waits.append(asker.longest_ms)
    bench.report.add("show of a full log", "ms", ours, cat, 5, "cat")
    bench.report.add("another client's longest wait meanwhile", "ms", waits, None, 5)


def drained(command):
    begin = time.monotonic()
    with subprocess.Popen(command, stdout=subprocess.PIPE) as process:
        while os.read(process.stdout.fileno(), 1 << 16):
            pass
    return (time.monotonic() - begin) * 1000


class Asker:
    """Another client, in a process of its own, that asks each millisecond."""

    def __init__(self, service):
        self.client = service.client()
        self.longest_ms = 0

    def __enter__(self):
        self.end, self.result = os.pipe(), os.pipe()
        self.child = os.fork()
        if self.child == 0:
            self.ask()
        return self

    def ask(self):
        os.set_blocking(self.end[0], False)
        os.close(self.end[1])
        longest = 0
        while True:
            begin = time.monotonic()
            self.client.show_schedule("none")
            longest = max(longest, time.monotonic() - begin)
            time.sleep(0.001)
            try:
                os.read(self.end[0], 1)
                break
            except BlockingIOError:
                pass
        os.write(self.result[1], struct.pack("=d", longest * 1000))
        os._exit(0)

    def __exit__(self, *_):
        os.close(self.end[1])
        self.longest_ms = struct.unpack("=d", os.read(self.result[0], 8))[0]
        os.waitpid(self.child, 0)


def shell(bench):
    directory = bench.fresh("shell")
    ours, peer = [], []
    with Service(bench.build, directory, settings("/bin/sh")) as service:
        command = service.shell("show scheduler schedule")
        service.client()
        for _ in range(bench.rounds(150)):
            ours.append(drained(command))
            peer.append(drained(["sqlite3", ":memory:", "select 1"]))
    bench.report.add("schedsh -c 'show scheduler schedule'", "ms", ours, peer, 1.3, "sqlite3")


MEASURES = {
    "due": due,
    "burst": burst,
    "growth": growth,
    "start": start,
    "memory": memory,
    "log": log,
    "shell": shell,
    "store": from_program("store"),
    "transport": from_program("transport"),
    "text": text,
}
