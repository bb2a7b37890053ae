// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <span>

#include "control/statuses.h"
#include "host/status.h"
#include "host/visible.h"
#include "platform/feature.h"
#include "shell/library_call.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

class Modes : public SessionTest {};

Options terminal_options() {
  Options options = script_options();
  options.interactive = true;
  return options;
}

TEST_F(Modes, are_entered_and_left_one_after_the_other) {
  Session session(terminal_options());
  EXPECT_EQ(session.prompt(), "schedsh> ");
  calls_of(session, {"configure terminal"});
  EXPECT_EQ(session.prompt(), "schedsh(config)> ");
  calls_of(session, {"scheduler schedule name nightly"});
  EXPECT_EQ(session.prompt(), "schedsh(schedule nightly)> ");
  calls_of(session, {"exit"});
  EXPECT_EQ(session.prompt(), "schedsh(config)> ");
  calls_of(session, {"exit"});
  EXPECT_EQ(session.prompt(), "schedsh> ");
  EXPECT_FALSE(session.over());
  calls_of(session, {"exit"});
  EXPECT_TRUE(session.over());
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Modes, are_all_left_by_end_which_does_nothing_in_the_first) {
  Session session(terminal_options());
  calls_of(session, {"configure terminal", "scheduler schedule name nightly", "end"});
  EXPECT_EQ(session.mode(), Mode::exec);
  calls_of(session, {"end"});
  EXPECT_FALSE(session.over());
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Modes, of_a_schedule_end_with_a_command_of_the_configuration) {
  Session session(terminal_options());
  calls_of(session, {"configure terminal", "scheduler schedule name nightly"});
  EXPECT_EQ(calls_of(session, {"scheduler logfile size 32"}), Calls{"logfile_resize 32"});
  EXPECT_EQ(session.mode(), Mode::config);
}

TEST_F(Modes, stay_for_a_command_of_the_first_mode) {
  Session session(terminal_options());
  calls_of(session, {"configure terminal", "scheduler schedule name nightly", "show scheduler job"});
  EXPECT_EQ(session.mode(), Mode::schedule);
}

TEST_F(Modes, tell_a_person_of_configure_terminal_and_enter_by_themselves_in_a_script) {
  Session terminal(terminal_options());
  EXPECT_EQ(calls_of(terminal, {"feature scheduler"}), Calls{});
  EXPECT_NE(err.find("it is a configuration command: enter 'configure terminal' first\n"), std::string::npos) << err;
  EXPECT_EQ(terminal.status(), 2);
  Session script(script_options());
  EXPECT_EQ(calls_of(script, {"feature scheduler"}), Calls{"enable_scheduler"});
  EXPECT_EQ(script.mode(), Mode::config);
}

TEST_F(Modes, tell_where_a_schedules_command_belongs) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"configure terminal", "time daily 1:00"}), Calls{});
  EXPECT_NE(err.find("it belongs to a schedule: enter 'scheduler schedule name NAME' first\n"), std::string::npos);
  EXPECT_EQ(session.status(), 2);
}

TEST_F(Modes, tell_nothing_of_other_modes_where_no_mode_has_the_command) {
  for (const bool interactive : {true, false}) {
    Options options = script_options();
    options.interactive = interactive;
    for (const Calls &before :
         {Calls{}, Calls{"configure terminal"}, Calls{"configure terminal", "scheduler schedule name s"}}) {
      Session session(options);
      calls_of(session, before);
      calls_of(session, {"nonsense"});
      EXPECT_EQ(err.find("first"), std::string::npos) << err;
      EXPECT_EQ(err.find("disabled"), std::string::npos) << err;
    }
  }
  Session session(terminal_options());
  calls_of(session, {"time daily 1:00"});
  EXPECT_NE(err.find("it belongs to a schedule: enter 'scheduler schedule name NAME' first\n"), std::string::npos);
  calls_of(session, {"configure terminal", "scheduler schedule name s", "time daily"});
  EXPECT_EQ(err.find("first"), std::string::npos) << err;
}

