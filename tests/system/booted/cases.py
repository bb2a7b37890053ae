# SPDX-License-Identifier: Apache-2.0
"""What is tried on a booted machine with the packages installed, in this order. Each leaves the service active."""

from machine import wait_until
from service import (STATE, begin_long_run, configure, expect, expect_in, last_words, next_outcome, no_process, outcomes,
                     restart, run_now, schedules, use_settings)


def the_packages_install_and_the_service_starts(machine):
    expect("the state", machine.active(), True)
    expect("enabled", machine.property("UnitFileState"), "enabled")
    expect("the watchdog", machine.property("WatchdogUSec"), "3min")
    expect("the state directory's mode", machine.run("stat", "-c", "%a %U", STATE).strip(), "700 root")
    expect("the run directory's mode", machine.run("stat", "-c", "%a %U", "/run/schedcli").strip(), "755 root")
    expect("a complaint of the unit's check", machine.run("systemd-analyze", "verify", "--man=no", "schedd.service"), "")


def a_due_time_of_an_ordinary_user_is_configured(machine):
    """Others go on until it comes."""
    soon = machine.sh("date -d '+65 seconds' +%Y:%b:%d:%H:%M").strip()  # a whole minute, 5 to 65 seconds ahead
    configure(machine, "alice", "due", "id -un; id -Gn", f"start {soon}")


def the_due_time_ran_as_that_user(machine):
    wait_until("the due time", lambda: outcomes(machine, "due"), patience=90)
    expect("its outcomes", outcomes(machine, "due"), [("alice", "due", "success", "0")])
    log = machine.shell("show scheduler logfile schedule due", user="alice")
    expect_in("the user", "\nalice\nalice\n", log)


def a_run_has_a_control_group_of_its_own(machine):
    expect("its outcome", run_now(machine, "group", "alice"), ("alice", "group", "success", "0"))
    log = machine.shell("show scheduler logfile schedule group", user="alice")
    expect_in("the group", "/system.slice/schedd.service/run", log)


def a_failure_is_found_in_the_journal_by_its_fields(machine):
    configure(machine, "alice", "broken", "exit 3")
    run_now(machine, "broken", "alice")
    found = machine.journal("SCHEDCLI_OUTCOME=failed", "SCHEDCLI_OWNER=alice")
    expect("what was found", [(entry["SCHEDCLI_SCHEDULE"], entry["SCHEDCLI_STATUS"], entry["PRIORITY"]) for entry in found],
           [("broken", "3", "4")])


def jobs_keep_their_home_and_may_gain_rights(machine):
    """Hardening of the unit would be inherited."""
    configure(machine, "alice", "rights", "touch ~/here && grep -q '^NoNewPrivs:.0' /proc/self/status")
    expect("its outcome", run_now(machine, "rights", "alice")[2], "success")
    machine.run("test", "-O", "/home/alice/here", user="alice")


def a_restart_keeps_everything_and_records_the_run_as_stopped(machine):
    process = begin_long_run(machine, "restarted")
    before = machine.shell("show running-config"), machine.run("cat", STATE + "/boot")
    ended = next_outcome(machine, "restarted", lambda: restart(machine))
    expect("the run's outcome", ended[2:], ("stopped", "115"))
    no_process(machine, process)
    expect("what is configured, and the boot", (machine.shell("show running-config"), machine.run("cat", STATE + "/boot")), before)


def a_reload_with_a_wrong_file_fails_and_changes_nothing(machine):
    # A zone of the same clock, as the due time of another case is under way.
    use_settings(machine, "[service]\nzone=Africa/Abidjan\n")
    machine.run("systemctl", "reload", "schedd")
    expect("the state after a reload", machine.active(), True)
    started = machine.property("ExecMainPID")
    use_settings(machine, "[runs]\nparallel=many\n")
    expect("reload with a wrong file", machine.succeeds("systemctl", "reload", "schedd"), False)
    wait_until("the service after a refused reload", machine.active)
    expect("the process", machine.property("ExecMainPID"), started)
    expect_in("what was said", "schedd.conf:2", last_words(machine))
    expect_in("the setting in use", "zone: Africa/Abidjan", machine.shell("show scheduler status"))
    use_settings(machine, "")
    machine.run("systemctl", "reload", "schedd")


