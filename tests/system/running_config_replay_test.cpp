// SPDX-License-Identifier: Apache-2.0
// What `show running-config` says, given to the real shell again: over itself and over an empty service.
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>

#include "tests/system/moved_clock.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

constexpr const char *everything =
    "feature scheduler\n"
    "scheduler logfile name flash:jobs.log\n"
    "scheduler logfile size 64\n"
    "scheduler transport email from switch@example.net\n"
    "scheduler transport email reply-to admin@example.net\n"
    "scheduler transport email smtp-server mail.example.net vrf red\n"
    "logging level scheduler 6\n"
    "scheduler job name backup\n"
    "scheduler schedule name trap\n"
    "  two blanks, and \"quotes\"\n"
    "end-job\n"
    "scheduler job name empty\n"
    "end-job\n"
    "scheduler schedule name nightly\n"
    "  job name backup\n"
    "  job name empty\n"
    "  time daily 23:30\n"
    "  email-addr a@example.net\n"
    "  email-addr b@example.net\n"
    "scheduler disable schedule nightly\n"
    "scheduler schedule name often\n"
    "  time start +0:0:5 repeat 0:1:30\n"
    "scheduler schedule name once\n"
    "  job name backup\n"
    "  time start +0:0:5\n"
    "scheduler schedule name bare\n";

class ShellReplay : public testing::Test {
 protected:
  ShellReplay() {
    service_.environment("SCHEDCLI_TEST_CLOCK=" + directory_.path() + "/clock");
    setenv("SCHEDCLI_TEST_CLOCK", (directory_.path() + "/clock").c_str(), 1);  // the shell's
    EXPECT_TRUE(service_.start()) << service_.errors();
  }
  ~ShellReplay() override { unsetenv("SCHEDCLI_TEST_CLOCK"); }

  std::string give(const std::string &input, int *status) {
    return run_shell(state_, {"-e"}, status, input, SCHEDSH_MOVED_CLOCK_PATH);
  }
  std::string shell(const std::string &command, int *status = nullptr) {
    return run_shell(state_, {"-c", command}, status, "", SCHEDSH_MOVED_CLOCK_PATH);
  }
  std::string text() { return shell("show running-config"); }

