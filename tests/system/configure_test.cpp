// SPDX-License-Identifier: Apache-2.0
// A configuration replaced as a whole, compared and taken back, on the real programs.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/system/service_process.h"

namespace system_test {
namespace {

const std::string site =
    "feature scheduler\n"
    "scheduler logfile size 32\n\n"
    "scheduler job name backup\necho one\nend-job\n\n"
    "scheduler schedule name nightly\n job name backup\n  time daily 23:30\nemail-addr ops@example.net\n"
    "scheduler disable schedule nightly\n\n";

class Configure : public testing::Test {
 protected:
  Configure() { EXPECT_TRUE(service_.start()) << service_.errors(); }

  struct Result {
    int status;
    std::string output;
  };
  Result shell(const std::vector<std::string> &commands, const std::string &input = "") {
    std::vector<std::string> arguments;
    for (const std::string &command : commands)
      arguments.insert(arguments.end(), {"-c", command});
    Result result{};
    result.output = run_shell(state_, arguments, &result.status, input);
    return result;
  }

  std::string file(const std::string &name, const std::string &text) {
    const std::string path = directory_.path() + "/" + name;
    std::ofstream(path) << text;
    return path;
  }

  static std::string contents(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }

  std::string running() { return shell({"show running-config"}).output; }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  ServiceProcess service_{state_};
};

TEST_F(Configure, replace_shows_the_difference_and_checks_by_its_status) {
  const std::string path = file("site.conf", site);
  EXPECT_EQ(shell({"configure replace " + path + " check"}).status, 2);
  EXPECT_EQ(running(), "no feature scheduler\n");
  const Result replaced = shell({"configure replace " + path});
  EXPECT_EQ(replaced.status, 0) << replaced.output;
  EXPECT_NE(replaced.output.find("+scheduler schedule name nightly\n+ job name backup\n"), std::string::npos);
  EXPECT_EQ(running(), site);
  const Result again = shell({"configure replace " + path + " check"});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.output, "");
  EXPECT_EQ(shell({"configure replace - check"}, site).status, 0);
}

TEST_F(Configure, a_wrong_text_changes_nothing_and_names_its_lines) {
  const Result wrong = shell({"configure replace " + file("w.conf", "feature scheduler\r\nwhat\n\ntime daily 1:00\n")});
  EXPECT_NE(wrong.status, 0);
  EXPECT_NE(wrong.output.find("w.conf:2: \"what\""), std::string::npos) << wrong.output;
  EXPECT_NE(wrong.output.find("w.conf:4: "), std::string::npos) << wrong.output;
  const Result late = shell({"configure replace " + file("l.conf", "\nscheduler schedule name x\n\n job name gone\n")});
  EXPECT_NE(late.output.find("l.conf:2: schedule x, job gone: no such job"), std::string::npos) << late.output;
  EXPECT_EQ(running(), "no feature scheduler\n");
}

TEST_F(Configure, refuses_what_is_no_file) {
  const auto refusal = [&](const std::string &path) { return shell({"configure replace " + path}).output; };
  EXPECT_EQ(refusal(directory_.path()), "Error: " + directory_.path() + ": is a directory\n");
  EXPECT_EQ(refusal("/dev/zero"), "Error: /dev/zero: is a device, no file\n");
  EXPECT_NE(refusal(directory_.path() + "/absent").find("No such file"), std::string::npos);
  EXPECT_EQ(running(), "no feature scheduler\n");
}

// The first operator's shell stays, and waits for its second command while another one changes something.
TEST_F(Configure, the_second_of_two_operators_is_told_what_has_changed) {
  const std::string other = file("other.conf", "feature scheduler\nscheduler logfile size 64\n"),
                    pipe = directory_.path() + "/pipe", again = directory_.path() + "/pipe-again",
                    out = directory_.path() + "/out";
  ASSERT_EQ(shell({"configure replace " + file("site.conf", site)}).status, 0);
  for (const std::string &path : {pipe, again})
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);  // two: what came for the first command must not feed the other
  // What is read from the pipe comes after the other operator's change.
  std::thread first([&] {
    std::ofstream(out)
        << shell({"show running-config", "configure replace " + pipe, "configure replace " + again}).output;
  });
  std::ofstream feeding(pipe);  // opened when the first shell has read the configuration and reads the pipe
  EXPECT_EQ(shell({"configure replace " + other}).status, 0);
  feeding << "feature scheduler\n";
  feeding.close();
  std::ofstream(again) << "feature scheduler\n";
  first.join();
  const std::string told = contents(out);
  EXPECT_NE(told.find("has changed since"), std::string::npos) << told;
  EXPECT_NE(told.find("-scheduler job name backup\n"), std::string::npos) << told;
  EXPECT_NE(told.find("+scheduler logfile size 64\n"), std::string::npos) << told;
  EXPECT_EQ(running(), "feature scheduler\n");
}

