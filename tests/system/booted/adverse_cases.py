# SPDX-License-Identifier: Apache-2.0
"""What a machine may lack or refuse, and what an administrator does to the packages at a bad moment."""

import contextlib
import time

from machine import wait_until
from service import STATE, begin_long_run, configure, expect, expect_in, last_words, next_outcome, no_process, outcomes, restart, run_now

WITHOUT_OVERRIDE = "[Service]\\nCapabilityBoundingSet=~CAP_DAC_OVERRIDE CAP_DAC_READ_SEARCH CAP_FOWNER\\n"
DROP_IN = "/run/systemd/system/schedd.service.d"


@contextlib.contextmanager
def small_disk(machine):
    """The state directory on a disk of its own, as it is; afterwards where it was, as it was."""
    machine.sh(f"systemctl stop schedd; cp -a {STATE} /root/small; mount -t tmpfs -o size=8m,mode=0700 tmpfs {STATE}; "
               f"cp -a /root/small/. {STATE}/; rm -r /root/small; systemctl start schedd")
    try:
        yield
    finally:
        machine.sh(f"systemctl stop schedd; umount {STATE}; systemctl reset-failed schedd || true; systemctl start schedd")


def a_full_disk_refuses_changes_and_nothing_else(machine):
    with small_disk(machine):
        machine.sh(f"dd if=/dev/zero of={STATE}/filler bs=4k 2>/dev/null || true")
        before = machine.shell("show running-config")
        since = time.time()
        answer = machine.shell("configure terminal", "scheduler job name large", "; ".join(["true"] * 9000), "end-job", "end",
                               check=False)
        expect_in("the answer", "nothing was changed", answer)
        expect_in("the journal", "nothing was changed; make room on the disk", last_words(machine, since))
        expect("what is configured", machine.shell("show running-config"), before)
        expect("the service on a full disk", machine.active(), True)
        since = time.time()
        expect("a start on a full disk", machine.succeeds("systemctl", "restart", "schedd"), False)
        expect_in("the journal", "No space left on device", last_words(machine, since))
        machine.run("rm", f"{STATE}/filler")
        wait_until("the service when there is room again", machine.active)
        expect("what is configured", machine.shell("show running-config"), before)
        configure(machine, "alice", "after-full", "true")
        expect("a run", run_now(machine, "after-full", "alice")[2], "success")


def no_zone_file_is_universal_time(machine):
    machine.run("mv", "/etc/localtime", "/root/localtime")
    restart(machine)
    expect_in("the clock", "UTC", machine.shell("show clock"))
    expect("a run", run_now(machine, "group", "alice")[2], "success")
    machine.run("mv", "/root/localtime", "/etc/localtime")


def no_pam_file_is_said_and_checks_no_account(machine):
    machine.run("mv", "/etc/pam.d/schedcli", "/root/pam")
    since = time.time()
    restart(machine)
    expect_in("the journal", "no /etc/pam.d/schedcli: accounts are checked by /etc/shadow alone", last_words(machine, since))
    expect("a run", run_now(machine, "group", "alice")[2], "success")
    machine.run("mv", "/root/pam", "/etc/pam.d/schedcli")
    restart(machine)
    expect("a run with the file back", run_now(machine, "group", "alice")[2], "success")


def an_account_that_has_expired_runs_nothing(machine):
    """The file's own rule, on a machine that keeps its accounts itself."""
    machine.run("usermod", "--expiredate", "1", "alice")
    restart(machine)  # an account is believed for half a minute
    before = outcomes(machine, "group")
    machine.shell("scheduler run schedule group", check=False)
    wait_until("the outcome", lambda: outcomes(machine, "group") != before)
    expect("what the job did", outcomes(machine, "group")[-1][3], "116")
    machine.run("usermod", "--expiredate", "", "alice")
    restart(machine)


def no_ipv6_is_no_hindrance(machine):
    machine.from_outside("sysctl", "-w", "net.ipv6.conf.all.disable_ipv6=1")
    restart(machine)
    expect("a run", run_now(machine, "group", "alice")[2], "success")


def is_named(path, words):
    """A lock of a store goes by the store's file, and a zone by its name."""
    return path.removesuffix("-lock").removeprefix("/usr/share/zoneinfo/") in words


