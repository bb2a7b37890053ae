# SPDX-License-Identifier: Apache-2.0
"""How late one user's runs begin while another uses up all that a user may have."""
import ctypes
import os
import pwd
import signal
import struct
import time

from probe import Probe, lateness, sleep_until
from service import HEADER, MORE, SHOW, Client, settings
from tables import OTHER_USER, SIZES, Holding, at

HOG = "daemon"
HANGING = 64
READS = 10000
STREAM_END = 3
SHOW_LOG = 8


def fairness(bench):
    """Idle first, then beside the hog: one service of each size, one user whose runs are measured."""
    for size in SIZES:
        idle, beside = measured(Holding(bench, "fairness", size, settings("/bin/sh", parallel=64)), bench)
        bench.report.add(at("due beside a user with all of a share", size), "ms", beside, idle, 2, "idle")


def measured(service, bench):
    probe = Probe(bench, service.directory)
    rounds = bench.rounds(12)
    service.own = 2 * rounds + 2 * HANGING
    with service:
        client = service.client()
        client.define_job("bench", f"exec {probe.program}\n".encode(), OTHER_USER)
        idle = phase(client, probe, "idle", rounds)
        hang(client)
        with Readers(service) as readers:
            beside = phase(client, probe, "beside", rounds)
            read = readers.count()
    if len(idle) != rounds or len(beside) != rounds:
        raise RuntimeError(f"of {rounds} runs {len(idle)} began idle and {len(beside)} beside the hog")
    print(f"fairness: {HANGING} schedules of {HOG} hang, {read} of its reads of the log in {rounds} s")
    return idle, beside


def phase(client, probe, name, rounds):
    before = len(probe.moments())
    start = int(time.time()) + 3
    for i in range(rounds):
        client.create_schedule(f"{name}-{i}", "bench", start + i, OTHER_USER)
    sleep_until(start + rounds + 1)
    return list(lateness(probe.moments()[before:]).values())


def hang(client):
    """More than may run at once, and a log that has something to show."""
    client.define_job("hangs", b"exec sleep 1000\n", HOG)
    client.define_job("prints", b"head -c 8000 /dev/zero | tr '\\0' 'x'\n", HOG)
    start = int(time.time()) + 3
    for i in range(HANGING):
        client.create_schedule(f"prints-{i}", "prints", start, HOG)
    sleep_until(start + 4)
    start = int(time.time()) + 3
    for i in range(HANGING):
        client.create_schedule(f"hangs-{i}", "hangs", start, HOG)
    sleep_until(start + 2)


class Readers:
    """The hog's: one process, which reads the whole log again and again, until all reads are done or it is ended."""

    def __init__(self, service):
        self.service = service

    def __enter__(self):
        self.done, told = os.pipe()
        self.child = os.fork()
        if self.child == 0:
            ctypes.CDLL(None).prctl(1, signal.SIGKILL)
            hog = pwd.getpwnam(HOG)
            os.setgid(hog.pw_gid)
            os.setuid(hog.pw_uid)
            client = Client(self.service.run / "schedd.sock")
            for _ in range(READS):
                read_log(client)
                os.write(told, b".")
            os._exit(0)
        os.close(told)
        os.set_blocking(self.done, False)
        return self

    def count(self):
        try:
            return len(os.read(self.done, READS))
        except BlockingIOError:
            return 0

    def __exit__(self, *_):
        os.kill(self.child, signal.SIGKILL)
        os.waitpid(self.child, 0)
        os.close(self.done)


def read_log(client):
    body = struct.pack("=III32si", SHOW_LOG, 40, 0, b"", -1)
    client.socket.send(HEADER.pack(0x46484353, 1, 1, SHOW, 2, 1, 0, 0, len(body), b"", b"") + body)
    while True:
        packet = client.socket.recv(70000)
        if not packet:
            raise RuntimeError("the service hangs up on a reader")
        while packet:
            head = HEADER.unpack_from(packet)
            if head[2] == STREAM_END or not head[6] & MORE:
                return
            packet = packet[HEADER.size + head[8]:]
