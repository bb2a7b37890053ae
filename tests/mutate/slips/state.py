# SPDX-License-Identifier: Apache-2.0
"""What is stored of the schedules and their runs, and read back."""

from rows import Row

BATCH = "service/run/run_batch.cpp"
TAKE = "service/run/take.cpp"
STATE = "service/state/run_state.cpp"
SCHEDULER = "service/run/scheduler.cpp"
RECORDER = "service/run/recorder.cpp"
LOG = "service/joblog/joblog.cpp"
CRASH = ("service_due_test", "Scheduled.a_crash_leaves_one_outcome_for_each_job_of_the_run_and_none_is_told_again")
KILLED = ("service_recorder_test", "Killed.at_any_store_call_each_due_time_and_job_has_one_outcome_and_no_run_is_repeated")
INTERRUPTED = ("service_operator_test",
               "HistoryScreen.has_the_start_of_an_interrupted_run_and_no_duration_as_its_end_is_not_known")
ROWS = [
    Row("the run under way is not stored", BATCH, "stored.running = ++counters_.runs;", "const uint64_t number = ++counters_.runs;",
        *CRASH),
    Row("the run's beginning is not stored", BATCH, "  stored.running_since_ms = now_ms;\n", "", *CRASH),
    Row("the run's due time is not stored", BATCH, "  stored.running_due = due;\n", "", *CRASH),
    Row("who asked for the run is not stored", BATCH, "  host::put_text(asked_by, stored.asked_by);\n", "", *INTERRUPTED),
    Row("the run's end is not stored", RECORDER, "  batch.end_run(*entry);\n", "",
        "service_run_test", "Run.the_services_end_stops_the_run_and_records_it"),
    Row("jobs that had their outcome are told again", SCHEDULER, "if (!has_outcome(run, id)) add(id);", "add(id);", *CRASH),
    Row("jobs without an outcome are not told", SCHEDULER, "if (!has_outcome(run, id)) add(id);",
        "if (has_outcome(run, id)) add(id);", *CRASH),
    Row("an interrupted run is not found at the start", STATE, "if (stored && stored->running != 0) begun(", "if (false) begun(",
        *CRASH),
    Row("an interrupted run counts as no execution", STATE, "  if (stored) count_interrupted(&*stored);\n", "",
        "service_recorder_test", "Recorded.a_run_interrupted_in_the_second_of_the_run_before_counts_as_an_execution"),
    Row("a handled due time is not stored", TAKE, "      batch.taken(*entry, due);\n", "",
        "service_startup_test", "Inheritance.a_due_time_of_which_no_job_tells_is_not_taken_again_after_a_boot"),
    Row("the next due time is not stored", BATCH, "  stored.next_due = state.next_due;\n", "", *CRASH),
    Row("a taken schedule is not stored", TAKE, "      batch.save(*entry);\n", "", *KILLED),
    Row("the last slot is not stored", BATCH, "  stored.last_slot = entry.rec->time.last_run;\n", "",
        "service_due_test", "Scheduled.after_a_clock_that_had_been_wrong_by_a_year_what_repeats_goes_on_at_once"),
    Row("the last slot is not read back", STATE, "  entry.rec->time.last_run = stored.last_slot;\n", "",
        "service_due_test", "Scheduled.after_a_clock_that_had_been_wrong_by_a_year_what_repeats_goes_on_at_once"),
    Row("what the wall clock took is not stored", BATCH, "  stored.taken_wall = taken_wall(*entry.rec);\n", "",
        "service_arming_test", "Arming.another_zone_while_the_service_was_down_is_followed_at_the_start"),
    Row("what the wall clock took is not read back", STATE, "  taken_wall(*entry.rec) = stored.taken_wall;\n", "",
        "service_arming_test", "Arming.another_zone_while_the_service_was_down_is_followed_at_the_start"),
    Row("the count of executions is not stored", BATCH, "  stored.execution_count = state.execution_count;\n", "",
        "service_run_test", "Run.jobs_run_in_ascending_id_each_with_its_outcome"),
    Row("the last completion is not stored", BATCH, "  stored.last_completion = state.last_completion;\n", "",
        "service_run_test", "Run.jobs_run_in_ascending_id_each_with_its_outcome"),
    Row("a due time that could not be stored stays taken", TAKE, "    set_record(*entry, record);\n", "    (void)record;\n",
        "service_recorder_test", "Recorded.what_cannot_be_stored_does_not_run_and_is_missed_when_it_has_become_too_late"),
    Row("a run begins that could not be stored", TAKE, "  if (stored) return true;", "  if (stored || true) return true;",
        "service_recorder_test", "Recorded.what_cannot_be_stored_does_not_run_and_is_missed_when_it_has_become_too_late"),
    Row("the moment of the last commit is not stored", BATCH, "  counters_.last_seen = now;\n", "",
        "service_recorder_test", "Recorded.a_clock_that_was_years_ahead_is_believed_no_longer_after_a_restart"),
    Row("the counters are not read at the start", RECORDER, "  counters_ = read_run_counters();\n", "",
        "service_recorder_test", "Recorded.numbers_of_runs_are_never_given_twice_and_a_namesake_inherits_nothing"),
    Row("what a wrong clock took stays taken", SCHEDULER, "if (taken == Taken::forgotten) batch.taken(*entry, 0);", "",
        "service_startup_test", "Inheritance.what_a_clock_that_had_been_wrong_took_keeps_nothing_from_being_due_after_a_boot"),
    Row("a left-over draft is taken for the log", LOG,
        "next && (*next)->file().head().generation == generation_of(sch_log_file) && ", "next && ",
        "service_log_test", "JobLog.a_left_over_draft_is_not_taken_for_the_log_even_when_that_is_gone"),
    Row("a draft that the settings name is not taken", LOG,
        "  if (next && (*next)->file().head().generation == generation_of(sch_log_file)", "  if (false",
        "service_log_test", "JobLog.a_replacement_that_a_crash_stopped_is_finished_at_the_next_start"),
    Row("a left-over draft stays", LOG, "  unlink(draft_path(log_path(sch_log_file)).c_str());\n", "",
        "service_log_test", "JobLog.a_left_over_draft_is_not_taken_for_the_log_even_when_that_is_gone"),
    Row("a full disk at a dump is a success", "host/store/text.cpp", "if (fflush(out) != 0 || ferror(out) != 0)", "if (false)",
        "store_test", "TextTest.dump_that_cannot_be_written_is_an_error"),
    Row("a full disk before the last buffer of a dump is a success", "host/store/text.cpp", " || ferror(out) != 0", "",
        "store_test", "TextTest.dump_that_lost_a_part_before_its_end_is_an_error"),
    Row("a full disk at a saved file is a success", "shell/saved_file.cpp", "std::fclose(file) == 0 && durable ? status",
        "std::fclose(file) == 0 || durable ? status",
        "shell_saved_file_test", "SavedFile.that_finds_no_room_is_a_failure_wherever_it_ends"),
    Row("the last buffer of a saved file is not looked at", "shell/saved_file.cpp",
        "  if (std::fflush(file) != 0) return false;", "  (void)std::fflush(file), clearerr(file);",
        "shell_saved_file_test", "SavedFile.that_finds_no_room_is_a_failure_wherever_it_ends"),
    Row("a buffer that was lost on the way is not looked at", "shell/saved_file.cpp", "std::ferror(file) == 0", "true",
        "shell_saved_file_test", "SavedFile.that_finds_no_room_is_a_failure_wherever_it_ends"),
    Row("a tail of an older dump is left", "shell/saved_file.cpp", "ftruncate(descriptor, 0) == 0", "true",
        "shell_saved_file_test", "SavedFile.is_made_for_its_owner_alone_and_replaces_what_it_held"),
]  # fmt: skip
