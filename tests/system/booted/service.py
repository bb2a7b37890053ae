# SPDX-License-Identifier: Apache-2.0
"""The installed service inside a machine, as its administrator and its users meet it."""

import json

from machine import Failed, wait_until

STATE = "/var/lib/schedcli"
SETTINGS = "/etc/schedcli/schedd.conf"


def expect(what, found, wanted):
    if found != wanted:
        raise Failed(f"{what}: {found!r} is not {wanted!r}")


def expect_in(what, part, text):
    if part not in text:
        raise Failed(f"{what}: {part!r} is not in {text!r}")


def use_settings(machine, text):
    (machine.root / SETTINGS[1:]).write_text(text)


def configure(machine, user, name, command, time="daily 23:30"):
    """A job and a schedule of that name."""
    machine.shell("configure terminal", f"scheduler job name {name}", command, "end-job",
                  f"scheduler schedule name {name}", f"job name {name}", f"time {time}", "end", user=user)


def outcomes(machine, schedule):
    """(owner, job, outcome, status) of all that the journal has, the oldest first."""
    return [(entry["SCHEDCLI_OWNER"], entry["SCHEDCLI_JOB"], entry["SCHEDCLI_OUTCOME"], entry["SCHEDCLI_STATUS"])
            for entry in machine.journal(f"SCHEDCLI_SCHEDULE={schedule}")]


def next_outcome(machine, schedule, act):
    before = len(outcomes(machine, schedule))
    act()
    return wait_until(f"an outcome of {schedule}", lambda: outcomes(machine, schedule)[before:])[0]


def run_now(machine, schedule, user):
    return next_outcome(machine, schedule,
                        lambda: machine.shell(f"scheduler run schedule {schedule}", user=user))


def begin_long_run(machine, name, user="alice"):
    """A run that is under way when this returns; its process sleeps for longer than any test."""
    configure(machine, user, name, f"echo under way; exec sleep 100{len(name)}")
    machine.shell(f"scheduler run schedule {name}", user=user)
    wait_until("the run's process", lambda: machine.succeeds("pgrep", "-fx", f"sleep 100{len(name)}"))
    return f"sleep 100{len(name)}"


def no_process(machine, line):
    wait_until(f"the end of '{line}'", lambda: not machine.succeeds("pgrep", "-fx", line))


def schedules(machine, user="root"):
    text = machine.shell("show running-config", user=user)
    return [line.split()[-1] for line in text.splitlines() if line.startswith("scheduler schedule name ")]


def restart(machine):
    machine.run("systemctl", "restart", "schedd")
    expect("the state after a restart", machine.active(), True)


def last_words(machine, since=None):
    """What the service said since then, or since the machine's boot, and its supervisor. Not by unit: of a
    process that has just ended the journal does not know it any more."""
    entries = machine.journal("--boot", "--identifier=schedd", "--identifier=systemd", *([f"--since=@{since}"] if since else []))
    return "\n".join(text if isinstance(text := entry.get("MESSAGE", ""), str) else json.dumps(text) for entry in entries)
