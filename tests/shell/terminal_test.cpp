// SPDX-License-Identifier: Apache-2.0
// The shell as a person has it: on a terminal, key by key.
#include "shell/terminal.h"

#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "shell/keyboard.h"
#include "tests/shell/pseudo_terminal.h"
#include "tests/shell/recorder.h"

namespace shell {
namespace {

constexpr const char *control_c = "\x03", *control_d = "\x04", *up = "\x1b[A";

// The session, then what it called.
int person() {
  setenv("SCHEDSH_HISTORY", "", 1);
  recorder::reset();
  Options options;
  options.identity = {"operator", "schedsh", 4711};
  options.interactive = true;
  options.ask_secret = ask_without_echo;
  options.agrees = agrees;
  Session session(options);
  run_terminal(session);
  for (const std::string &call : recorder::calls)
    std::printf("called: %s\n", call.c_str());
  std::printf("that is all\n");
  return session.status();
}

class Terminal : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(terminal.asks("schedsh> ")); }

  void enter(const std::string &line, const std::string &next_prompt) {
    terminal.type(line + "\r");
    ASSERT_TRUE(terminal.asks(next_prompt)) << line << "\n" << terminal.everything();
  }

  std::string called() {
    terminal.type(control_d);
    status = terminal.wait_for_end();
    const std::string &all = terminal.everything();
    const size_t first = all.find("called: ");
    return first == std::string::npos ? "" : all.substr(first, all.find("that is all", first) - first);
  }

  PseudoTerminal terminal{person};
  int status = -1;
};

TEST_F(Terminal, shows_the_mode_in_the_prompt_and_calls_what_is_typed) {
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler schedule name nightly", "schedsh(schedule nightly)> ");
  enter("time daily 23:30", "schedsh(schedule nightly)> ");
  enter("end", "schedsh> ");
  EXPECT_EQ(called(),
            "called: create_delete_schedule \"nightly\"\r\ncalled: modify_schedule /3 \"nightly\" \"23:30\"\r\ncalled: "
            "control explain_time \"nightly\"\r\n");
  EXPECT_EQ(status, 0);
}

TEST_F(Terminal, shows_what_a_crontab_becomes_and_configures_it_when_that_is_wanted) {
  const std::string table = testing::TempDir() + "/table.cron";
  std::ofstream(table) << "30 2 * * * backup\n";
  terminal.type("import crontab " + table + "\r");
  ASSERT_TRUE(terminal.sees("  time daily 02:30"));
  ASSERT_TRUE(terminal.sees("Configure this? [y/N] "));
  terminal.type("n\r");
  ASSERT_TRUE(terminal.sees("nothing was changed"));
  ASSERT_TRUE(terminal.asks("schedsh> "));
  terminal.type("import crontab " + table + "\r");
  ASSERT_TRUE(terminal.sees("Configure this? [y/N] "));
  terminal.type(control_c);
  ASSERT_TRUE(terminal.sees("nothing was changed"));
  ASSERT_TRUE(terminal.asks("schedsh> "));
  terminal.type("import crontab " + table + "\r");
  ASSERT_TRUE(terminal.sees("Configure this? [y/N] "));
  terminal.type("y\r");
  ASSERT_TRUE(terminal.asks("schedsh> "));
  const std::string calls = called();
  EXPECT_NE(calls.find("control put_configuration"), std::string::npos) << calls;
  EXPECT_EQ(calls.find("control put_configuration"), calls.rfind("control put_configuration")) << calls;
}

TEST_F(Terminal, completes_a_word_with_the_tabulator) {
  terminal.type("clea\ts\tlo\t\r");
  ASSERT_TRUE(terminal.asks("\nschedsh> "));
  EXPECT_EQ(called(), "called: logfile_clear\r\n");
}

TEST_F(Terminal, lists_the_choices_where_the_tabulator_cannot_decide) {
  terminal.type("e\t");
  EXPECT_TRUE(terminal.sees("  end                        Go back to the first mode"));
  EXPECT_TRUE(terminal.sees("  exit                       Leave this mode, or the shell"));
  EXPECT_TRUE(terminal.sees("schedsh> e"));
  terminal.type("nd\r");
  EXPECT_TRUE(terminal.asks("schedsh> "));
  EXPECT_EQ(called(), "");
  EXPECT_EQ(status, 0);
}

