# SPDX-License-Identifier: Apache-2.0
"""When the jobs of a measure began."""
import shutil
import time


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


def sleep_until(moment):
    time.sleep(max(0, moment - time.time()))


def lateness(moments):
    """In milliseconds after the full second, by that second."""
    return {int(moment): (moment - int(moment)) * 1000 for moment in moments}
