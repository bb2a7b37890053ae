#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The session that the front page shows: each '$ COMMAND' is run, and what follows it must be what is printed. With
--record the page gets what is printed now. Times and dates are those of the day it was recorded."""

import argparse
import os
import pathlib
import pwd
import re
import subprocess
import sys
import tempfile
import time

BLOCK = re.compile(r"(?s)(<!-- session -->\n```text\n)(.*?)(\n```)")
DAY = r"(Mon|Tue|Wed|Thu|Fri|Sat|Sun)"
DATE = DAY + r" [A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d \d{4}"
CHANGING = [(DATE, "DATE"), (rf"({DAY} )?" + r"\d{4}-\d\d-\d\d[T ]\d\d:\d\d(:\d\d)?(Z|[+-]\d\d:?\d\d)?", "DATE"), (r"\d\d:\d\d:\d\d", "TIME"),
            (r"\d+\.\d+ ?s\b|\d+ ?ms\b", "LONG"), (r"-{3,}|={3,}", "RULE"), (r"[ \t]+", " "), (r" $", "")]
PATIENCE_S = 60  # only ends a wait that would not end


def comparable(text):
    text = re.sub(rf"\b(root|{re.escape(pwd.getpwuid(os.geteuid()).pw_name)})\b", "USER", text)
    for pattern, word in CHANGING:
        text = re.sub(pattern, word, text, flags=re.M)
    return text.strip()


class Service:
    def __init__(self, given, folder):
        self.environment = os.environ | {"SCHEDCLI_STATE_DIR": f"{folder}/state", "XDG_CONFIG_HOME": folder, "TZ": "UTC",
                                         "LC_ALL": "C.UTF-8", "PATH": f"{folder}/bin:/usr/bin:/bin"}
        self.folder = folder
        (pathlib.Path(folder) / "bin").mkdir()
        os.symlink(given.schedsh, f"{folder}/bin/schedsh")
        # Settings of its own keep the machine's away.
        pathlib.Path(f"{folder}/settings").write_text("")
        self.process = subprocess.Popen([given.schedd, "--config", f"{folder}/settings"], env=self.environment,
                                        stderr=subprocess.DEVNULL)
        self.wait_for(lambda: self.run("schedsh -c 'show clock'")[1] == 0)

    def wait_for(self, holds):
        end = time.monotonic() + PATIENCE_S
        while not holds():
            if self.process.poll() is not None or time.monotonic() > end:
                sys.exit("the service did not do what was waited for")
            time.sleep(0.05)

    def run(self, command):
        done = subprocess.run(["bash", "-c", command], env=self.environment, cwd=self.folder, text=True, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.stdout, done.returncode

    def runs_over(self):
        """How many runs there were, once none is under way."""
        return self.run("schedsh -c 'show scheduler history' | grep -cvE '^run| running '")[0].strip()

    def show(self, command):
        """What a command prints; a run that it orders is over when the next one comes."""
        before = self.runs_over()
        text, status = self.run(command)
        if "scheduler run" in command and status == 0:
            self.wait_for(lambda: self.runs_over() != before)
        return text


def commands(session):
    """Each with the lines of its here-document."""
    found, marker = [], None
    for line in session.splitlines():
        if marker:
            found[-1] += "\n" + line
            marker = None if line == marker else marker
        elif line.startswith("$ "):
            found.append(line[2:])
            here = re.search(r"<<'(\w+)'", line)
            marker = here[1] if here else None
    return found


def played(given, session):
    with tempfile.TemporaryDirectory(prefix="schedcli-session.") as folder:
        service = Service(given, folder)
        try:
            return "\n".join(("$ " + command + "\n" + service.show(command)).rstrip("\n") for command in commands(session))
        finally:
            service.process.terminate()
            service.process.wait()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--readme", type=pathlib.Path, required=True)
    parser.add_argument("--schedd", required=True)
    parser.add_argument("--schedsh", required=True)
    parser.add_argument("--record", action="store_true")
    given = parser.parse_args()
    page = given.readme.read_text()
    recorded = BLOCK.search(page)[2]
    now = played(given, recorded)
    if given.record:
        given.readme.write_text(BLOCK.sub(lambda match: match[1] + now + match[3], page))
    elif comparable(now) != comparable(recorded):
        sys.exit(f"the session prints now\n{now}\n\nand the page has\n{recorded}\n\n{parser.prog} --record writes it anew")
    return 0


if __name__ == "__main__":
    sys.exit(main())