def a_start_with_a_wrong_file_is_refused_once(machine):
    use_settings(machine, "[runs]\nparallel=many\n")
    restarts = machine.property("NRestarts")
    expect("start with a wrong file", machine.succeeds("systemctl", "restart", "schedd"), False)
    expect("the state", machine.property("ActiveState"), "failed")
    expect("automatic restarts", machine.property("NRestarts"), restarts)
    use_settings(machine, "")
    restart(machine)


def a_killed_service_comes_back_and_says_what_was_interrupted(machine):
    process = begin_long_run(machine, "interrupted")
    killed = machine.property("ExecMainPID")
    ended = next_outcome(machine, "interrupted",
                         lambda: machine.run("systemctl", "kill", "--signal=KILL", "--kill-whom=main", "schedd"))
    wait_until("the restart", lambda: machine.active() and machine.property("ExecMainPID") != killed)
    expect("the run's outcome", ended[2:], ("interrupted", "114"))
    no_process(machine, process)


def a_hung_service_is_replaced(machine):
    """By the watchdog; made short here, as nobody waits for minutes."""
    machine.sh("mkdir -p /run/systemd/system/schedd.service.d; "
               "printf '[Service]\\nWatchdogSec=2\\n' >/run/systemd/system/schedd.service.d/short.conf; systemctl daemon-reload")
    restart(machine)
    hung = machine.property("ExecMainPID")
    machine.run("kill", "-STOP", hung)
    wait_until("the replacement", lambda: machine.active() and machine.property("ExecMainPID") != hung)
    machine.sh("rm -r /run/systemd/system/schedd.service.d; systemctl daemon-reload")
    restart(machine)


def a_boot_goes_on_with_the_configuration_in_use(machine):
    machine.shell("copy running-config startup-config")
    configure(machine, "alice", "unsaved", "true")
    before = schedules(machine)
    machine.reboot()
    wait_until("the service after a boot", machine.active)
    expect("the schedules", schedules(machine), before)


def a_boot_from_startup_drops_and_keeps_what_was_not_saved(machine):
    use_settings(machine, "[service]\nboot-from=startup\n")
    before = schedules(machine)
    machine.reboot()
    wait_until("the service after a boot", machine.active)
    expect("the schedules", schedules(machine), [name for name in before if name != "unsaved"])
    left_out = machine.sh(f"cat {STATE}/boot-left-out-*.conf")
    expect_in("what was left out", "scheduler schedule name unsaved", left_out)
    expect_in("the journal", "boot-left-out-", last_words(machine))
    restart(machine)
    expect("the schedules after a restart", schedules(machine), [name for name in before if name != "unsaved"])
    use_settings(machine, "")
    restart(machine)


def it_is_started_without_a_supervisor(machine):
    """By the line that the manual page has."""
    machine.run("systemctl", "stop", "schedd")
    line = next(text for text in machine.sh("zcat -f /usr/share/man/man8/schedd.8*").replace("\\-", "-").splitlines()
                if text.startswith("start-stop-daemon --start"))
    machine.sh(line)
    wait_until("the socket", lambda: machine.succeeds("schedsh", "-c", "show clock", user="alice"))
    expect("the outcome of a run", run_now(machine, "group", "alice")[2], "success")
    machine.sh(line.replace("--start --background --make-pidfile", "--stop --retry 20 --remove-pidfile"))
    machine.run("systemctl", "start", "schedd")


CASES = [
    the_packages_install_and_the_service_starts,
    a_due_time_of_an_ordinary_user_is_configured,
    a_run_has_a_control_group_of_its_own,
    a_failure_is_found_in_the_journal_by_its_fields,
    jobs_keep_their_home_and_may_gain_rights,
    a_restart_keeps_everything_and_records_the_run_as_stopped,
    a_reload_with_a_wrong_file_fails_and_changes_nothing,
    a_start_with_a_wrong_file_is_refused_once,
    a_killed_service_comes_back_and_says_what_was_interrupted,
    a_hung_service_is_replaced,
    the_due_time_ran_as_that_user,
    a_boot_goes_on_with_the_configuration_in_use,
    a_boot_from_startup_drops_and_keeps_what_was_not_saved,
    it_is_started_without_a_supervisor,
]
