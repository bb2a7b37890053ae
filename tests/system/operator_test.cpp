// SPDX-License-Identifier: Apache-2.0
// An operator at a terminal and on the command line, with the real programs, while others work too.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/shell/pseudo_terminal.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

class Operator : public testing::Test {
 protected:
  Operator() {
    EXPECT_TRUE(service_.start()) << service_.errors();
    setenv("TMPDIR", directory_.path().c_str(), 1);
    give("feature scheduler\n");
  }
  ~Operator() override { unsetenv("TMPDIR"); }

  std::string shell(const std::string &command) { return run_shell(state_, {"-c", command}, &status_); }
  std::string give(const std::string &input) { return run_shell(state_, {}, &status_, input); }

  std::string text_of_job(const std::string &job) {
    const std::string shown = shell("show scheduler job name " + job);
    const size_t begin = shown.find("-\n"), end = shown.find("\n====");
    return begin == shown.npos || end < begin + 2 ? shown : shown.substr(begin + 2, end - begin - 2);
  }

  // The files into which the shell has put what would have been lost.
  std::string kept_text() const {
    std::ostringstream text;
    for (const auto &file : std::filesystem::directory_iterator(directory_.path()))
      if (file.path().filename().string().starts_with("schedsh-job.")) text << std::ifstream(file.path()).rdbuf();
    return text.str();
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  ServiceProcess service_{state_};
  int status_ = -1;
};

class AtTerminal : public Operator {
 protected:
  AtTerminal() { EXPECT_TRUE(terminal_.asks("schedsh> ")) << terminal_.everything(); }

  void enter(const std::string &line, const std::string &next_prompt) {
    terminal_.type(line + "\r");
    ASSERT_TRUE(terminal_.asks(next_prompt)) << line << "\n" << terminal_.everything();
  }
  bool says(const std::string &text) { return terminal_.sees(text); }

