# SPDX-License-Identifier: Apache-2.0
"""Measures that are programs of their own: each prints JSON, a line for each row."""
import json
import subprocess

from report import exponent
from service import settings
from tables import SIZES, Holding, at, full


def lines_of(bench, name, *arguments):
    done = subprocess.run([bench.build / f"bench/{name}_bench", *map(str, arguments)], capture_output=True, text=True)
    if done.returncode:
        raise RuntimeError(f"{name}_bench: {done.stderr.strip()}")
    return map(json.loads, done.stdout.splitlines())


def put(bench, name, argument):
    for row in lines_of(bench, name, argument):
        bench.report.put(row)


def store(bench):
    put(bench, "store", bench.directory)


def text(bench):
    put(bench, "text", full(bench))


def transport(bench):
    for size in SIZES:
        service = Holding(bench, "transport", size, settings("/bin/sh"))  # the program starts it
        for row in lines_of(bench, "transport", service.directory, size):
            bench.report.put(row | {"name": at(row["name"], size)})


def growth(bench):
    """Each request at 100 to 100,000 schedules: the exponent of its cost."""
    for line in lines_of(bench, "growth", bench.directory):
        for size, samples in zip(line["sizes"], line["samples"]):
            bench.report.add(f"{line['name']} at {size:,}", "us", samples)
        costs = [sorted(samples)[len(samples) // 2] for samples in line["samples"]]
        found = exponent(line["sizes"], costs)
        bench.report.add(f"{line['name']}: exponent 10^2 to 10^5", "", [found], None, 1.05)
