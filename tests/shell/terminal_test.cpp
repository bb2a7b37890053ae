// SPDX-License-Identifier: Apache-2.0
// The shell as a person has it: on a terminal, key by key.
#include "shell/terminal.h"

#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "shell/keyboard.h"
#include "tests/shell/pseudo_terminal.h"
#include "tests/shell/recorder.h"

namespace shell {
namespace {

constexpr const char *control_c = "\x03", *control_d = "\x04", *up = "\x1b[A";

// The session, then what it called.
int person_with(const std::string &history) {
  setenv("SCHEDSH_HISTORY", history.c_str(), 1);
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

int person() {
  recorder::reset();
  return person_with("");
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
  ASSERT_TRUE(terminal.sees("\r\nnothing was changed"));
  ASSERT_TRUE(terminal.asks("schedsh> "));
  terminal.type("import crontab " + table + "\r");
  ASSERT_TRUE(terminal.sees("Configure this? [y/N] "));
  terminal.type(control_c);
  ASSERT_TRUE(terminal.sees("\r\nnothing was changed"));
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
  ASSERT_TRUE(terminal.sees("\r\n:"));  // the pager's own prompt
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
  enter("terminal length 50", "schedsh> ");
  EXPECT_EQ(terminal.everything().find("Error"), std::string::npos) << terminal.everything();
  EXPECT_EQ(terminal.size().ws_col, 40);
  EXPECT_EQ(terminal.size().ws_row, 50);
  terminal.type("show schedler job\r");
  EXPECT_TRUE(terminal.sees("is not known\r\n  here;")) << terminal.everything();
}

TEST_F(Terminal, ends_its_line_where_the_input_ends_and_tells_of_an_open_job_below_it) {
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler job name x", "schedsh(job x)> ");
  called();
  EXPECT_TRUE(terminal.sees("\r\nError: the input ends before the 'end-job' of job x; nothing was changed\r\n"))
      << terminal.everything();
  EXPECT_EQ(status, 255);
}

TEST_F(Terminal, ends_no_second_line_at_exit) {
  terminal.type("exit\r");
  EXPECT_EQ(terminal.wait_for_end(), 0);
  EXPECT_TRUE(terminal.everything().ends_with("exit\r\nthat is all\r\n")) << terminal.everything();
}

TEST_F(Terminal, ends_with_the_status_of_the_last_failure) {
  enter("nonsense", "schedsh> ");
  EXPECT_EQ(called(), "");
  EXPECT_EQ(status, 2) << terminal.everything();
}

class TerminalWithHistory : public testing::Test {
 protected:
  TerminalWithHistory() { mkdtemp(directory.data()); }
  ~TerminalWithHistory() override { std::filesystem::remove_all(directory); }

  std::string lines() const {
    std::ifstream file(directory + "/lines");
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string directory = "/tmp/schedsh_terminal.XXXXXX";
  std::function<int()> kept = [this] { return person_with(directory + "/lines"); };
};

TEST_F(TerminalWithHistory, keeps_the_commands_of_all_sessions_but_no_password_and_no_job) {
  const char *typed[] = {"",
                         "! comment",
                         "show scheduler config",
                         "scheduler aaa-authentication password secret",
                         "configure terminal",
                         "scheduler job name x",
                         "its line",
                         "end-job",
                         "show scheduler job"};
  {
    PseudoTerminal first(kept);
    for (const char *line : typed) {
      ASSERT_TRUE(first.asks("> ")) << line;
      first.type(std::string(line) + "\r");
    }
    ASSERT_TRUE(first.asks("> "));
    first.type(control_d);
    first.wait_for_end();
  }
  EXPECT_EQ(lines(), "show scheduler config\nconfigure terminal\nscheduler job name x\nshow scheduler job\n");
  PseudoTerminal second(kept);
  ASSERT_TRUE(second.asks("schedsh> "));
  second.type(std::string(up) + up + up + up + "\r");
  EXPECT_TRUE(second.sees("show scheduler config"));
  ASSERT_TRUE(second.asks("schedsh> ")) << second.everything();
  second.type(control_d);
  second.wait_for_end();
  EXPECT_NE(second.everything().find("called: show_config\r\nthat is all"), std::string::npos) << second.everything();
}

// More than the pipe to the pager holds.
int person_with_long_answers() {
  recorder::reset();
  recorder::control_reply = recorder::bytes_of(std::string(200'000, '\n'));
  return person_with("");
}

class TerminalWithLongAnswers : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(terminal.asks("schedsh> ")); }
  PseudoTerminal terminal{person_with_long_answers};
};

TEST_F(TerminalWithLongAnswers, goes_on_when_the_pager_is_left_early) {
  for (const char *line : {"show running-config\r", "show running-config | include .*\r"}) {
    terminal.type(line);
    ASSERT_TRUE(terminal.sees("\r\n:")) << line;
    terminal.type("q");
    ASSERT_TRUE(terminal.asks("schedsh> ")) << terminal.everything();
  }
  terminal.type("exit\r");
  EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST_F(TerminalWithLongAnswers, pages_nothing_where_that_is_not_wanted) {
  for (const char *line : {"show running-config | no-more\r", "show running-config | include .* | no-more\r",
                           "terminal length 0\r", "show running-config\r", "show running-config | include .*\r"}) {
    terminal.type(line);
    ASSERT_TRUE(terminal.asks("schedsh> ")) << line;
  }
}

TEST(Commands, given_as_arguments_are_not_paged) {
  PseudoTerminal terminal([] {
    recorder::reset();
    recorder::control_reply = recorder::bytes_of(std::string(200, '\n'));
    Options options;
    options.identity = {"operator", "schedsh", 4711};
    Session session(options);
    session.feed("show running-config");
    return session.feed("show running-config | include .*");
  });
  EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST(is_secret, finds_lines_that_may_carry_a_password) {
  for (const char *line :
       {"scheduler aaa-authentication password x", "sch aaa pass x", "s a p x", "no scheduler a",
        "sheduler aaa-authentication x", "scheduler authentication password x", "password x", "aaa", "no aaa"}) {
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

// What is let pass is not listed among the shell's own lines.
extern "C" const char *__lsan_default_options() {
  return "print_suppressions=0";
}