TEST_F(Modes, of_a_schedule_tell_what_the_handler_says_of_it) {
  recorder::statuses["create_delete_schedule"] = 255;
  recorder::messages["create_delete_schedule"] = "Error: : not permitted\n";
  Session session(script_options());
  calls_of(session, {"scheduler schedule name s"});
  EXPECT_EQ(err, "Error: schedule s: not permitted\n");
}

// Each of its commands changes one thing of what is there now.
TEST_F(Modes, of_a_schedule_tell_a_person_what_others_did_to_it_meanwhile) {
  const std::string note =
      "note: schedule s was changed by somebody else since:\n"
      " scheduler schedule name s\n-  time daily 10:10\n+  time daily 11:11\n";
  recorder::objects["schedule s"] = recorder::schedule_with(recorder::daily(10, 10));
  Session session(terminal_options());
  calls_of(session, {"configure terminal", "scheduler schedule name s", "job name x"});
  EXPECT_EQ(err, "") << "nobody did anything";
  recorder::objects["schedule s"] = recorder::schedule_with(recorder::daily(11, 11));
  calls_of(session, {"show scheduler config"});
  EXPECT_EQ(err, "") << "nothing of it is changed";
  EXPECT_EQ(calls_of(session, {"job name y"}), Calls{"modify_schedule /999 \"s\" \"y\""});
  EXPECT_EQ(err, note);
  calls_of(session, {"job name z"});
  EXPECT_EQ(err, "") << "it was told";
  recorder::objects.clear();
  calls_of(session, {"job name z", "job name z"});
  EXPECT_EQ(err, "") << "there is no answer";
  recorder::objects["schedule s"] = recorder::schedule_with(recorder::daily(10, 10));
  calls_of(session, {"job name z"});
  EXPECT_EQ(err, "") << "and there was none before";
  calls_of(session, {"exit", "scheduler logfile size 32"});
  recorder::objects["schedule t"] = recorder::schedule_with(recorder::daily(11, 11));
  calls_of(session, {"scheduler schedule name t", "job name x"});
  EXPECT_EQ(err, "") << "another schedule";
}

TEST_F(Modes, of_a_schedule_tell_a_script_nothing) {
  recorder::objects["schedule s"] = recorder::schedule_with(recorder::daily(10, 10));
  recorder::objects_then["schedule s"] = recorder::schedule_with(recorder::daily(11, 11));
  Session session(script_options());
  calls_of(session, {"scheduler schedule name s", "job name x", "job name y"});
  EXPECT_EQ(err, "");
  EXPECT_EQ(recorder::objects_then.size(), 1u) << "it is not asked";
}

TEST_F(Modes, of_a_schedule_that_exists_are_entered_without_a_failure) {
  recorder::statuses["create_delete_schedule"] = 0x40bd0002;
  Session session(script_options());
  calls_of(session, {"scheduler schedule name nightly"});
  EXPECT_EQ(session.mode(), Mode::schedule);
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Modes, of_a_schedule_that_was_refused_are_not_entered) {
  recorder::statuses["create_delete_schedule"] = 255;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler schedule name nightly", "time daily 1:00"}),
            Calls{"create_delete_schedule \"nightly\""});
  EXPECT_EQ(session.mode(), Mode::config);
  EXPECT_NE(session.status(), 0);
}

class Complaints : public SessionTest {};

// A line may be of a file that somebody else has written.
TEST_F(Complaints, have_nothing_that_a_terminal_would_interpret) {
  Session session(script_options());
  testing::internal::CaptureStderr();
  session.feed("show \x9b\xff", "a\x1b]0;title\x07:3");
  const std::string shown = testing::internal::GetCapturedStderr();
  EXPECT_EQ(shown.substr(0, shown.find(": ")), "a^[]0;title^G:3");
  EXPECT_EQ(shown, host::visible(shown));
}

class Status : public SessionTest {};

