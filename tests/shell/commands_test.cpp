// SPDX-License-Identifier: Apache-2.0
// Each line reaches its handler with its context.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <span>
#include <sstream>

#include "control/statuses.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

struct Case {
  const char *line;
  const char *call;
};

const Case exec_cases[] = {
    {"show scheduler job", "show_jobs"},
    {"show scheduler schedule", "show_schedules"},
    {"show scheduler config", "show_config"},
    {"show scheduler logfile", "show_logfile"},
    {"show scheduler internal memory", "control 10"},
    {"clear scheduler logfile", "logfile_clear"},
    {"show scheduler status", "control status"},
    {"show scheduler internal history", "control history"},
    {"show scheduler history", "control show_history 0 0 0"},
    {"show scheduler history last 50", "control show_history 0 50 0"},
    {"show scheduler history schedule nightly", "control show_history 0 0 0 \"nightly\""},
    {"show scheduler history schedule nightly last 5 failed", "control show_history 0 5 1 \"nightly\""},
    {"show scheduler history failed", "control show_history 0 0 1"},
    {"show scheduler", "control overview"},
    {"show scheduler logfile last 1", "log run 0 last 1 \"\" \"\""},
    {"show scheduler upcoming name nightly 3", "control show_upcoming 3 \"nightly\""},
    {"show scheduler upcoming 3 name nightly", "control show_upcoming 3 \"nightly\""},
    {"show scheduler upcoming", "control show_upcoming 0"},
    {"show scheduler upcoming 30", "control show_upcoming 30"},
    {"show scheduler upcoming name nightly", "control show_upcoming 0 \"nightly\""},
    {"scheduler take-over", "control take_over"},
    {"scheduler kill run 17", "control kill_run 17"},
    {"scheduler enable schedule nightly", "control enable_schedule \"nightly\""},
    {"scheduler disable schedule nightly", "control disable_schedule \"nightly\""},
    {"show running-config", "control running_text"},
    {"show startup-config", "control startup_text"},
    {"copy running-config startup-config", "control copy_running_startup"},
    {"show logging level scheduler", "control get_logging_level"},
    {"store dump running:scheduler_runtime", "store_dump running:scheduler_runtime"},
};

const Case config_cases[] = {
    {"feature scheduler", "enable_scheduler"},
    {"no scheduler job name backup force", "create_delete_job no \"backup\""},
    {"no scheduler schedule name nightly", "create_delete_schedule no \"nightly\""},
    {"scheduler logfile size 32", "logfile_resize 32"},
    {"no scheduler logfile size", "logfile_resize no"},
    {"no scheduler logfile size 32", "logfile_resize no 32"},
    {"scheduler logfile name flash:jobs.log", "logfile_rename <flash:jobs.log>"},
    {"no scheduler logfile name", "logfile_rename no"},
    {"scheduler transport email from a@example.net", "email_transport /109 \"a@example.net\""},
    {"no scheduler transport email from", "email_transport no/109"},
    {"scheduler transport email reply-to a@example.net", "email_transport /110 \"a@example.net\""},
    {"no scheduler transport email reply-to", "email_transport no/110"},
    {"scheduler transport email smtp-server 10.1.1.1", "email_transport /111 \"10.1.1.1\"@40000002"},
    {"scheduler transport email smtp-server 2001:db8::1", "email_transport /111 \"2001:db8::1\"@40000004"},
    {"scheduler transport email smtp-server mail.example.net", "email_transport /111 \"mail.example.net\"@8"},
    {"scheduler transport email smtp-server m port 2525", "email_transport /111 \"m\"@8 2525"},
    {"scheduler transport email smtp-server m vrf red", "email_transport /111 \"m\"@8 \"red\""},
    {"scheduler transport email smtp-server m port 2525 vrf red", "email_transport /111 \"m\"@8 2525 \"red\""},
    {"no scheduler transport email smtp-server", "email_transport no/111"},
    {"scheduler aaa-authentication password secret", "aaa_auth_passwd 106=\"secret\""},
    {"scheduler aaa-authentication password 0 secret", "aaa_auth_passwd 106=\"secret\""},
    {"no scheduler aaa-authentication", "aaa_auth_passwd no"},
    {"no scheduler aaa-authentication username bob password", "aaa_auth_passwd no 105=\"bob\""},
    {"logging level scheduler 7", "control set_logging_level 7"},
    {"no logging level scheduler", "control set_logging_level 5"},
};

