// SPDX-License-Identifier: Apache-2.0
// One job from its definition to its outcome on the real programs: configured by the shell, run by the service when it
// is due, read in the job log, still there after a restart. The service's clock is moved to the due minute.
#include <gtest/gtest.h>
#include <chrono>
#include <ctime>
#include <fstream>
#include <sstream>

#include "tests/system/moved_clock.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

std::string replaced(std::string text, const std::string &from, const std::string &to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

// The demonstration's configuration, due at the minute of `due` and `minutes` from now.
std::string configuration(time_t due, int minutes) {
  std::ostringstream text;
  text << std::ifstream(DEMO_CONF).rdbuf();
  char at[16];
  tm local{};
  strftime(at, sizeof at, "%H:%M", localtime_r(&due, &local));
  return replaced(replaced(text.str(), "@AT@", at), "@IN@", std::to_string(minutes));
}

size_t count(const std::string &text, const std::string &what) {
  size_t found = 0;
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size())
    found++;
  return found;
}

class EndToEnd : public testing::Test {
 protected:
  EndToEnd() {
    service_.environment("SCHEDCLI_TEST_CLOCK=" + directory_.path() + "/clock");
    EXPECT_TRUE(service_.start()) << service_.errors();
  }

  std::string shell(const std::string &command, int *status = nullptr) {
    return run_shell(state_, {"-c", command}, status);
  }

  // Asks until the log has so many entries; half a minute is far beyond what the jobs take.
  std::string log_of(size_t entries) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string log;
    do
      log = shell("show scheduler logfile");
    while (count(log, "Job Name ") < entries && std::chrono::steady_clock::now() < end);
    return log;
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  MovedClock clock_{directory_.path() + "/clock"};
  ServiceProcess service_{state_, {}, SCHEDD_MOVED_CLOCK_PATH};
};

TEST_F(EndToEnd, configured_jobs_run_when_due_and_everything_is_there_after_a_restart) {
  // Two minutes, so that the configuration cannot come too late however slow the machine is at it.
  const time_t due = time(nullptr) / 60 * 60 + 120;
  int status = -1;
  const std::string said = run_shell(state_, {}, &status, configuration(due, 2));
  ASSERT_EQ(status, 0) << said;
  EXPECT_EQ(count(shell("show scheduler schedule"), "Yet to be executed"), 2u);
  EXPECT_EQ(shell("show scheduler logfile"), "");

  clock_.set(due + 1);
  shell("show running-config");  // the service looks at its clock: the kernel tells it of the machine's being set alone
  const std::string log = log_of(3);
  EXPECT_EQ(count(log, "Job Name "), 3u) << log;
  EXPECT_NE(log.find("disk-use                          Job Status: Success (0)"), std::string::npos) << log;
  EXPECT_NE(log.find("link-state                        Job Status: Success (0)"), std::string::npos) << log;
  EXPECT_NE(log.find("broken-check                      Job Status: Failed (3)"), std::string::npos) << log;
  EXPECT_NE(log.find("looking for the standby supervisor\n"), std::string::npos) << log;

  const std::string jobs = shell("show scheduler job");
  const std::string schedules = shell("show scheduler schedule");
  EXPECT_EQ(count(schedules, "Execution count     : 1\n"), 2u) << schedules;
  EXPECT_EQ(service_.stop(), 0) << service_.errors();
  ASSERT_TRUE(service_.start()) << service_.errors();
  EXPECT_EQ(shell("show scheduler job"), jobs);
  EXPECT_EQ(shell("show scheduler schedule"), schedules);
  EXPECT_EQ(shell("show scheduler logfile"), log);
}

TEST_F(EndToEnd, a_due_time_that_the_service_did_not_live_to_see_is_recorded_as_missed) {
  const time_t due = time(nullptr) / 60 * 60 + 120;
  int status = -1;
  const std::string said = run_shell(state_, {}, &status, configuration(due, 2));
  ASSERT_EQ(status, 0) << said;
  service_.kill_and_wait();
  clock_.set(due + 300);
  ASSERT_TRUE(service_.start()) << service_.errors();
  const std::string log = shell("show scheduler logfile");
  EXPECT_EQ(count(log, "missed: it was due at "), 2u) << log;
  EXPECT_EQ(count(log, "Failed"), 2u) << log;
}

}  // namespace
}  // namespace system_test
