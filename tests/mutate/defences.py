#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Takes each defence out of the product by itself and sees that the test which is said to guard it fails.

Each class of attack has one row or more."""

import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from rows import Row, main  # noqa: E402

JOB = "service/process/job.cpp"
OWNER = "JobOfAnotherUser."
DEFENCES = [
    Row("set-id unchecked", JOB,
        "give_up(job, Stage::identity);\n  if (launch.uid == 0 || setuid(0) != 0) return;",
        "return;\n  if (launch.uid == 0 || setuid(0) != 0) return;",
        "service_process_test", OWNER + "it_does_not_run_where_the_kernel_refuses_its_identity"),
    Row("groups kept", JOB, "setgroups(launch.group_count, job.groups) != 0 || ", "",
        "service_process_test", OWNER + "none_of_the_services_groups_stay_with_it"),
    Row("descriptors leaked", JOB, "syscall(SYS_close_range, STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC) != 0", "false",
        "service_process_test", "JobProcess.nothing_but_the_three_streams_is_open_in_what_the_job_starts"),
    Row("environment poisoned", "service/process/environment.cpp", "  return variables;",
        "  for (char **inherited = environ; *inherited != nullptr; inherited++) variables.push_back(*inherited);\n"
        "  return variables;",
        "service_process_test", "JobProcess.the_environment_is_made_from_nothing"),
    Row("symbolic link planted where root saves", "shell/saved_file.cpp", " | O_NOFOLLOW", "",
        "shell_saved_file_test", "SavedFile.is_written_through_no_symbolic_link"),
    Row("hard link planted where root saves", "shell/saved_file.cpp", "status.st_nlink == 1 &&", "",
        "shell_saved_file_test", "SavedFile.is_written_through_no_hard_link"),
    Row("somebody else's file where root saves", "shell/saved_file.cpp", "status.st_uid == geteuid()", "true",
        "shell_saved_file_test", "SavedFile.of_somebody_else_is_left_alone_by_root_too"),
    Row("link planted for a draft", "host/files/whole_file.cpp", "O_EXCL | O_CLOEXEC", "O_CLOEXEC",
        "planted_file_test", "PlantedFile.a_draft_is_written_through_no_link_that_was_put_there_at_the_last_moment"),
    Row("link planted for a private file", "host/files/private_file.cpp", "O_NOFOLLOW | ", "",
        "planted_file_test", "PlantedFile.a_private_file_is_read_through_no_link"),
    Row("link planted for the line history", "shell/line_history.cpp", " | O_NOFOLLOW", "",
        "shell_line_history_test", "History.uses_no_link_no_device_and_no_file_that_others_read"),
    Row("stat, then act", "host/files/private_file.cpp", "fstat(file.get(), &info)", "stat(path.c_str(), &info)",
        "planted_file_test", "PlantedFile.a_private_file_is_the_one_that_was_looked_at"),
    Row("traversal in a URI", "host/files/uri.cpp", 'component == "."', "false && component == \".\"",
        "uri_test", "UriTest.text_that_names_no_file_here_is_refused_with_the_reason"),
    Row("traversal by a link", "host/files/uri.cpp", "return !file && (errno == ELOOP || errno == EXDEV);", "return false;",
        "uri_test", "UriTest.link_does_not_lead_out"),
    Row("traversal in a name", "service/request/decode.cpp", "is_alphanumeric(c) || c == '_' || c == '-'",
        "is_alphanumeric(c) || c == '_' || c == '-' || c == '.' || c == '/'",
        "service_decode_test", "Decode.a_name_names_no_path"),
    Row("world-readable state", "host/store/environment.cpp", "return fchmod(file.get(), 0600) == 0 ? 0 : errno;",
        "return fchmod(file.get(), 0644) == 0 ? 0 : errno;",
        "store_test", "FileTest.files_are_private_whatever_the_umask"),
    Row("mail injection", "service/mail/message.cpp", "return c < ' ' || c > '~';", "return c == '\\0';",
        "service_mail_test", "MailMessage.lets_no_line_end_of_a_name_begin_a_header"),
    Row("format strings", "service/run/outcome_report.cpp", '"%s", outcome_line', "outcome_line",
        "service_outcome_report_test", "OutcomeLine.is_no_format_of_the_system_log"),
    Row("numeric user names", "host/security/users.cpp", " || is_number(name)", "",
        "security_users_test", "UsersTest.a_name_is_neither_a_number_nor_blank_nor_too_long"),
    Row("peer identity, of a client", "host/transport/caller.cpp", "if (peer->is_root()) other", "other",
        "transport_identity_test", "IdentityTest.another_user_speaks_for_nobody_else"),
    Row("peer identity, of the service", "host/transport/connection.cpp", "server.uid == ::geteuid()", "true",
        "transport_identity_test", "IdentityTest.a_service_of_another_user_is_not_trusted"),
    Row("sizes that lie, of a record", "service/request/dispatch.cpp", "header.payload_length != payload.size() || ", "",
        "service_decode_test", "Decode.records_shorter_than_their_header_or_with_a_lying_length_are_refused"),
    Row("sizes that lie, of a frame", "host/transport/frame.cpp", " && rest.empty()", "",
        "transport_hostile_test", "HostileTest.a_malformed_packet_is_refused_with_its_reason_and_hung_up_on"),
    Row("sizes of zero", "service/request/dispatch.cpp", "payload.size() < row->shortest || ", "",
        "service_decode_test", "Decode.wrong_requests_are_answered_with_their_status_and_change_nothing"),
    Row("descriptor passing", "host/transport/session.cpp", "(message.msg_flags & MSG_CTRUNC) != 0", "false",
        "transport_hostile_test", "HostileTest.a_descriptor_sent_along_is_refused_and_not_kept"),
    Row("terminal escapes in outputs", "service/request/shown_output.cpp", "host::visible(output)", "std::string(output)",
        "service_log_test", "ShownOutput.does_not_let_a_control_character_hide_an_imitation"),
    Row("terminal escapes in names", "host/visible.cpp", "{0x7f, 0x9f}", "{0x7f, 0x7f}",
        "visible_test", "Visible.shows_upper_controls_and_what_hides_or_turns_text_by_their_number"),
    Row("state of another version", "host/state_directory.cpp", "if (*version > state_version)", "if (false)",
        "sysmgr_test", "SysmgrTest.state_directory_of_a_newer_or_unknown_version_is_refused_and_left_alone"),
]  # fmt: skip

if __name__ == "__main__":
    main(__doc__, DEFENCES, "defences")