struct StatusCase {
  int handler;
  int shell;
};

// What fits in eight bits stays; the rest is a failure.
const StatusCase status_cases[] = {{0, 0}, {1, 1}, {2, 2}, {255, 255}, {256, 255}, {-1, 255}, {0x40bd0020, 255}};

TEST_F(Status, of_a_handler_becomes_the_shells) {
  for (const StatusCase &status : status_cases) {
    recorder::statuses["show_jobs"] = status.handler;
    Session session(script_options());
    calls_of(session, {"show scheduler job"});
    EXPECT_EQ(session.status(), status.shell) << status.handler;
  }
}

TEST_F(Status, of_the_last_failure_outlives_a_later_success) {
  recorder::statuses["show_jobs"] = 1;
  recorder::statuses["show_schedules"] = 2;
  Session session(script_options());
  calls_of(session, {"show scheduler schedule", "show scheduler job", "show scheduler config"});
  EXPECT_EQ(session.status(), 1);
}

TEST_F(Status, of_the_password_handler_is_turned_into_the_others) {
  Session session(script_options());
  calls_of(session, {"scheduler aaa-authentication password x"});
  EXPECT_EQ(session.status(), 0);
  recorder::statuses["aaa_auth_passwd"] = 9;
  calls_of(session, {"scheduler aaa-authentication password x"});
  EXPECT_EQ(session.status(), 9);
}

TEST_F(Status, of_a_failed_command_is_told_with_its_line_where_that_is_wanted) {
  recorder::statuses["show_jobs"] = 1;
  Options options = script_options();
  options.reports_failures = true;
  Session session(options);
  testing::internal::CaptureStderr();
  session.feed("show scheduler job", "nightly.cfg:7");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "nightly.cfg:7: failed with status 1\n");
}

class Values : public SessionTest {};

TEST_F(Values, that_would_be_cut_are_refused_before_anything_is_sent) {
  const std::string name(32, 'n'), address = "a@" + std::string(62, 'h');
  Options options = script_options();
  options.before_command = [] { recorder::calls.emplace_back("asked for the zone"); };
  Session session(options);
  EXPECT_EQ(
      calls_of(session, {"scheduler schedule name " + name, "no scheduler schedule name " + name,
                         "no scheduler job name " + name, "show scheduler job name " + name,
                         "scheduler transport email from " + address, "no scheduler transport email from " + address}),
      Calls{});
  EXPECT_EQ(err.rfind("\"" + name + "\" at column 25 has 32 characters; at most 31 are allowed\n", 0), 0u) << err;
  EXPECT_NE(err.find("\" at column 32 has 64 characters; at most 63 are allowed\n"), std::string::npos) << err;
  EXPECT_EQ(session.status(), 2);
}

TEST_F(Values, that_fill_their_field_are_taken) {
  const std::string name(31, 'n'), address = "a@" + std::string(61, 'h');
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler schedule name " + name, "email-addr " + address}),
            (Calls{"create_delete_schedule \"" + name + "\"", "emailaddr \"" + name + "\" \"" + address + "\""}));
}

TEST_F(Values, that_are_refused_leave_the_schedule_whose_lines_follow) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler schedule name a", "scheduler schedule name " + std::string(32, 'n'),
                               "time daily 1:00"}),
            Calls{"create_delete_schedule \"a\""});
}

TEST_F(Values, that_are_refused_take_the_lines_of_a_scripts_job_with_them) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name " + std::string(32, 'n'), "no scheduler schedule name y", "end-job",
                               "scheduler logfile size 32"}),
            Calls{"logfile_resize 32"});
  EXPECT_EQ(session.status(), 2);
}

TEST_F(Values, that_are_refused_leave_a_person_at_the_prompt) {
  Session session(terminal_options());
  calls_of(session, {"configure terminal", "scheduler job name " + std::string(32, 'n')});
  EXPECT_FALSE(session.takes_body());
}

class AlreadyThere : public SessionTest {};

