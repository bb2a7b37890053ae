# SPDX-License-Identifier: Apache-2.0
"""Tables with schedules that wait, as empty ones hide what grows with them: made once in a run of the benchmark, and
copied for each measure."""
import shutil
import time

from service import Client, Service, settings

SIZES = (0, 1000, 10000)
OTHER_USER = "nobody"
OWNERS = ("root", OTHER_USER)
YEAR_S = 365 * 24 * 3600
FULL_JOBS, FULL_TEXT = 256, (b"x" * 99 + b"\n") * (60 * 1024 // 100)


def at(name, size):
    """A row's name; so many schedules wait beside those of the measure."""
    return f"{name}, {size:,} schedules"


def in_turns(size):
    """As many for each owner."""
    return [(owner, f"waits-{owner}", range(place, size, len(OWNERS))) for place, owner in enumerate(OWNERS)]


def waiting(bench, size):
    """The state directory of a stopped service with two owners' jobs and so many of their schedules, due in a year."""
    directory = bench.directory / f"tables-{size}"
    if not directory.exists():
        directory.mkdir()
        due = int(time.time()) + YEAR_S
        with Service(bench.build, directory, settings("/bin/sh")) as service:
            client = service.client()
            for owner, job, numbers in in_turns(size):
                client.define_job(job, b"true\n", owner)
                if numbers:
                    texts = (schedule_text(number, job, due + 60 * number) for number in numbers)
                    client.configure("".join(texts), owner)
            shares = [len(numbers) for _, _, numbers in in_turns(size)]
            if client.schedule_counts(OWNERS) != [size, *shares]:
                raise RuntimeError(f"{client.schedule_counts(OWNERS)} schedules instead of {size}, {shares}")
    return directory / "state"


def schedule_text(number, job, due):
    when = time.strftime("%Y:%m:%d:%H:%M", time.gmtime(due))
    return f"scheduler schedule name waits-{number}\n job name {job}\n time start {when} repeat 1:0:0\n"


def full(bench):
    """The state directory of a stopped service with 256 full jobs and 10,000 schedules."""
    directory = bench.directory / "tables-full"
    if not directory.exists():
        directory.mkdir()
        with Service(bench.build, directory, settings("/bin/sh")) as service:
            client = service.client()
            for i in range(FULL_JOBS):
                client.define_job(f"job-{i}", FULL_TEXT)
            client.configure("".join(f"scheduler schedule name schedule-{i}\n job name job-{i % FULL_JOBS}\n"
                                     for i in range(SIZES[-1])))
            if client.schedule_counts() != [SIZES[-1]]:
                raise RuntimeError(f"{client.schedule_counts()} schedules instead of {SIZES[-1]}")
    return directory / "state"


class Holding(Service):
    """A service on a copy of tables with so many schedules. That it holds them is looked at when its measure is over,
    so that the measure is of a service that nobody has asked."""

    def __init__(self, bench, name, size, service_settings, preload=None, tables=None):
        directory = bench.fresh(f"{name}-{size}")
        shutil.copytree(tables or waiting(bench, size), directory / "state")
        super().__init__(bench.build, directory, service_settings, preload)
        self.size = size
        self.own = 0  # schedules of the measure itself

    def stop(self):
        try:
            if self.process:
                self.want_schedules()
        finally:
            super().stop()

    def __exit__(self, failed, *_):
        if failed:
            super().stop()
        else:
            self.stop()

    def want_schedules(self):
        found, = Client(self.run / "schedd.sock").schedule_counts()
        if found != self.size + self.own:
            raise RuntimeError(f"{found} schedules instead of {self.size} that wait and {self.own}")
