# SPDX-License-Identifier: Apache-2.0
"""What a benchmark found: its rows, printed and kept as JSON, and the comparison of two files of them."""
import json
import os
import pathlib
import platform
import statistics
import subprocess
import time


def percentile(samples, share):
    ordered = sorted(samples)
    return ordered[round(share * (len(ordered) - 1))]


def spread(samples):
    return {"p50": percentile(samples, 0.5), "p95": percentile(samples, 0.95), "of": len(samples)}


def head(commit):
    cpu = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "?")
    return {"commit": commit, "time": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime()), "cpu": cpu,
            "cores": len(os.sched_getaffinity(0)), "kernel": platform.release(), "load": os.getloadavg()[0]}


def commit_of(tree):
    def git(*words):
        return subprocess.run(["git", "-C", tree, *words], capture_output=True, text=True).stdout.strip()
    return (git("rev-parse", "--short=12", "HEAD") or "unknown") + ("+changes" if git("status", "--porcelain") else "")


class Report:
    """Each row is a measure with its goal: a ratio to the peer of the same rounds, or without a peer a figure."""

    def __init__(self, first):
        self.head, self.rows = first, []
        print("  ".join(f"{name} {value}" for name, value in first.items()), flush=True)

    def add(self, name, unit, ours, peer=None, goal=None, peer_name="floor", at_least=False):
        """`at_least`: more is better, and the ratio is ours to the peer's all the same."""
        row = {"name": name, "unit": unit, "ours": spread(ours), "goal": goal, "at_least": at_least}
        if peer:
            row |= {"peer": spread(peer), "peer_name": peer_name}
        row["figure"] = row["ours"]["p50"] / row["peer"]["p50"] if peer else row["ours"]["p50"]
        self.put(row)

    def put(self, row):
        goal = row["goal"]
        row["met"] = None if goal is None else bool(row["figure"] >= goal if row["at_least"] else row["figure"] <= goal)
        self.rows.append(row)
        print(line_of(row), flush=True)

    def missed(self):
        return [row["name"] for row in self.rows if row["met"] is False]

    def write(self, path):
        pathlib.Path(path).write_text(json.dumps({"head": self.head, "rows": self.rows}, indent=1) + "\n")


def line_of(row):
    def both(side):
        return f"{side['p50']:10.3f} {side['p95']:10.3f}"
    peer = f"{row['peer_name']:12.12} {both(row['peer'])}" if "peer" in row else " " * 34
    goal = "" if row["goal"] is None else f"goal {'>=' if row['at_least'] else '<='} {row['goal']:<8.4g}"
    verdict = {None: "", True: "met", False: "MISSED"}[row["met"]]
    return f"{row['name']:60.60} {row['unit']:4} {both(row['ours'])}  {peer}  {row['figure']:9.3f}  {goal:16} {verdict}"


def compare(before, after):
    """Rows of two files side by side; a change that both spreads cover is noise."""
    old, new = (json.loads(pathlib.Path(path).read_text()) for path in (before, after))
    print(f"{old['head']['commit']} (load {old['head']['load']}) -> {new['head']['commit']} (load {new['head']['load']})")
    known = {row["name"]: row for row in old["rows"]}
    for row in new["rows"]:
        was = known.get(row["name"])
        change = f"{was['figure']:9.3f} -> {row['figure']:9.3f}  x {row['figure'] / was['figure']:.2f}" \
            if was and was["figure"] else f"{'new':>9} -> {row['figure']:9.3f}"
        print(f"{row['name']:60.60} {change}")


def exponent(sizes, costs):
    """Of the whole cost of as many requests as there are entries: the slope of each request's, and 1."""
    import math
    x, y = [math.log(size) for size in sizes], [math.log(cost) for cost in costs]
    middle = statistics.mean(x), statistics.mean(y)
    above = sum((a - middle[0]) * (b - middle[1]) for a, b in zip(x, y))
    return 1 + above / sum((a - middle[0]) ** 2 for a in x)