struct RepeatCase {
  const char *line, *handler;
  uint32_t status;
  const char *message;
};

const RepeatCase repeat_cases[] = {
    {"feature scheduler", "enable_scheduler", 0, "Error: the feature is enabled already\n"},
    {"no feature scheduler", "enable_scheduler", 0, "Error: the feature is disabled already\n"},
    {"job name x", "modify_schedule", control::err_already_assigned, "Error: could not assign job: it is\n"},
    {"email-addr a@b", "emailaddr", SCH_STATUS_EXISTS, "Error: could add email-id: it exists already\n"},
};

TEST_F(AlreadyThere, is_no_error) {
  for (const RepeatCase &repeat : repeat_cases) {
    recorder::reset();
    recorder::statuses[repeat.handler] = static_cast<int>(repeat.status);
    recorder::messages[repeat.handler] = repeat.message;
    Session session(script_options());
    recorder::statuses["create_delete_schedule"] = 0x40bd0002;
    calls_of(session, {"scheduler schedule name nightly", repeat.line});
    EXPECT_EQ(err, "") << repeat.line;
    EXPECT_EQ(session.status(), 0) << repeat.line;
  }
}

TEST_F(AlreadyThere, hides_no_note) {
  recorder::statuses["emailaddr"] = static_cast<int>(SCH_STATUS_EXISTS);
  recorder::messages["emailaddr"] = "a note\nError: could not add\nanother\n";
  Session session(script_options());
  calls_of(session, {"scheduler schedule name nightly", "email-addr a@b"});
  EXPECT_EQ(err, "a note\nanother\n");
}

const RepeatCase other_cases[] = {
    {"no job name x", "modify_schedule", control::err_already_assigned, "Error: could not do it\n"},
    {"no email-addr a@b", "emailaddr", SCH_STATUS_EXISTS, "Error: could not do it\n"},
    {"job name x", "modify_schedule", SCH_STATUS_EXISTS, "Error: could not do it\n"},
    {"email-addr a@b", "emailaddr", control::err_already_assigned, "Error: could not do it\n"},
    {"feature scheduler", "enable_scheduler", 1, "Error: could not do it\n"},
    {"scheduler logfile size 32", "logfile_resize", SCH_STATUS_EXISTS, "Error: could not do it\n"},
};

TEST_F(AlreadyThere, is_said_of_these_alone) {
  for (const RepeatCase &row : other_cases) {
    recorder::reset();
    Session session(script_options());
    calls_of(session, {"scheduler schedule name nightly"});
    recorder::statuses[row.handler] = static_cast<int>(row.status);
    recorder::messages[row.handler] = row.message;
    calls_of(session, {row.line});
    EXPECT_EQ(err, row.message) << row.line;
    EXPECT_NE(session.status(), 0) << row.line;
  }
}

TEST_F(AlreadyThere, hides_no_other_failure) {
  recorder::statuses["modify_schedule"] = static_cast<int>(control::err_no_such_job);
  recorder::messages["modify_schedule"] = "Error: could not assign job: no such job\n";
  Session session(script_options());
  calls_of(session, {"scheduler schedule name nightly", "job name x"});
  EXPECT_EQ(err, "Error: could not assign job: no such job\n");
  EXPECT_EQ(session.status(), 255);
}

TEST_F(AlreadyThere, is_a_log_file_of_this_name_only_where_it_is_the_one_in_use) {
  const std::string in_use = "flash:jobs.log";
  const auto bytes = std::as_bytes(std::span(in_use));
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  recorder::messages["logfile_rename"] = "Error: File exists.\n";
  Session session(script_options());
  calls_of(session, {"scheduler logfile name flash:jobs.log"});
  EXPECT_EQ(err, "");
  EXPECT_EQ(session.status(), 0);
  calls_of(session, {"scheduler logfile name flash:other.log"});
  EXPECT_EQ(err, "Error: scheduler logfile name: there is a file of this name; remove it or take another name\n");
  EXPECT_EQ(session.status(), 255);
}

