# SPDX-License-Identifier: Apache-2.0
"""The instructions of the service for a request, counted by callgrind: nearly the same on a busy machine, so they guard
the hot paths where times cannot. The difference of two runs leaves out the start and the end."""
import json
import pathlib
import re
import subprocess
import time

from service import settings
from tables import SIZES, Holding, at

KNOWN = pathlib.Path(__file__).with_name("instructions.json")
TOLERANCE = 1.15  # the same build differs by a twentieth, as its loop turns once more when the client is late
FEW, MANY = 50, 1050


class Counted(Holding):
    """A service under callgrind."""

    def command(self):
        self.counts = self.directory / "callgrind.out"
        return ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={self.counts}", *super().command()]

    def instructions(self):
        self.stop()
        return int(re.search(r"^(?:summary|totals): (\d+)", self.counts.read_text(), re.MULTILINE)[1])


def show(client, _):
    client.show_schedule("bench")


def change(client, _):
    client.set_time("bench", int(time.time()) + 10**6)


def create_and_delete(client, turn):
    client.create_schedule(f"other-{turn}")
    client.delete_schedule(f"other-{turn}")


REQUESTS = {"show a schedule": show, "change a due time": change, "create and delete a schedule": create_and_delete}


def count(bench, size, request, times):
    service = Counted(bench, f"instructions-{request.__name__}-{times}", size, settings("/bin/true"))
    service.start()
    client = service.client()
    client.create_schedule("bench", "waits-root")
    service.own = 1
    for turn in range(times):
        request(client, turn)
    return service.instructions()


def instructions(bench):
    """Noted for each size, as a change copies a page of each level of the store's tree."""
    known = json.loads(KNOWN.read_text())
    for name, request in REQUESTS.items():
        for size in SIZES:
            each = (count(bench, size, request, MANY) - count(bench, size, request, FEW)) / (MANY - FEW)
            bench.report.add(at(f"instructions: {name}", size), "", [each], [known[name][str(size)]], TOLERANCE, "when noted")