const Case schedule_cases[] = {
    {"time daily 23:30", "modify_schedule /3 \"nightly\" \"23:30\""},
    {"time weekly Mon:02:10", "modify_schedule /4 \"nightly\" \"Mon:02:10\""},
    {"time monthly 1:00:05", "modify_schedule /5 \"nightly\" \"1:00:05\""},
    {"time start 2026:12:05:07:00", "modify_schedule /1 \"nightly\" \"2026:12:05:07:00\""},
    {"time start +00:01 repeat 0:1:30", "modify_schedule /7 \"nightly\" \"+00:01\" \"0:1:30\""},
    {"time repeat 0:1:30", "modify_schedule /7 \"nightly\" \"0:1:30\""},
    {"no time", "modify_schedule no/1000 \"nightly\""},
    {"job name backup", "modify_schedule /999 \"nightly\" \"backup\""},
    {"no job name backup", "modify_schedule no/999 \"nightly\" \"backup\""},
    {"email-addr a@example.net", "emailaddr \"nightly\" \"a@example.net\""},
    {"no email-addr a@example.net", "emailaddr no \"nightly\" \"a@example.net\""},
};

class Commands : public SessionTest {
 protected:
  Commands() { setenv("TZ", "UTC", 1); }
};

// So that a name that does not exist is told: behind a history that shows nothing, and ahead of a log, which is printed
// as it comes.
TEST_F(Commands, of_history_and_log_ask_for_the_names_that_they_filter_by) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"show scheduler history job backup since 2026-11-21T12:00"}),
            (Calls{"control show_history 0 0 0 since 1795262400 job backup", "control find job \"backup\""}));
  EXPECT_EQ(
      calls_of(session, {"show scheduler logfile schedule nightly job backup last 3 failed since 2026-11-21T12:00"}),
      (Calls{"control find schedule \"nightly\"", "control find job \"backup\"",
             "log run 0 last 3 failed since 1795262400 \"nightly\" \"backup\""}));
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Commands, of_the_first_mode_reach_their_handlers) {
  for (const Case &line : exec_cases) {
    Session session(script_options());
    EXPECT_EQ(calls_of(session, {line.line}), Calls{line.call}) << line.line;
    EXPECT_EQ(session.status(), 0) << line.line;
    EXPECT_EQ(session.mode(), Mode::exec) << line.line;
  }
}

TEST_F(Commands, of_the_configuration_mode_reach_their_handlers) {
  for (const Case &line : config_cases) {
    Session session(script_options());
    EXPECT_EQ(calls_of(session, {"configure terminal", line.line}), Calls{line.call}) << line.line;
    EXPECT_EQ(session.status(), 0) << line.line << ": " << err;
    EXPECT_EQ(session.mode(), Mode::config) << line.line;
  }
}

TEST_F(Commands, of_a_schedule_reach_their_handlers_with_its_name_first) {
  for (const Case &line : schedule_cases) {
    Session session(script_options());
    calls_of(session, {"configure terminal", "scheduler schedule name nightly"});
    EXPECT_EQ(calls_of(session, {line.line}), Calls{line.call}) << line.line;
    EXPECT_EQ(session.mode(), Mode::schedule) << line.line;
  }
}

TEST_F(Commands, carry_the_operators_identity_and_the_debug_flag) {
  Session session(script_options());
  calls_of(session, {"show scheduler job"});
  EXPECT_EQ(recorder::user_name, "operator");
  EXPECT_EQ(recorder::peer_name, "schedsh");
  EXPECT_EQ(recorder::shell_handle, 4711u);
  EXPECT_EQ(recorder::debug, 0u);
  calls_of(session, {"debug scheduler", "show scheduler job"});
  EXPECT_EQ(recorder::debug, 1u);
  calls_of(session, {"undebug", "show scheduler job"});
  EXPECT_EQ(recorder::debug, 0u);
  calls_of(session, {"debug scheduler", "no debug scheduler", "show scheduler job"});
  EXPECT_EQ(recorder::debug, 0u);
}