def start_refused(machine, path):
    """The path belongs to another and is closed, and the service may not override that: whether it starts, and its words."""
    machine.sh(f"cp -a {STATE} /root/open; chown nobody:nogroup '{path}'; chmod 0 '{path}'; systemctl reset-failed schedd")
    since = time.time()
    started = machine.succeeds("systemctl", "start", "schedd")
    exited = machine.property("ExecMainCode") == "1"  # of itself
    words = last_words(machine, since)
    machine.sh(f"systemctl stop schedd; rm -rf {STATE}; mv /root/open {STATE}")
    return started, exited, words


@contextlib.contextmanager
def without_override(machine):
    machine.sh(f"mkdir -p {DROP_IN}; printf '{WITHOUT_OVERRIDE}' >{DROP_IN}/refused.conf; systemctl daemon-reload; "
               "systemctl stop schedd")
    try:
        yield
    finally:
        machine.sh(f"rm -r {DROP_IN}; systemctl daemon-reload; systemctl reset-failed schedd; systemctl start schedd")


def a_refusal_on_any_path_is_said_with_the_path(machine):
    with without_override(machine):
        paths = machine.sh(f"find {STATE} /run/schedcli /etc/schedcli /etc/pam.d/schedcli /usr/libexec/schedcli "
                           "! -type s; readlink -f /etc/localtime").split()
        wrong = []
        for path in paths:
            mode, owner, group = machine.run("stat", "-c", "%a %u %g", path).split()
            started, exited, words = start_refused(machine, path)
            machine.sh(f"chown {owner}:{group} '{path}'; chmod {mode} '{path}'")
            if not started and not (exited and is_named(path, words)):
                wrong.append((path, words[-300:]))
        expect("paths whose refusal ends the service without naming them", wrong, [])
    expect("a run afterwards", run_now(machine, "group", "alice")[2], "success")


def an_upgrade_in_the_middle_of_a_run_records_it_and_goes_on(machine):
    process = begin_long_run(machine, "upgraded")
    before = machine.shell("show running-config")
    ended = next_outcome(machine, "upgraded", lambda: machine.run("dpkg", "--install", *machine.newer))
    expect("the run's outcome", ended[2:], ("stopped", "115"))
    no_process(machine, process)
    expect("the service", machine.active(), True)
    expect("what is configured", machine.shell("show running-config"), before)
    expect("a run of the new version", run_now(machine, "group", "alice")[2], "success")


def a_downgrade_below_the_stores_version_is_refused_and_said(machine):
    """The newer service would have written the next version of its stores."""
    machine.run("systemctl", "stop", "schedd")
    version = machine.run("cat", f"{STATE}/version").strip()
    machine.sh(f"echo {int(version) + 1} >{STATE}/version; cp -a {STATE} /root/newer")
    machine.run("dpkg", "--install", *machine.packages)
    expect("a start", machine.succeeds("systemctl", "start", "schedd"), False)
    expect_in("what is said", f"was written by a newer version of the service ({int(version) + 1}", last_words(machine))
    machine.sh(f"diff -r --exclude=service.lock /root/newer {STATE}")
    machine.sh(f"systemctl stop schedd; echo {version} >{STATE}/version; systemctl reset-failed schedd; systemctl start schedd")
    expect("a run of the older version", run_now(machine, "group", "alice")[2], "success")


def purged_while_it_runs_nothing_is_left(machine):
    process = begin_long_run(machine, "purged-at-once")
    machine.run("dpkg", "--purge", "schedcli", "libschedhost1", "libschedcli1")
    no_process(machine, process)
    expect("processes", machine.succeeds("pgrep", "-l", "sched[ds]"), False)
    left = machine.sh("find / -xdev \\( -iname '*schedcli*' -o -iname '*schedd*' -o -iname '*schedsh*' \\) ! -path '/packages/*' "
                      "! -path '/root/*' ! -path '/proc/*' ! -path '/sys/*'; getent group schedcli || true; "
                      "systemctl list-unit-files --no-legend 'schedd*' || true; ls -d /run/schedcli /run/systemd/system/schedd* 2>/dev/null || true")
    expect("what is left", left, "")


CASES = [
    a_full_disk_refuses_changes_and_nothing_else,
    no_zone_file_is_universal_time,
    no_pam_file_is_said_and_checks_no_account,
    an_account_that_has_expired_runs_nothing,
    no_ipv6_is_no_hindrance,
    a_refusal_on_any_path_is_said_with_the_path,
    an_upgrade_in_the_middle_of_a_run_records_it_and_goes_on,
    a_downgrade_below_the_stores_version_is_refused_and_said,
    purged_while_it_runs_nothing_is_left,
]
