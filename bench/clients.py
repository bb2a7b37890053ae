# SPDX-License-Identifier: Apache-2.0
"""What somebody at a terminal waits for: a whole log, and a command of the shell."""
import contextlib
import os
import struct
import subprocess
import time

from service import settings
from tables import SIZES, Holding, at

LOG_SIZE = 16 << 20
SETTINGS = settings("/bin/sh")


def log(bench):
    """The whole log, through a pipe, beside cat of the same text; what another client waits for meanwhile."""
    services = [with_full_log(bench, size) for size in SIZES]
    cat, ours, waits = [], {size: [] for size in SIZES}, {size: [] for size in SIZES}
    with contextlib.ExitStack() as running:
        for service in services:
            running.enter_context(service)
        texts = [shown(service) for service in services]
        for _ in range(bench.rounds(5)):
            cat.append(drained(["cat", texts[0]]))
            for service in services:
                with Asker(service) as asker:
                    ours[service.size].append(drained(service.shell("show scheduler logfile"), service.environment()))
                waits[service.size].append(asker.longest_ms)
    for size in SIZES:
        bench.report.add(at("show of a full log", size), "ms", ours[size], cat, 5, "cat")
        bench.report.add(at("another client's longest wait meanwhile", size), "ms", waits[size], None, 5)


def with_full_log(bench, size):
    service = Holding(bench, "log", size, SETTINGS)
    with service:
        service.client().resize_log(LOG_SIZE)
    file = next(path for path in service.state.iterdir() if path.is_file() and path.open("rb").read(8) == b"SCHEDLOG")
    subprocess.run([bench.build / "bench/fill_log", file, "100"], check=True)
    return service


def shown(service):
    """The text of a full log."""
    path = service.directory / "text"
    with path.open("wb") as text:
        subprocess.run(service.shell("show scheduler logfile"), env=service.environment(), stdout=text, check=True)
    if path.stat().st_size < LOG_SIZE // 2:
        raise RuntimeError("the log is not full")
    return path


def drained(command, environment=None):
    begin = time.monotonic()
    with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE) as process:
        while os.read(process.stdout.fileno(), 1 << 16):
            pass
    if process.returncode:
        raise RuntimeError(f"{command} ended with {process.returncode}")
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


# The list of schedules is what a user asks for most; it is as long as the table. The status is as long for any table.
LISTED, EQUAL = "show scheduler schedule", "show scheduler status"


def shell(bench):
    commands = [(LISTED, SIZES[0]), *((EQUAL, size) for size in SIZES)]
    ours, peer = {command: [] for command in commands}, []
    with contextlib.ExitStack() as running:
        services = {size: running.enter_context(Holding(bench, "shell", size, SETTINGS)) for size in SIZES}
        for service in services.values():
            service.client()
        for _ in range(bench.rounds(150)):
            for (words, size), taken in ours.items():
                taken.append(drained(services[size].shell(words), services[size].environment()))
            peer.append(drained(["sqlite3", ":memory:", "select 1"]))
    for (words, size), taken in ours.items():
        bench.report.add(at(f"schedsh -c '{words}'", size), "ms", taken, peer, 1.3, "sqlite3")