TEST_F(Configure, roll_back_and_compare) {
  ASSERT_EQ(shell({"configure replace " + file("site.conf", site)}).status, 0);
  ASSERT_EQ(shell({"configure replace " + file("bare.conf", "feature scheduler\n")}).status, 0);
  const std::string history = shell({"show configuration history"}).output;
  EXPECT_NE(history.find("configure replace " + directory_.path() + "/bare.conf"), std::string::npos) << history;
  EXPECT_NE(shell({"show configuration diff 2 3"}).output.find("-scheduler job name backup\n"), std::string::npos);
  EXPECT_EQ(shell({"rollback 2 check"}).status, 2);
  EXPECT_EQ(shell({"rollback 2"}).status, 0);
  EXPECT_EQ(running(), site);
  EXPECT_NE(shell({"rollback 99"}).status, 0);
}

TEST_F(Configure, files_and_the_startup_configuration) {
  ASSERT_EQ(shell({"configure replace " + file("site.conf", site)}).status, 0);
  const std::string saved = directory_.path() + "/saved.conf";
  ASSERT_EQ(shell({"copy running-config " + saved, "write memory"}).status, 0);
  EXPECT_EQ(contents(saved), site);
  EXPECT_EQ(shell({"show startup-config diff"}).output, "");
  ASSERT_EQ(shell({"copy " + file("more.conf", "sched job name more commands a;b\n") + " running-config"}).status, 0);
  EXPECT_NE(running().find("scheduler job name more\na\nb\nend-job\n"), std::string::npos);
  EXPECT_NE(shell({"show startup-config diff"}).output.find("-scheduler job name more\n"), std::string::npos);
  EXPECT_EQ(shell({"erase startup-config"}).status, 0);
  EXPECT_NE(shell({"show startup-config"}).status, 0);
}

TEST_F(Configure, a_planted_link_is_not_written_through) {
  const std::string victim = file("victim", "mine"), link = directory_.path() + "/link.conf";
  std::filesystem::create_symlink(victim, link);
  EXPECT_NE(shell({"copy running-config " + link}).status, 0);
  EXPECT_EQ(contents(victim), "mine");
}

TEST_F(Configure, what_is_not_confirmed_is_taken_back_after_a_restart) {
  ASSERT_EQ(shell({"configure replace " + file("site.conf", site) + " confirm 1000"}).status, 0);
  service_.kill_and_wait();
  ASSERT_TRUE(service_.start()) << service_.errors();
  EXPECT_EQ(running(), site);
  service_.stop();
  // As if the minutes had passed.
  const std::string waits = state_ + "/configurations/awaits-confirmation";
  std::istringstream fields(contents(waits));
  std::string entry, deadline, rest;
  fields >> entry >> deadline;
  std::getline(fields, rest);
  std::ofstream(waits) << entry << " 1000" << rest << "\n";
  ASSERT_TRUE(service_.start()) << service_.errors();
  EXPECT_EQ(running(), "no feature scheduler\n");
}

TEST_F(Configure, what_waits_for_a_confirmation_is_told_by_the_status) {
  const std::string mark = "\nrolled back unless confirmed: ";
  EXPECT_EQ(shell({"show scheduler status"}).output.find(mark), std::string::npos);
  ASSERT_EQ(shell({"configure replace " + file("site.conf", site) + " confirm 5"}).status, 0);
  EXPECT_NE(shell({"show scheduler status"}).output.find(mark), std::string::npos);
  ASSERT_EQ(shell({"configure confirm"}).status, 0);
  EXPECT_EQ(shell({"show scheduler status"}).output.find(mark), std::string::npos);
}

TEST_F(Configure, what_was_typed_is_kept_with_its_maker_when_it_is_saved) {
  ASSERT_EQ(shell({"feature scheduler", "scheduler job name a commands true"}).status, 0);
  ASSERT_EQ(shell({"write memory"}).status, 0);
  const std::string history = shell({"show configuration history"}).output;
  EXPECT_TRUE(std::regex_search(history, std::regex("\n1 .* process [0-9]+ +commands\n"))) << history;
}

TEST_F(Configure, a_crontab_is_taken_over_as_one_change) {
  const std::string table = file("table.x", "PATH=/bin\n*/5 * * * * date\n@reboot true\nSHELL=/bin/dash\n");
  const Result imported = shell({"import crontab " + table});
  EXPECT_EQ(imported.status, 1);
  EXPECT_NE(imported.output.find("table.x:3: cannot be expressed: "), std::string::npos) << imported.output;
  EXPECT_NE(imported.output.find("table.x:4: note: SHELL=/bin/dash: "), std::string::npos) << imported.output;
  EXPECT_NE(running().find("scheduler job name cron-table-x-2\nexport PATH='/bin'\ndate\nend-job\n"),
            std::string::npos);
  EXPECT_NE(running().find("  time start 2026:01:01:00:00 repeat 0:0:5\n"), std::string::npos);
}

}  // namespace
}  // namespace system_test