TEST_F(Commands, carry_names_longer_than_their_field_cut) {
  Options options = script_options();
  options.identity.user = std::string(40, 'u');
  Session session(options);
  calls_of(session, {"show scheduler job"});
  EXPECT_EQ(recorder::user_name, std::string(31, 'u'));
}

TEST_F(Commands, report_a_service_that_refuses_or_is_gone) {
  recorder::control_status = 0x40be0001;
  Session session(script_options());
  calls_of(session, {"copy running-config startup-config"});
  EXPECT_EQ(err,
            "Error: copy running-config startup-config: the scheduler service is not running; start schedd, or check "
            "the state directory\n");
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Commands, with_a_sealed_password_store_it_unless_it_is_stored_already) {
  recorder::control_statuses[control::Operation::security_read] = SCH_STATUS_NO_PASSWORD;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication username bob password 7 x"}).back(),
            "aaa_auth_passwd 105=\"bob\" 107=\"x\"");
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication password 7 x"}).back(), "aaa_auth_passwd 107=\"x\"");

  sch_security_user_rec stored = {"bob", 2, 7, "x"};
  const auto bytes = std::as_bytes(std::span(&stored, 1));
  recorder::reset();
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication username bob password 7 x"}).size(), 1u);
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication username bob password 7 y"}).size(), 2u);
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Commands, that_show_by_name_say_when_there_is_none) {
  Session session(script_options());
  EXPECT_EQ(
      calls_of(session, {"show scheduler job name x", "show scheduler schedule name y"}),
      (Calls{"control find job \"x\"", "show_jobs \"x\"", "control find schedule \"y\"", "show_schedules \"y\""}));
  recorder::control_status = control::err_no_such_job;
  EXPECT_EQ(calls_of(session, {"show scheduler job name x"}), Calls{"control find job \"x\""});
  EXPECT_EQ(err, "Error: job x: no such job\n");
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Commands, that_delete_a_job_in_use_want_force) {
  const std::string users = "nightly\nweekly\n";
  const auto bytes = std::as_bytes(std::span(users));
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"no scheduler job name x"}), Calls{"control find job \"x\""});
  EXPECT_EQ(err,
            "Error: job x is used by nightly, weekly; take it off there, or add 'force' to delete it there as well\n");
  EXPECT_EQ(session.status(), 255);
  recorder::control_reply.clear();
  EXPECT_EQ(calls_of(session, {"no scheduler job name x"}),
            (Calls{"control find job \"x\"", "create_delete_job no \"x\""}));
}

TEST_F(Commands, that_delete_a_job_in_use_name_no_more_than_ten_schedules) {
  std::string users;
  for (char user = 'a'; user <= 'j'; user++)
    users += std::string(1, user) + "\n";
  Session session(script_options());
  recorder::control_reply = recorder::bytes_of(users);
  calls_of(session, {"no scheduler job name x"});
  EXPECT_NE(err.find(" by a, b, c, d, e, f, g, h, i, j; take"), std::string::npos) << err;
  recorder::control_reply = recorder::bytes_of(users + "k\nl\n");
  calls_of(session, {"no scheduler job name x"});
  EXPECT_NE(err.find(" by a, b, c, d, e, f, g, h, i, j and 2 more; take"), std::string::npos) << err;
  recorder::control_status = control::err_no_such_job;  // the handler says so
  EXPECT_EQ(calls_of(session, {"no scheduler job name x"}).back(), "create_delete_job no \"x\"");
}

TEST_F(Commands, that_rename_give_both_names) {
  Session session(script_options());
  calls_of(session, {"scheduler rename job a b", "scheduler rename schedule c d"});
  const std::vector<std::string> &sent = recorder::control_payloads[control::Operation::rename];
  EXPECT_EQ(sent, (std::vector{std::string("\1\0\0\0a\0b", 7), std::string("\2\0\0\0c\0d", 7)}));
  recorder::control_status = control::err_no_such_schedule;
  calls_of(session, {"scheduler rename schedule c d"});
  EXPECT_EQ(err, "Error: schedule c: no such schedule\n");
}