  void start_empty() {
    EXPECT_EQ(service_.stop(), 0) << service_.errors();
    std::filesystem::remove_all(state_);
    ASSERT_TRUE(service_.start()) << service_.errors();
    ASSERT_EQ(text(), "no feature scheduler\n");
  }
  void expect_the_same_from_an_empty_service(const std::string &before) {
    start_empty();
    EXPECT_EQ(give(before, &status_), "");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(text(), before);
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  MovedClock clock_{directory_.path() + "/clock"};
  ServiceProcess service_{state_, {}, SCHEDD_MOVED_CLOCK_PATH};
  int status_ = -1;
};

TEST_F(ShellReplay, of_everything_that_can_be_configured_says_nothing_and_changes_nothing) {
  ASSERT_EQ(give(everything, &status_), "");
  ASSERT_EQ(status_, 0);
  const std::string before = text();
  for (const char *line : {"scheduler logfile name flash:jobs.log\n", "smtp-server  mail.example.net vrf red\n",
                           "scheduler schedule name nightly\n job name backup\n",
                           "scheduler disable schedule nightly\n", "logging level scheduler 6\n"})
    EXPECT_NE(before.find(line), std::string::npos) << line << before;
  EXPECT_EQ(give(before, &status_), "");
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(text(), before);
}

TEST_F(ShellReplay, of_a_disabled_feature_keeps_its_jobs_and_leaves_it_disabled) {
  ASSERT_EQ(give(everything + std::string("no feature scheduler\n"), &status_), "");
  const std::string before = text();
  EXPECT_TRUE(before.starts_with("feature scheduler\nscheduler logfile size 64\n")) << before;
  EXPECT_TRUE(before.ends_with("\nno feature scheduler\n")) << before;
  EXPECT_EQ(give(before + before, &status_), "");
  EXPECT_EQ(text(), before);
  expect_the_same_from_an_empty_service(before);
}

TEST_F(ShellReplay, over_an_empty_service_makes_the_same_configuration) {
  ASSERT_EQ(give(everything, &status_), "");
  const std::string before = text();
  expect_the_same_from_an_empty_service(before);
}

TEST_F(ShellReplay, of_starts_that_have_passed_keeps_them_or_moves_them_on_by_whole_periods) {
  ASSERT_EQ(give(everything, &status_), "");
  const std::string before = text();
  clock_.set(time(nullptr) + 3600);
  EXPECT_EQ(give(before, &status_), "");
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(text(), before);

  start_empty();
  const std::string said = give(before, &status_);
  EXPECT_EQ(status_, 0) << said;
  EXPECT_NE(said.find("note: schedule often: the start "), std::string::npos) << said;
  EXPECT_NE(said.find("note: schedule once: its time "), std::string::npos) << said;
  EXPECT_NE(shell("show scheduler upcoming").find(" often "), std::string::npos);
}

TEST_F(ShellReplay, of_lines_that_are_typed_twice_is_no_error) {
  const std::string twice = std::string(everything) + everything;
  EXPECT_EQ(give(twice, &status_), "");
  EXPECT_EQ(status_, 0);
}

TEST_F(ShellReplay, reads_files_of_the_other_line_ends) {
  std::string text = everything, crlf;
  for (const char letter : text)
    crlf += letter == '\n' ? "\r\n" : std::string(1, letter);
  ASSERT_EQ(give(text, &status_), "");
  const std::string before = this->text();
  start_empty();
  EXPECT_EQ(give(crlf, &status_), "");
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(this->text(), before);
}

TEST_F(ShellReplay, refuses_a_log_file_that_is_there_and_not_its_own) {
  ASSERT_EQ(give("feature scheduler\nscheduler logfile name flash:one.log\n", &status_), "");
  std::ofstream(state_ + "/flash/two.log") << "somebody's\n";
  EXPECT_NE(give("scheduler logfile name flash:two.log\n", &status_), "");
  EXPECT_EQ(status_, 255);
}

class ShellNames : public ShellReplay {};

TEST_F(ShellNames, of_jobs_change_and_their_schedules_know_them) {
  ASSERT_EQ(give(everything, &status_), "");
  EXPECT_EQ(shell("scheduler rename job backup copy"), "");
  const std::string after = text();
  EXPECT_EQ(after.find("backup"), std::string::npos) << after;
  EXPECT_NE(after.find("scheduler job name copy\nscheduler schedule name trap\n"), std::string::npos) << after;
  EXPECT_NE(after.find("scheduler schedule name nightly\n job name copy\n"), std::string::npos) << after;
  EXPECT_EQ(shell("scheduler rename job copy empty", &status_), "Error: job copy: it exists already\n");
  EXPECT_EQ(status_, 255);
  EXPECT_EQ(service_.stop(), 0);
  ASSERT_TRUE(service_.start());
  EXPECT_EQ(text(), after);
}

TEST_F(ShellNames, of_schedules_change_and_their_history_and_addresses_stay) {
  ASSERT_EQ(give(everything, &status_), "");
  ASSERT_NE(shell("scheduler run schedule nightly"), "");
  std::string said;  // a schedule whose run is under way keeps its name
  do
    said = shell("scheduler rename schedule nightly daily");
  while (said == "Error: schedule nightly: a run of the schedule is under way\n");
  ASSERT_EQ(said, "");
  const std::string after = text();
  EXPECT_NE(after.find("scheduler schedule name daily\n job name backup\n job name empty\n"
                       "  time daily 23:30\nemail-addr a@example.net\nemail-addr b@example.net\n"),
            std::string::npos)
      << after;
  const std::string renamed = shell("show scheduler history schedule daily");
  EXPECT_NE(renamed.find("asked by"), std::string::npos) << renamed;
  EXPECT_EQ(shell("show scheduler history schedule nightly", &status_), "Error: schedule nightly: no such schedule\n");
  EXPECT_EQ(service_.stop(), 0);
  ASSERT_TRUE(service_.start());
  EXPECT_EQ(text(), after);
  EXPECT_EQ(shell("show scheduler history schedule daily"), renamed);
}

TEST_F(ShellNames, of_a_job_in_use_are_not_deleted_without_force) {
  ASSERT_EQ(give(everything, &status_), "");
  EXPECT_EQ(shell("no scheduler job name backup", &status_),
            "Error: job backup is used by nightly, once; take it off there, or add 'force' to delete it there as "
            "well\n");
  EXPECT_EQ(status_, 255);
  EXPECT_EQ(shell("no scheduler job name backup force", &status_), "");
  EXPECT_EQ(text().find("backup"), std::string::npos);
}

TEST_F(ShellNames, of_nothing_are_told) {
  EXPECT_EQ(shell("show scheduler job name x", &status_), "Error: job x: no such job\n");
  EXPECT_EQ(status_, 255);
  EXPECT_EQ(shell("show scheduler schedule name x", &status_), "Error: schedule x: no such schedule\n");
  EXPECT_EQ(status_, 255);
  for (const char *screen : {"show scheduler history job x", "show scheduler logfile job x"}) {
    EXPECT_EQ(shell(screen, &status_), "Error: job x: no such job\n") << screen;
    EXPECT_EQ(status_, 255) << screen;
  }
  EXPECT_EQ(shell("show scheduler logfile failed", &status_), "");
  EXPECT_EQ(status_, 0);
}

class ShellJobs : public ShellReplay {};

TEST_F(ShellJobs, are_replaced_as_a_whole_and_stay_assigned) {
  ASSERT_EQ(give(everything, &status_), "");
  EXPECT_EQ(give("scheduler job name backup\nanother line\nend-job\n", &status_), "");
  EXPECT_EQ(status_, 0);
  EXPECT_NE(text().find("scheduler job name backup\nanother line\nend-job\n"), std::string::npos);
  EXPECT_NE(text().find("scheduler schedule name once\n job name backup\n"), std::string::npos);
}

TEST_F(ShellJobs, are_left_as_they_were_by_a_block_without_end) {
  ASSERT_EQ(give(everything, &status_), "");
  const std::string before = text();
  EXPECT_NE(give("scheduler job name backup\nanother line\n", &status_), "");
  EXPECT_EQ(status_, 255);
  EXPECT_EQ(text(), before);
}

TEST_F(ShellJobs, are_changed_in_the_operators_editor) {
  ASSERT_EQ(give("feature scheduler\nscheduler job name x commands one;two\n", &status_), "");
  setenv("VISUAL", "sed -i s/two/three/", 1);
  EXPECT_EQ(shell("edit scheduler job name x", &status_), "");
  EXPECT_NE(text().find("scheduler job name x\none\nthree\nend-job\n"), std::string::npos) << text();
  setenv("VISUAL", "false", 1);
  EXPECT_EQ(shell("edit scheduler job name x", &status_),
            "Error: the editor 'false' failed; the job stays as it was\n");
  EXPECT_EQ(status_, 255);
  setenv("VISUAL", "f() { printf 'a\\nend-job\\n' >$1; }; f", 1);
  const std::string said = shell("edit scheduler job name x", &status_);
  EXPECT_NE(said.find("your text is kept in "), std::string::npos) << said;
  std::filesystem::remove(said.substr(said.rfind(' ') + 1, said.size() - said.rfind(' ') - 2));
  // The editor is away for as long as it takes somebody else to change the job.
  setenv("VISUAL",
         ("f() { " SCHEDSH_MOVED_CLOCK_PATH " --state-dir " + state_ +
          " -c 'scheduler job name x commands one;four'; echo five >>$1; }; f")
             .c_str(),
         1);
  const std::string late = shell("edit scheduler job name x", &status_);
  EXPECT_EQ(status_, 255);
  EXPECT_TRUE(late.starts_with("Error: the job was changed by somebody else meanwhile; your text is kept in ")) << late;
  EXPECT_TRUE(late.ends_with(" scheduler job name x\n one\n-three\n+four\n end-job\n")) << late;
  std::filesystem::remove(late.substr(late.find(" in ") + 4, late.find('\n') - late.find(" in ") - 4));
  EXPECT_EQ(shell("edit scheduler job name nothing", &status_), "Error: job nothing: no such job\n");
  unsetenv("VISUAL");
}

}  // namespace
}  // namespace system_test