TEST_F(Terminal, shows_what_may_follow_at_a_question_mark_and_keeps_the_line) {
  terminal.type("show scheduler job ?");
  EXPECT_TRUE(terminal.sees("  name                       By name"));
  EXPECT_TRUE(terminal.sees("  <end>                      Show jobs with their commands"));
  EXPECT_TRUE(terminal.sees("schedsh> show scheduler job "));
  terminal.type("name x\r");
  EXPECT_TRUE(terminal.asks("schedsh> "));
  EXPECT_EQ(called(), "called: control find job \"x\"\r\ncalled: show_jobs \"x\"\r\n");
}

TEST_F(Terminal, takes_a_jobs_lines_as_they_are_typed) {
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler job name x", "schedsh(job x)> ");
  enter("ls\t*?", "schedsh(job x)> ");
  enter("end-job", "schedsh(config)> ");
  EXPECT_EQ(called(),
            "called: control find job \"x\"\r\ncalled: create_delete_job \"x\"\r\ncalled: define_job \"x\" "
            "\"ls\t*?\r\n\"\r\n");
}

TEST_F(Terminal, drops_a_line_at_control_c_and_goes_on) {
  terminal.type("show scheduler jo");
  ASSERT_TRUE(terminal.sees("jo"));
  terminal.type(control_c);
  ASSERT_TRUE(terminal.sees("^C"));
  ASSERT_TRUE(terminal.asks("schedsh> "));
  enter("show scheduler config", "schedsh> ");
  EXPECT_EQ(called(), "called: show_config\r\n");
  EXPECT_EQ(status, 0);
}

TEST_F(Terminal, gives_up_a_job_at_control_c) {
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler job name x", "schedsh(job x)> ");
  enter("one", "schedsh(job x)> ");
  terminal.type(control_c);
  ASSERT_TRUE(terminal.asks("schedsh(config)> "));
  EXPECT_EQ(called(), "called: control find job \"x\"\r\n");
}

TEST_F(Terminal, asks_for_a_password_without_showing_it) {
  enter("configure terminal", "schedsh(config)> ");
  terminal.type("scheduler aaa-authentication\r");
  ASSERT_TRUE(terminal.sees("Password: "));
  ASSERT_TRUE(terminal.waits_without_echo());
  terminal.type("hidden words\r");
  ASSERT_TRUE(terminal.asks("schedsh(config)> "));
  EXPECT_EQ(terminal.everything().find("hidden"), std::string::npos);
  EXPECT_EQ(called(), "called: aaa_auth_passwd 106=\"hidden words\"\r\n");
}

TEST_F(Terminal, gives_a_password_up_at_control_c) {
  enter("configure terminal", "schedsh(config)> ");
  terminal.type("scheduler aaa-authentication\r");
  ASSERT_TRUE(terminal.waits_without_echo());
  terminal.type(control_c);
  ASSERT_TRUE(terminal.asks("schedsh(config)> "));
  EXPECT_EQ(called(), "");
  EXPECT_EQ(status, 255);
}

TEST(ask_without_echo, gives_the_echo_back_when_it_is_given_up) {
  PseudoTerminal terminal([] {
    const bool given = ask_without_echo("Password: ").has_value();
    termios settings{};
    tcgetattr(STDIN_FILENO, &settings);
    return given || (settings.c_lflag & ECHO) == 0 ? 1 : 7;
  });
  ASSERT_TRUE(terminal.sees("Password: "));
  ASSERT_TRUE(terminal.waits_without_echo());
  terminal.type(control_c);
  EXPECT_EQ(terminal.wait_for_end(), 7);
}