TEST_F(Commands, of_history_and_log_say_that_there_is_no_such_name_only_where_nothing_is_shown) {
  Session session(script_options());
  recorder::control_statuses[control::Operation::find] = control::err_no_such_job;
  recorder::control_replies[control::Operation::show_history] = recorder::bytes_of("a run\n");
  calls_of(session, {"show scheduler history job x"});
  EXPECT_EQ(out + err, "a run\n");
  EXPECT_EQ(session.status(), 0);
  recorder::control_replies.clear();
  calls_of(session, {"show scheduler history"});
  EXPECT_EQ(out + err, "");
  calls_of(session, {"show scheduler history job x"});
  EXPECT_EQ(out + err, "Error: job x: no such job\n");
  EXPECT_EQ(session.status(), 255);
  calls_of(session, {"show scheduler logfile job x"});
  EXPECT_EQ(out + err, "Error: job x: no such job\n");
  recorder::shown_log = "an outcome\n";
  calls_of(session, {"show scheduler logfile job x"});
  EXPECT_EQ(out + err, "an outcome\n");
}

TEST_F(Commands, of_history_and_log_fail_where_the_service_does) {
  Session log(script_options());
  recorder::statuses["display_log_entries"] = 1;
  calls_of(log, {"show scheduler logfile last 1"});
  EXPECT_EQ(log.status(), 255);
  recorder::control_statuses[control::Operation::find] = control::err_no_such_job;
  calls_of(log, {"show scheduler logfile job x"});
  EXPECT_EQ(err, "") << "why it failed was said";
  Session history(script_options());
  recorder::control_statuses[control::Operation::show_history] = control::err_no_such_job;
  calls_of(history, {"show scheduler history job x"});
  EXPECT_EQ(err, "Error: show scheduler history job: no such job\n");
  EXPECT_EQ(calls_of(history, {"show scheduler history run 5"}).size(), 1u) << "there is no output of no run";
  EXPECT_EQ(history.status(), 255);
}

TEST_F(Commands, show_the_shells_history_before_the_services) {
  recorder::control_reply = recorder::bytes_of("theirs\n");
  Session session(script_options());
  calls_of(session, {"show scheduler internal history"});
  EXPECT_EQ(out.rfind("-- shell --\n", 0), 0u) << out;
  EXPECT_TRUE(out.ends_with("-- service --\ntheirs\n")) << out;
}

TEST_F(Commands, do_what_the_shell_alone_knows_with_success) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"configure terminal", "exit", "debug scheduler", "undebug", "end", "help"}), Calls{});
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Commands, that_show_a_run_show_its_output_behind_it) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"show scheduler history run 9223372036854775807"}),
            (Calls{"control show_history 9223372036854775807 0 0", "log run 9223372036854775807 last 0 \"\" \"\""}));
}

TEST_F(Commands, that_set_a_time_tell_a_person_what_it_was_taken_for) {
  const std::string taken = "daily 01:07; next due soon\n";
  const auto bytes = std::as_bytes(std::span(taken));
  Options options = script_options();
  options.interactive = true;
  Session session(options);
  calls_of(session, {"configure terminal", "scheduler schedule name nightly"});
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  EXPECT_EQ(calls_of(session, {"time daily 7"}),
            (Calls{"modify_schedule /3 \"nightly\" \"7\"", "control explain_time \"nightly\""}));
  EXPECT_EQ(out, taken);
  EXPECT_EQ(calls_of(session, {"job name x"}).size(), 1u);
}

TEST_F(Commands, tell_versions_and_the_time_at_the_service) {
  const std::string text = std::string("\0\0\0\0", 4) + "Europe/Berlin";
  const auto bytes = std::as_bytes(std::span(text));
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  Session session(script_options());
  calls_of(session, {"show clock"});
  EXPECT_EQ(out.substr(out.size() - 20), "+0000 Europe/Berlin\n");
  const std::string version = "version: 1.2.3\n";
  const auto status = std::as_bytes(std::span(version));
  recorder::control_reply.assign(status.begin(), status.end());
  calls_of(session, {"show version"});
  EXPECT_EQ(out.substr(out.find('\n') + 1), "schedd 1.2.3\n");
}

