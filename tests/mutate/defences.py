#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Takes each defence out of the product by itself and sees that the test which is said to guard it fails.

The product has no switch for it: a copy of the committed tree is changed, and put back. Each class of attack has one row or
more; ends with 1 when a test passes without its defence, fails with it, or a row no longer fits the source."""

import argparse
import dataclasses
import pathlib
import shutil
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # the tree stays as it is
from commands import ROOT, must  # noqa: E402
from program_ring import CONTAINED, Tree  # noqa: E402

SECONDS = 300  # for one test, generously: what hangs without its defence fails too


@dataclasses.dataclass(frozen=True)
class Defence:
    attack: str
    file: str
    there: str  # what defends
    gone: str  # the same place without it
    test: str  # the program
    name: str  # of the test in it


JOB = "service/process/job.cpp"
OWNER = "JobOfAnotherUser."
DEFENCES = [
    Defence("set-id unchecked", JOB,
            "give_up(job, Stage::identity);\n  if (launch.uid == 0 || setuid(0) != 0) return;",
            "return;\n  if (launch.uid == 0 || setuid(0) != 0) return;",
            "service_process_test", OWNER + "it_does_not_run_where_the_kernel_refuses_its_identity"),
    Defence("groups kept", JOB, "setgroups(launch.group_count, job.groups) != 0 || ", "",
            "service_process_test", OWNER + "none_of_the_services_groups_stay_with_it"),
    Defence("descriptors leaked", JOB, "syscall(SYS_close_range, STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC) != 0", "false",
            "service_process_test", "JobProcess.nothing_but_the_three_streams_is_open_in_what_the_job_starts"),
    Defence("environment poisoned", "service/process/environment.cpp", "  return variables;",
            "  for (char **inherited = environ; *inherited != nullptr; inherited++) variables.push_back(*inherited);\n"
            "  return variables;",
            "service_process_test", "JobProcess.the_environment_is_made_from_nothing"),
    Defence("symbolic link planted where root saves", "shell/saved_file.cpp", " | O_NOFOLLOW", "",
            "shell_saved_file_test", "SavedFile.is_written_through_no_symbolic_link"),
    Defence("hard link planted where root saves", "shell/saved_file.cpp", "status.st_nlink == 1 &&", "",
            "shell_saved_file_test", "SavedFile.is_written_through_no_hard_link"),
    Defence("somebody else's file where root saves", "shell/saved_file.cpp", "status.st_uid == geteuid()", "true",
            "shell_saved_file_test", "SavedFile.of_somebody_else_is_left_alone_by_root_too"),
    Defence("link planted for a draft", "host/files/whole_file.cpp", "O_EXCL | O_CLOEXEC | O_NOFOLLOW", "O_CLOEXEC",
            "planted_file_test", "PlantedFile.a_draft_is_written_through_no_link_that_was_put_there_at_the_last_moment"),
    Defence("link planted for a private file", "host/files/private_file.cpp", "O_NOFOLLOW | ", "",
            "planted_file_test", "PlantedFile.a_private_file_is_read_through_no_link"),
    Defence("link planted for the line history", "shell/line_history.cpp", " | O_NOFOLLOW", "",
            "shell_line_history_test", "History.uses_no_link_no_device_and_no_file_that_others_read"),
    Defence("stat, then act", "host/files/private_file.cpp", "fstat(file.get(), &info)", "stat(path.c_str(), &info)",
            "planted_file_test", "PlantedFile.a_private_file_is_the_one_that_was_looked_at"),
    Defence("traversal in a URI", "host/files/uri.cpp", 'component == "."', "false && component == \".\"",
            "uri_test", "UriTest.text_that_names_no_file_here_is_refused_with_the_reason"),
    Defence("traversal by a link", "host/files/uri.cpp", "return !file && (errno == ELOOP || errno == EXDEV);", "return false;",
            "uri_test", "UriTest.link_does_not_lead_out"),
    Defence("traversal in a name", "service/request/decode.cpp", "is_alphanumeric(c) || c == '_' || c == '-'",
            "is_alphanumeric(c) || c == '_' || c == '-' || c == '.' || c == '/'",
            "service_decode_test", "Decode.a_name_names_no_path"),
    Defence("world-readable state", "host/store/environment.cpp", "return fchmod(file.get(), 0600) == 0 ? 0 : errno;",
            "return fchmod(file.get(), 0644) == 0 ? 0 : errno;",
            "store_test", "FileTest.files_are_private_whatever_the_umask"),
    Defence("mail injection", "service/mail/message.cpp", "return c < ' ' || c > '~';", "return c == '\\0';",
            "service_mail_test", "MailMessage.lets_no_line_end_of_a_name_begin_a_header"),
    Defence("format strings", "service/run/outcome_report.cpp", '"%s", outcome_line', "outcome_line",
            "service_outcome_report_test", "OutcomeLine.is_no_format_of_the_system_log"),
    Defence("numeric user names", "host/security/users.cpp", " || is_number(name)", "",
            "security_users_test", "UsersTest.a_name_is_neither_a_number_nor_blank_nor_too_long"),
    Defence("peer identity, of a client", "host/transport/caller.cpp", "if (peer->is_root()) other", "other",
            "transport_identity_test", "IdentityTest.another_user_speaks_for_nobody_else"),
    Defence("peer identity, of the service", "host/transport/connection.cpp", "server.uid == ::geteuid()", "true",
            "transport_identity_test", "IdentityTest.a_service_of_another_user_is_not_trusted"),
    Defence("sizes that lie, of a record", "service/request/dispatch.cpp", "header.payload_length != payload.size() || ", "",
            "service_decode_test", "Decode.records_shorter_than_their_header_or_with_a_lying_length_are_refused"),
    Defence("sizes that lie, of a frame", "host/transport/frame.cpp", " && rest.empty()", "",
            "transport_hostile_test", "HostileTest.a_malformed_packet_is_refused_with_its_reason_and_hung_up_on"),
    Defence("sizes of zero", "service/request/dispatch.cpp", "payload.size() < row->shortest || ", "",
            "service_decode_test", "Decode.wrong_requests_are_answered_with_their_status_and_change_nothing"),
    Defence("descriptor passing", "host/transport/session.cpp", "(message.msg_flags & MSG_CTRUNC) != 0", "false",
            "transport_hostile_test", "HostileTest.a_descriptor_sent_along_is_refused_and_not_kept"),
    Defence("terminal escapes in outputs", "service/request/shown_output.cpp", "host::visible(output)", "std::string(output)",
            "service_log_test", "ShownOutput.does_not_let_a_control_character_hide_an_imitation"),
    Defence("terminal escapes in names", "host/visible.cpp", "{0x7f, 0x9f}", "{0x7f, 0x7f}",
            "visible_test", "Visible.shows_upper_controls_and_what_hides_or_turns_text_by_their_number"),
    Defence("state of another version", "host/state_directory.cpp", "if (*version > state_version)", "if (false)",
            "sysmgr_test", "SysmgrTest.state_directory_of_a_newer_or_unknown_version_is_refused_and_left_alone"),
]  # fmt: skip


class Checker:
    def __init__(self, tree):
        self.tree = tree
        self.programs = {path.name: path for path in (tree.build / "tests").rglob("*_test") if path.is_file()}

    def passes(self, defence):
        program = self.programs[defence.test]
        command = [sys.executable, CONTAINED, str(SECONDS), program, f"--gtest_filter={defence.name}"]
        ended = subprocess.run(command, cwd=program.parent, capture_output=True, text=True)
        if ended.returncode == 0 and "[  PASSED  ] 1 test" not in ended.stdout:
            return None  # skipped, or not there
        return ended.returncode == 0

    def without(self, defence):
        """What is seen: 'fails' is what is wanted."""
        path = self.tree.source / defence.file
        original = path.read_text()
        if original.count(defence.there) != 1:
            return f"the source has {original.count(defence.there)} such places"
        path.write_text(original.replace(defence.there, defence.gone))
        try:
            made = self.tree.make([defence.test, "schedd_starter"])
            if made.returncode != 0:
                return "does not compile: " + made.stdout[-2000:]
            return {True: "passes", False: "fails", None: "does not run"}[self.passes(defence)]
        finally:
            path.write_text(original)


def configure(tree):
    """Without the sanitizers and the notes of the mutation check, which would only take time: the tests alone decide."""
    options = ["-DCMAKE_BUILD_TYPE=Defences", "-DBUILD_SHARED_LIBS=ON"]
    options += [f"-DCMAKE_{language}_FLAGS=-O0 -w" for language in ("C", "CXX")]
    if shutil.which("ccache"):
        options += [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
    must(["cmake", "-S", tree.source, "-B", tree.build, "-G", "Ninja", *options])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build/defences", help="of the copy and its build")
    parser.add_argument("--only", default="", help="rows whose attack has this text")
    parser.add_argument("--jobs", type=int, default=1)
    options = parser.parse_args()
    chosen = [defence for defence in DEFENCES if options.only in defence.attack]
    tree = Tree(options.folder)
    tree.take_commit()
    configure(tree)
    built = tree.make(sorted({defence.test for defence in chosen}), jobs=options.jobs)
    if built.returncode != 0:
        sys.exit(built.stdout + built.stderr)
    checker = Checker(tree)
    wrong = 0
    for defence in chosen:
        begun = time.monotonic()
        here = checker.passes(defence)
        seen = checker.without(defence) if here else "does not pass with it"
        wrong += seen != "fails"
        print(f"{defence.attack:40} {defence.name:90} {seen}, {time.monotonic() - begun:.0f} s", flush=True)
    print(f"{len(chosen) - wrong} of {len(chosen)} tests fail without their defence")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