TEST_F(Terminal, remembers_lines_but_no_password) {
  enter("configure terminal", "schedsh(config)> ");
  enter("show scheduler config", "schedsh(config)> ");
  enter("scheduler aaa-authentication password secret", "schedsh(config)> ");
  terminal.type(std::string(up) + "\r");
  ASSERT_TRUE(terminal.sees("show scheduler config"));
  ASSERT_TRUE(terminal.asks("schedsh(config)> "));
  EXPECT_EQ(called(), "called: show_config\r\ncalled: aaa_auth_passwd 106=\"secret\"\r\ncalled: show_config\r\n");
}

TEST_F(Terminal, pages_what_is_longer_than_the_screen) {
  terminal.type("help\r");
  ASSERT_TRUE(terminal.sees("configure terminal"));
  ASSERT_TRUE(terminal.sees(":"));  // the pager's own prompt
  terminal.type("q");
  ASSERT_TRUE(terminal.asks("schedsh> ")) << terminal.everything();
  EXPECT_EQ(called(), "");
  EXPECT_EQ(status, 0);
}

TEST_F(Terminal, points_at_the_word_that_is_wrong) {
  terminal.type("show schedler job\r");
  ASSERT_TRUE(terminal.sees("\r\n              ^\r\n\"schedler\" at column 6 is not known here; "))
      << terminal.everything();
  ASSERT_TRUE(terminal.asks("schedsh> "));
}

TEST_F(Terminal, takes_a_jobs_last_line_back_with_the_up_key) {
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler job name x", "schedsh(job x)> ");
  enter("one", "schedsh(job x)> ");
  enter("wrong", "schedsh(job x)> ");
  terminal.type(up);
  ASSERT_TRUE(terminal.sees("wrong"));
  terminal.type("\x15two\r");  // the whole line is deleted
  ASSERT_TRUE(terminal.asks("schedsh(job x)> "));
  enter("end-job", "schedsh(config)> ");
  const std::string calls = called();
  EXPECT_NE(calls.find("define_job \"x\" \"one\r\ntwo\r\n\""), std::string::npos) << calls;
}

TEST_F(Terminal, filters_and_saves_what_is_shown) {
  const std::string path = "/tmp/schedsh_saved." + std::to_string(getpid());
  enter("show logging level scheduler | no-more | count", "schedsh> ");
  EXPECT_NE(terminal.everything().find("\r\n1\r\n"), std::string::npos) << terminal.everything();
  enter("show logging level scheduler | save " + path, "schedsh> ");
  std::ifstream saved(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(saved), {}), "logging level scheduler 5\n");
  unlink(path.c_str());
}

TEST_F(Terminal, leaves_with_quit_and_takes_do) {
  enter("configure terminal", "schedsh(config)> ");
  enter("do show scheduler config", "schedsh(config)> ");
  enter("quit", "schedsh> ");
  EXPECT_EQ(called(), "called: show_config\r\n");
}

TEST_F(Terminal, does_not_page_when_its_length_is_0) {
  enter("terminal length 0", "schedsh> ");
  enter("help", "schedsh> ");
  EXPECT_EQ(called(), "");
}

TEST_F(Terminal, changes_the_screens_size) {
  enter("terminal width 40", "schedsh> ");
  terminal.type("show schedler job\r");
  EXPECT_TRUE(terminal.sees("is not known\r\n  here;")) << terminal.everything();
}

TEST_F(Terminal, ends_with_the_status_of_the_last_failure) {
  enter("nonsense", "schedsh> ");
  EXPECT_EQ(called(), "");
  EXPECT_EQ(status, 2) << terminal.everything();
}

TEST(is_secret, finds_lines_that_may_carry_a_password) {
  for (const char *line : {"scheduler aaa-authentication password x", "sch aaa pass x", "s a p x", "no scheduler a",
                           "sheduler aaa-authentication x", "scheduler authentication password x"}) {
    EXPECT_TRUE(is_secret(line)) << line;
  }
  for (const char *line : {"show scheduler job", "scheduler job name a", "", "a", "scheduler"}) {
    EXPECT_FALSE(is_secret(line)) << line;
  }
}

}  // namespace
}  // namespace shell

// The editor keeps the names and helps of the functions that were added to it until the process ends.
extern "C" const char *__lsan_default_suppressions() {
  return "leak:wcsdup\n";
}