TEST_F(Commands, that_run_a_schedule_print_the_runs_number) {
  recorder::control_reply.assign(8, std::byte{0});
  recorder::control_reply.front() = std::byte{17};
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler run schedule nightly"}), Calls{"control run_schedule \"nightly\""});
  EXPECT_EQ(out, "run 17\n");
  recorder::control_reply.pop_back();  // no number
  calls_of(session, {"scheduler run schedule nightly"});
  EXPECT_EQ(out, "");
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Commands, about_runs_name_what_the_service_refused) {
  recorder::control_status = control::err_no_such_schedule;
  Session session(script_options());
  calls_of(session, {"scheduler run schedule nightly"});
  EXPECT_EQ(err, "Error: schedule nightly: no such schedule\n");
  EXPECT_EQ(session.status(), 255);
  recorder::control_status = control::err_no_such_run;
  calls_of(session, {"scheduler kill run 17"});
  EXPECT_EQ(err, "Error: run 17: no such run is under way\n");
}

TEST_F(Commands, print_the_text_that_the_service_sends) {
  const std::string text = "feature scheduler\n";
  const auto bytes = std::as_bytes(std::span(text));
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  Session session(script_options());
  calls_of(session, {"show running-config"});
  EXPECT_EQ(out, text);
}

TEST_F(Commands, show_the_logging_level_as_the_line_that_sets_it) {
  recorder::control_reply = {std::byte{3}, std::byte{0}, std::byte{0}, std::byte{0}};
  Session session(script_options());
  calls_of(session, {"show logging level scheduler"});
  EXPECT_EQ(out, "logging level scheduler 3\n");
  recorder::control_status = control::err_not_allowed;
  calls_of(session, {"show logging level scheduler", "show clock"});
  EXPECT_EQ(out, "");
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Commands, refuse_a_file_outside_of_the_schemes) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler logfile name /etc/passwd"}), Calls{});
  EXPECT_EQ(err.rfind("Error: ", 0), 0u) << err;
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Commands, with_a_password_left_out_ask_for_it) {
  Options options = script_options();
  options.ask_secret = [](const char *prompt) -> std::optional<std::string> {
    return std::string(prompt) == "Password: " ? "typed" : "";
  };
  Session session(options);
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication username bob"}),
            Calls{"aaa_auth_passwd 105=\"bob\" 106=\"typed\""});
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication password"}), Calls{"aaa_auth_passwd 106=\"typed\""});
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Commands, with_a_password_left_out_fail_where_nobody_can_be_asked) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler aaa-authentication"}), Calls{});
  EXPECT_EQ(err, "Error: the password is missing; it is asked for on a terminal only\n");
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Commands, that_load_a_store_do_not_read_their_own_script) {
  Options options = script_options();
  options.input_is_stdin = true;
  Session session(options);
  EXPECT_EQ(calls_of(session, {"store load running:scheduler_runtime"}), Calls{});
  EXPECT_EQ(err, "Error: the commands come from standard input; name the file to load\n");
}

TEST_F(Commands, dump_a_store_to_a_private_file_and_load_it_from_there) {
  const std::string path = testing::TempDir() + "schedsh_dump." + std::to_string(getpid());
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"store dump running:x " + path}), Calls{"store_dump running:x"});
  EXPECT_EQ(out, "");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_EQ(calls_of(session, {"store load running:y " + path}), Calls{"store_load running:y dumped\n"});
  EXPECT_EQ(session.status(), 0);
  unlink(path.c_str());
}