class Messages : public SessionTest {};

TEST_F(Messages, without_a_subject_get_the_commands_words) {
  recorder::statuses["logfile_resize"] = 255;
  recorder::messages["logfile_resize"] = "Error: : not permitted for this user\n";
  Session session(script_options());
  calls_of(session, {"scheduler logfile size 32"});
  EXPECT_EQ(err, "Error: scheduler logfile size: not permitted for this user\n");
}

struct SubjectCase {
  const char *said, *mended;
};

const SubjectCase subject_cases[] = {
    {"", ""},
    {"Error: : not permitted\n", "Error: job x: not permitted\n"},
    {"Error: not permitted\n", "Error: job x: not permitted\n"},
    {"Error: not permitted", "Error: job x: not permitted"},
    {"Error: create failed\n", "Error: create failed\n"},
    {"Error: delete failed\n", "Error: delete failed\n"},
    {"Error: modify failed\n", "Error: modify failed\n"},
    {"Error: could not\n", "Error: could not\n"},
    {"Error: job y\n", "Error: job y\n"},
    {"Error: File exists.\n", "Error: File exists.\n"},
    {"a note\nError: no\n\nthe end\n", "a note\nError: job x: no\n\nthe end\n"},
    {"An Error: no\n", "An Error: no\n"},
};

TEST_F(Messages, have_a_subject_where_they_come_without_one) {
  for (const SubjectCase &row : subject_cases)
    EXPECT_EQ(with_subject(row.said, "job x"), row.mended);
}

TEST_F(Messages, of_a_log_file_that_failed_otherwise_stay) {
  recorder::statuses["logfile_rename"] = 7;
  recorder::messages["logfile_rename"] = "Error: File is elsewhere.\n";
  Session session(script_options());
  calls_of(session, {"scheduler logfile name flash:jobs.log"});
  EXPECT_EQ(err, "Error: File is elsewhere.\n");
  EXPECT_EQ(session.status(), 7);
  recorder::control_reply = recorder::bytes_of("flash:jobs.log");
  recorder::messages["logfile_rename"] = "Error: File exists.\n";
  calls_of(session, {"scheduler logfile name flash:jobs.log"});
  EXPECT_NE(err, "") << "it failed";
  EXPECT_EQ(session.status(), 255);
}

class Pipes : public SessionTest {
 protected:
  std::string path = testing::TempDir() + "schedsh_piped." + std::to_string(getpid());
  std::string saved() const {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  ~Pipes() override { unlink(path.c_str()); }
};

TEST_F(Pipes, pass_on_what_a_command_shows_and_its_status) {
  recorder::control_reply = recorder::bytes_of("one\ntwo\n");
  Session session(script_options());
  calls_of(session, {"show running-config | include two"});
  EXPECT_EQ(out, "two\n");
  calls_of(session, {"do show running-config | save " + path});
  EXPECT_EQ(out, "");
  EXPECT_EQ(saved(), "one\ntwo\n");
  recorder::statuses["show_config"] = 3;
  calls_of(session, {"show scheduler config | count"});
  EXPECT_EQ(out, "0\n");
  EXPECT_EQ(session.status(), 3);
  calls_of(session, {"show scheduler config | save " + path});
  EXPECT_EQ(saved(), "one\ntwo\n") << "what was saved there before is better than nothing";
}

TEST_F(Pipes, have_no_data_of_what_shows_none) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"show scheduler metrics |  json | count"}), Calls{});
  EXPECT_EQ(err, "\"json\" at column 27 is nothing that this command can show\n");
  EXPECT_EQ(session.status(), 2);
}

class Lines : public SessionTest {};

TEST_F(Lines, that_are_blank_or_comments_do_nothing) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"", "   ", "! comment", "  # comment", "\r"}), Calls{});
  EXPECT_EQ(out + err, "");
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Lines, may_end_in_a_carriage_return) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"show scheduler job\r"}), Calls{"show_jobs"});
}

