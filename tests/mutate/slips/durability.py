# SPDX-License-Identifier: Apache-2.0
"""What is on the disk before it is told."""

from rows import Row

WHOLE, DIRECTORY, REPLACE = "host/files/whole_file.cpp", "host/files/directory.cpp", "host/store/replace.cpp"
LOG, RECORDER, BATCH = "service/joblog/joblog.cpp", "service/run/recorder.cpp", "service/run/run_batch.cpp"
FILES = "service_written_files_test"
PASSWORDS = "WrittenFiles.of_the_passwords_and_of_their_key_are_there_when_one_is_stored"
REPLACED_LOG = "WrittenFiles.of_a_log_that_was_replaced_are_there_when_it_is_answered"
MAIL = "WrittenFiles.of_the_mail_are_there_when_it_is_queued"
CHANGED = "WrittenFiles.of_a_configuration_are_there_when_it_is_answered"
SAVED = "WrittenFiles.of_a_saved_configuration_are_there_when_it_is_answered"
STARTED = "WrittenFiles.of_a_start_are_there_with_the_directory_that_it_made"
COMMITS = "Requests.a_granted_request_is_one_durable_commit_and_any_other_none"

ROWS = [
    Row("a whole file is not synced", WHOLE, "flush(file.get()) != 0 ||\n      ", "", FILES, PASSWORDS),
    Row("a whole file is synced when it has its name", WHOLE, "flush(file.get()) != 0 ||\n      !rename_file(draft, path)",
        "!rename_file(draft, path) || flush(file.get()) != 0",
        FILES, "WrittenFiles.that_are_secret_are_whole_or_absent_whenever_the_power_fails"),
    Row("a file's name is not synced", WHOLE, " && sync_directory(parent_directory(to))", "", FILES, MAIL),
    Row("the directory above is synced instead", WHOLE, "sync_directory(parent_directory(to))",
        "sync_directory(parent_directory(parent_directory(to)))", FILES, PASSWORDS),
    Row("a sync does nothing", "host/files/disk.cpp", "code = call(descriptor) == 0 ? 0 : errno;", "code = 0;", FILES, PASSWORDS),
    Row("a sync of data does nothing", "host/files/disk.cpp", "return flush_by(fdatasync, descriptor);", "return 0;",
        FILES, STARTED),
    Row("a directory that is made is not synced", DIRECTORY,
        '  if (!sync_directory(parent_directory(path))) return unusable(path, "cannot make the directory durable");\n', "",
        FILES, "WrittenFiles.of_a_log_in_a_new_directory_are_there_when_it_is_answered"),
    Row("a directory syncs itself and not its name", DIRECTORY, "if (!sync_directory(parent_directory(path)))",
        "if (!sync_directory(path))", FILES, CHANGED),
    Row("a copied store is not synced", REPLACE, "  if (code == 0 && flush(file.get()) != 0) code = errno;\n", "",
        FILES, SAVED),
    Row("a replaced store's name is not synced", REPLACE,
        "  if (swapped) swapped = store_result(sync_directory(parent_directory(path)) ? 0 : errno, path);\n", "", FILES, SAVED),
    Row("commits are not synced", "host/store/environment.cpp", "MDB_NOSUBDIR | MDB_NOTLS", "MDB_NOSYNC | MDB_NOSUBDIR | MDB_NOTLS",
        FILES, CHANGED),
    Row("commits are synced but for their head", "host/store/environment.cpp", "MDB_NOSUBDIR | MDB_NOTLS",
        "MDB_NOMETASYNC | MDB_NOSUBDIR | MDB_NOTLS", FILES, CHANGED),
    Row("the log is not synced", LOG, "  if (!sync_later_.active()) sync_later_ = host::Watch", "  if (false) sync_later_ = host::Watch",
        FILES, STARTED),
    Row("the log is not synced at the end", LOG, "  if (sync_later_.active()) sync();\n", "", FILES, STARTED),
    Row("a log that replaces another is not synced", LOG, "  if (!volume.sync()) {", "  if (false) {", FILES, REPLACED_LOG),
    Row("the name of a log that replaces another is not synced", LOG,
        "if (!host::rename_file(draft_path(draft.path), draft.path))",
        "if (std::rename(draft_path(draft.path).c_str(), draft.path.c_str()) != 0)", FILES, REPLACED_LOG),
    Row("the mail's directory is not synced", "service/mail/queue.cpp",
        "  if (const host::Result<void> made = host::make_private_directory(directory_); !made)\n"
        "    return host::Error{host::err_io, made.error().text};\n", "  fs::create_directory(directory_);\n", FILES, MAIL),
    Row("a report is not noted as taken", "service/mail/queue.cpp",
        '  return host::write_whole_file(directory_ + taken_file, std::to_string(report) + "\\n");', "  return {};", FILES, MAIL),
    Row("the note of a confirmation is removed and that not synced", "service/configuration/confirmation.cpp",
        "  if (!host::sync_directory(configuration_directory())) return not_stored();\n", "",
        FILES, "WrittenFiles.of_a_confirmed_configuration_have_no_note_that_awaits_it"),
    Row("a note of a confirmation is not written", "service/configuration/confirmation.cpp",
        "  if (host::Result<void> written = host::write_whole_file(note_path(), text); !written) return written;\n", "",
        FILES, CHANGED),
    Row("a report's outcome is not in the history", RECORDER, "  if (step->has_outcome) batch.add(*entry, step->outcome);\n", "",
        "service_recorder_test", "Recorded.the_history_tells_of_a_run_what_is_known_and_survives_a_restart"),
    Row("a run's end is not stored", RECORDER, "  batch.end_run(*entry);\n", "",
        "service_recorder_test", "Recorded.the_history_tells_of_a_run_what_is_known_and_survives_a_restart"),
    Row("each outcome is a commit of its own", RECORDER, "  if (!timer_.active()) arm_timer();", "  commit_waiting();",
        "service_recorder_test", "Recorded.what_is_due_together_shares_its_commits"),
    Row("an outcome is stored twice", BATCH, "    host::Result<void> committed = host::store_commit(pss_running_db);\n",
        "    host::Result<void> committed = host::store_commit(pss_running_db);\n    write_counters();\n",
        "service_recorder_test", "Recorded.a_run_alone_is_two_commits_its_intent_and_its_outcome"),
    Row("a batch is dropped and said to be stored", BATCH,
        "host::Result<void> committed = host::store_commit(pss_running_db);\n    open_",
        "host::Result<void> committed; host::store_abort(pss_running_db);\n    open_",
        "service_recorder_test", "Recorded.a_run_alone_is_two_commits_its_intent_and_its_outcome"),
    Row("what was missed is not stored", "service/run/take.cpp", "recorder.commit(std::move(steps_), ", "recorder.commit({}, ",
        "service_due_test", "Scheduled.once_that_was_missed_is_told_once_and_never_runs"),
    Row("a run begins before it is stored", "service/run/scheduler.cpp", "  if (take.store(recorder_)) take.begin(runner_);",
        "  take.begin(runner_);\n  take.store(recorder_);",
        "service_recorder_test", "Recorded.what_cannot_be_stored_does_not_run_and_is_missed_when_it_has_become_too_late"),
    Row("a run begins whether it is stored or not", "service/run/scheduler.cpp", "  if (take.store(recorder_)) take.begin(runner_);",
        "  take.store(recorder_);\n  take.begin(runner_);",
        "service_recorder_test", "Recorded.what_cannot_be_stored_does_not_run_and_is_missed_when_it_has_become_too_late"),
    Row("what a boot leaves out is dropped where it cannot be kept", "service/state/left_out.cpp", "  if (!written) return written;\n", "",
        "service_startup_test", "Startup.what_cannot_be_kept_is_not_dropped"),
    Row("the copy of an older state is not synced", "host/state_directory.cpp", " && syncfs(directory.get()) == 0", "",
        "sysmgr_test", "SysmgrTest.copy_of_an_older_state_directory_is_on_the_disk_before_it_has_its_name"),
    Row("a saved file is not synced", "shell/saved_file.cpp", "return fsync(fileno(file)) == 0;", "return true;",
        "shell_saved_file_test", "SavedFile.is_on_the_disk_with_all_of_it_when_that_is_said"),
    Row("a saved file is synced before all of it is written", "shell/saved_file.cpp",
        "  if (std::fflush(file) != 0) return false;\n", "",
        "shell_saved_file_test", "SavedFile.is_on_the_disk_with_all_of_it_when_that_is_said"),
]  # fmt: skip