  shell::PseudoTerminal terminal_{[this] {
    setenv("SCHEDSH_HISTORY", "", 1);
    // The line editor keeps the names of the functions that were added to it until the process ends.
    setenv("LSAN_OPTIONS", "exitcode=0", 1);
    execl(SCHEDSH_PATH, "schedsh", "--state-dir", state_.c_str(), nullptr);
    return 127;
  }};
};

TEST_F(AtTerminal, a_job_that_another_operator_changed_is_not_overwritten_by_a_block_begun_before) {
  give("scheduler job name x commands one\n");
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler job name x", "schedsh(job x)> ");
  enter("mine", "schedsh(job x)> ");
  shell("scheduler job name x commands theirs");
  terminal_.type("end-job\r");
  EXPECT_TRUE(says("Error: the job was changed by somebody else meanwhile; your text is kept in "));
  EXPECT_TRUE(says("-one\r\n+theirs\r\n")) << terminal_.everything();
  ASSERT_TRUE(terminal_.asks("schedsh(config)> "));
  EXPECT_EQ(text_of_job("x"), "theirs");
  EXPECT_EQ(kept_text(), "mine\n");
  enter("scheduler job name x", "schedsh(job x)> ");
  enter("mine", "schedsh(job x)> ");
  enter("end-job", "schedsh(config)> ");
  EXPECT_EQ(text_of_job("x"), "mine");
}

TEST_F(AtTerminal, a_job_that_another_operator_deleted_or_created_is_left_so_by_a_block_begun_before) {
  give("scheduler job name x commands one\n");
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler job name x", "schedsh(job x)> ");
  enter("mine", "schedsh(job x)> ");
  shell("no scheduler job name x");
  terminal_.type("end-job\r");
  EXPECT_TRUE(says("job x was deleted since:")) << terminal_.everything();
  ASSERT_TRUE(terminal_.asks("schedsh(config)> "));
  EXPECT_EQ(shell("show scheduler job name x"), "Error: job x: no such job\n");
  enter("scheduler job name y", "schedsh(job y)> ");
  enter("mine", "schedsh(job y)> ");
  shell("scheduler job name y commands theirs");
  terminal_.type("end-job\r");
  EXPECT_TRUE(says("job y was created since:")) << terminal_.everything();
  ASSERT_TRUE(terminal_.asks("schedsh(config)> "));
  EXPECT_EQ(text_of_job("y"), "theirs");
}

TEST_F(AtTerminal, what_another_operator_did_to_the_schedule_of_the_mode_is_told_at_the_next_command) {
  enter("configure terminal", "schedsh(config)> ");
  enter("scheduler schedule name s", "schedsh(schedule s)> ");
  enter("time daily 10:10", "schedsh(schedule s)> ");
  give("scheduler schedule name s\ntime daily 11:11\nemail-addr ops@example.net\n");
  terminal_.type("time daily 12:12\r");
  EXPECT_TRUE(says("schedule s was changed by somebody else since:")) << terminal_.everything();
  EXPECT_TRUE(says("-  time daily 10:10\r\n+  time daily 11:11\r\n+email-addr ops@example.net\r\n"))
      << terminal_.everything();
  ASSERT_TRUE(terminal_.asks("schedsh(schedule s)> "));
  const size_t told = terminal_.everything().size();
  enter("no email-addr ops@example.net", "schedsh(schedule s)> ");
  EXPECT_EQ(terminal_.everything().find("somebody else", told), std::string::npos) << terminal_.everything();
  EXPECT_NE(shell("show running-config").find("time daily 12:12\n\n"), std::string::npos);
}

// More than the pipe to the pager holds, so that the shell is still writing when the pager is left.
TEST_F(AtTerminal, a_pager_that_is_left_early_ends_neither_the_shell_nor_its_output) {
  std::string lines;
  for (int i = 0; i < 3000; i++)
    lines += "line " + std::to_string(i) + " of many\n";
  for (const char *job : {"first", "second", "third"})
    give(std::string("configure terminal\nscheduler job name ") + job + "\n" + lines + "end-job\n");
  for (int times = 0; times < 2; times++) {
    terminal_.type("show running-config\r");
    ASSERT_TRUE(says("line 9 of many")) << terminal_.everything();
    ASSERT_TRUE(says("\r\n:")) << terminal_.everything();
    terminal_.type("q");
    ASSERT_TRUE(terminal_.asks("schedsh> ")) << terminal_.everything();
  }
  terminal_.type("show scheduler schedule\r");
  ASSERT_TRUE(terminal_.asks("schedsh> "));
  terminal_.type("exit\r");
  EXPECT_EQ(terminal_.wait_for_end(), 0);
}

TEST_F(AtTerminal, a_question_mark_behind_an_unknown_word_says_so) {
  terminal_.type("show nonsense ?");
  EXPECT_TRUE(says("\"nonsense\" at column 6 is not known here")) << terminal_.everything();
}

TEST_F(Operator, what_a_failing_command_shows_is_not_saved_over_what_is_there) {
  const std::string path = directory_.path() + "/saved";
  shell("show running-config | save " + path);
  ASSERT_EQ(status_, 0);
  const std::string before = (std::ostringstream() << std::ifstream(path).rdbuf()).str();
  ASSERT_NE(before, "");
  service_.stop();
  shell("show running-config | save " + path);
  EXPECT_EQ(status_, 255);
  EXPECT_EQ((std::ostringstream() << std::ifstream(path).rdbuf()).str(), before);
}

TEST_F(Operator, history_and_log_of_a_job_that_does_not_exist_say_so_as_data_too) {
  give("feature scheduler\nscheduler job name x commands true\nscheduler schedule name s\njob name x\n");
  for (const char *command : {"show scheduler history job nosuch", "show scheduler logfile job nosuch",
                              "show scheduler history schedule s job nosuch failed"}) {
    EXPECT_EQ(shell(std::string(command) + " | json"), "Error: job nosuch: no such job\n") << command;
    EXPECT_EQ(status_, 255) << command;
  }
  EXPECT_EQ(shell("show scheduler logfile schedule nosuch | json"), "Error: schedule nosuch: no such schedule\n");
  EXPECT_NE(shell("show scheduler history job x | json").find("\"run\": []"), std::string::npos);
  EXPECT_EQ(status_, 0);
}

TEST_F(Operator, every_message_of_a_service_that_does_not_run_names_the_command) {
  service_.stop();
  for (const char *command :
       {"show running-config", "show startup-config", "show startup-config diff", "show configuration history",
        "show configuration diff 1 2", "configure confirm", "erase startup-config", "rollback 1", "write memory",
        "feature scheduler", "no feature scheduler", "show scheduler internal memory", "copy startup-config ./x"}) {
    const std::string said = shell(command);
    EXPECT_FALSE(said.starts_with("Error: the scheduler service")) << command << ": " << said;
    EXPECT_TRUE(said.starts_with("Error: ")) << command << ": " << said;
    EXPECT_NE(status_, 0) << command;
  }
}

}  // namespace
}  // namespace system_test