TEST_F(Lines, with_control_characters_are_refused_with_their_place) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"show scheduler \x1b[2J job"}), Calls{});
  EXPECT_EQ(err, "a control character at column 16\n");
  EXPECT_EQ(calls_of(session, {std::string("show\0 scheduler job", 19)}), Calls{});
  EXPECT_EQ(err, "a control character at column 5\n");
  EXPECT_EQ(session.status(), 2);
}

TEST_F(Lines, longer_than_a_command_can_be_are_refused) {
  Session session(script_options());
  const std::string at_limit = "store dump " + std::string(8192 - 11, 'x');
  EXPECT_EQ(calls_of(session, {at_limit}).size(), 1u);
  EXPECT_EQ(calls_of(session, {at_limit + "x"}), Calls{});
  EXPECT_EQ(err, "the line is too long at column 8193\n");
}

TEST_F(Lines, that_end_in_a_question_mark_show_what_may_follow_and_change_nothing) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"configure terminal", "no scheduler logfile ?"}), Calls{});
  EXPECT_EQ(out,
            "  size                       The job log's size\n"
            "  name                       By name\n");
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Lines, with_help_list_the_commands_of_the_mode) {
  Session session(terminal_options());
  calls_of(session, {"help"});
  EXPECT_EQ(out.rfind("configure terminal\n    Enter the configuration mode\n", 0), 0u) << out;
  EXPECT_EQ(out.find("time daily"), std::string::npos);
  calls_of(session, {"configure terminal", "scheduler schedule name n", "help"});
  EXPECT_EQ(out.rfind("time daily <daily>\n    Run every day\n", 0), 0u) << out;
  EXPECT_EQ(session.status(), 0);
}

class Feature : public SessionTest {};

TEST_F(Feature, disabled_takes_the_schedulers_commands_away_until_it_is_enabled) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"no feature scheduler", "show scheduler job", "scheduler logfile size 32"}),
            Calls{"enable_scheduler no"});
  EXPECT_NE(err.find("the scheduler is disabled here: 'feature scheduler' brings its commands back\n"),
            std::string::npos)
      << err;
  EXPECT_EQ(calls_of(session, {"feature scheduler", "show scheduler job"}), (Calls{"enable_scheduler", "show_jobs"}));
}

TEST_F(Feature, disabled_is_told_behind_commands_of_every_mode_and_no_others) {
  for (const bool interactive : {true, false}) {
    Options options = script_options();
    options.interactive = interactive;
    Session session(options);
    calls_of(session, {"configure terminal", "no feature scheduler"});
    for (const char *line : {"show scheduler job", "scheduler logfile size 32", "job name x"}) {
      calls_of(session, {line});
      EXPECT_NE(err.find("the scheduler is disabled here"), std::string::npos) << line;
    }
    calls_of(session, {"nonsense"});
    EXPECT_EQ(err.find("disabled"), std::string::npos) << err;
    recorder::statuses["enable_scheduler"] = 1;
    EXPECT_EQ(calls_of(session, {"feature scheduler", "show scheduler job"}), Calls{"enable_scheduler"});
    recorder::statuses.clear();
    calls_of(session, {"help"});
    EXPECT_EQ(out.find("scheduler logfile"), std::string::npos);
    EXPECT_NE(out.find("feature scheduler\n"), std::string::npos);
  }
}

TEST_F(Feature, of_another_shell_or_tree_stays) {
  Session session(script_options());
  vsh_deregister_parse_tree(1, "scheduler");
  vsh_deregister_parse_tree(4711, "other");
  EXPECT_EQ(calls_of(session, {"show scheduler job"}), Calls{"show_jobs"});
}

TEST_F(Feature, that_could_not_be_disabled_keeps_its_commands) {
  recorder::statuses["enable_scheduler"] = 1;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"no feature scheduler", "show scheduler job"}),
            (Calls{"enable_scheduler no", "show_jobs"}));
}

}  // namespace
}  // namespace shell