TEST_F(Commands, save_raw_output_to_a_private_file_and_print_nothing) {
  const std::string path = testing::TempDir() + "schedsh_raw." + std::to_string(getpid());
  const std::string text = std::string("\x1b[2J\0\xff", 6);
  const auto bytes = std::as_bytes(std::span(text));
  recorder::control_reply.assign(bytes.begin(), bytes.end());
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"show scheduler history run 17 raw save " + path}), Calls{"control raw_output 17"});
  EXPECT_EQ(calls_of(session, {"show scheduler logfile raw save " + path}), Calls{"control raw_output 0"});
  EXPECT_EQ(out, "");
  EXPECT_EQ(err, "");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  std::ostringstream saved;
  saved << std::ifstream(path).rdbuf();
  EXPECT_EQ(saved.str(), text);
  unlink(path.c_str());
}

TEST_F(Commands, save_raw_output_that_is_empty_as_an_empty_file) {
  const std::string path = testing::TempDir() + "schedsh_raw." + std::to_string(getpid());
  Session session(script_options());
  calls_of(session, {"show scheduler logfile raw save " + path});
  EXPECT_EQ(session.status(), 0) << err;
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0);
  unlink(path.c_str());
}

// They open its files themselves.
TEST_F(Commands, about_stores_want_the_account_that_has_them_or_root) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  std::string directory = "/tmp/schedsh_state.XXXXXX";
  ASSERT_NE(mkdtemp(directory.data()), nullptr);
  host::use_paths(host::resolve_paths(directory.c_str()));
  Session session(script_options());
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  ASSERT_EQ(seteuid(65534), 0);
  const std::string refusal =
      "Error: the stores in " + directory + " belong to another user; use its account, or root's\n";
  for (const char *line : {"store dump running:x", "store load running:x /dev/null"}) {
    EXPECT_EQ(calls_of(session, {line}), Calls{}) << line;
    EXPECT_EQ(err, refusal);
  }
  EXPECT_EQ(session.status(), 255);
  seteuid(0);
  ASSERT_EQ(chown(directory.c_str(), 65534, 65534), 0);
  EXPECT_EQ(calls_of(session, {"store dump running:x"}).size(), 1u) << "root may";
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(calls_of(session, {"store dump running:x"}).size(), 1u) << "its owner may";
  seteuid(0);
  rmdir(directory.c_str());
}

TEST_F(Commands, about_stores_tell_what_went_wrong) {
  recorder::statuses["store_dump"] = static_cast<int>(host::err_store_absent);
  Session session(script_options());
  calls_of(session, {"store dump running:x"});
  EXPECT_TRUE(err.starts_with("Error: ") && err.ends_with(": store_dump\n")) << err;
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Commands, save_raw_output_to_no_terminal_and_to_nothing_that_is_linked_elsewhere) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(grantpt(terminal) + unlockpt(terminal), 0);
  const std::string link = testing::TempDir() + "schedsh_link." + std::to_string(getpid());
  ASSERT_EQ(symlink("/dev/null", link.c_str()), 0);
  recorder::control_reply = {std::byte{'x'}};
  for (const std::string &path :
       {std::string(ptsname(terminal)), std::string("/dev/null"), std::string("/dev/stdout"), link}) {
    Session session(script_options());
    calls_of(session, {"show scheduler logfile raw save " + path});
    EXPECT_EQ(session.status(), 255) << path;
    EXPECT_EQ(out, "") << path;
  }
  close(terminal);
  unlink(link.c_str());
}

TEST_F(Commands, save_no_raw_output_that_the_service_refuses) {
  const std::string path = testing::TempDir() + "schedsh_raw." + std::to_string(getpid());
  recorder::control_status = control::err_no_output_of_run;
  Session session(script_options());
  calls_of(session, {"show scheduler history run 17 raw save " + path});
  EXPECT_EQ(err.rfind("Error: run 17: the job log has no output", 0), 0u) << err;
  EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST_F(Commands, say_which_file_cannot_be_opened) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"store load running:x /nowhere/dump"}), Calls{});
  EXPECT_EQ(err, "Error: /nowhere/dump: cannot be read: No such file or directory\n");
  EXPECT_EQ(calls_of(session, {"store dump running:x /nowhere/dump"}), Calls{});
  EXPECT_EQ(err, "Error: /nowhere/dump: cannot be written: No such file or directory\n");
}

}  // namespace
}  // namespace shell
