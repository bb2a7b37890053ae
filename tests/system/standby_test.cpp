// SPDX-License-Identifier: Apache-2.0
// A service in standby on the state that an active one has left: it runs nothing, and its take-over neither loses nor
// repeats a due time. Its clock is moved by the test.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "tests/system/moved_clock.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

std::string content(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// Within a bound that is far beyond what it takes.
bool comes_true(const std::function<bool()> &condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

class Standby : public testing::Test {
 protected:
  Standby() {
    clock_.set(due_ - 120);
    for (ServiceProcess *service : {&active_, &standby_})
      service->environment("SCHEDCLI_TEST_CLOCK=" + directory_.path() + "/clock");
    EXPECT_TRUE(active_.start()) << active_.errors();
    char at[16];
    tm local{};
    strftime(at, sizeof at, "%H:%M", localtime_r(&due_, &local));
    int status = -1;
    EXPECT_EQ(run_shell(state_, {}, &status,
                        "configure terminal\nfeature scheduler\nscheduler job name note\necho ran >> " + noted_ +
                            "\nend-job\nscheduler schedule name daily\n job name note\n time daily " + at + "\n"),
              "");
  }

  std::string shell(const std::string &command, int *status = nullptr) {
    return run_shell(state_, {"-c", command}, status);
  }
  bool has_run() { return shell("show scheduler history").find("success") != std::string::npos; }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state", noted_ = directory_.path() + "/noted";
  MovedClock clock_{directory_.path() + "/clock"};
  const time_t due_ = time(nullptr) / 60 * 60 + 3600;
  ServiceProcess active_{state_, {}, SCHEDD_MOVED_CLOCK_PATH};
  ServiceProcess standby_{state_, {"--standby"}, SCHEDD_MOVED_CLOCK_PATH};
};

TEST_F(Standby, runs_nothing_and_says_so) {
  ASSERT_EQ(active_.stop(), 0);
  clock_.set(due_ + 5);
  ASSERT_TRUE(standby_.start()) << standby_.errors();
  EXPECT_NE(shell("show scheduler status").find("\nmode: standby\n"), std::string::npos);
  for (const char *command : {"show scheduler job", "scheduler run schedule daily", "show scheduler history"}) {
    int status = 0;
    const std::string said = shell(command, &status);
    EXPECT_NE(status, 0) << command;
    EXPECT_NE(said.find("is in standby and runs nothing"), std::string::npos) << said;
  }
  EXPECT_EQ(standby_.stop(), 0) << standby_.errors();
  EXPECT_EQ(content(noted_), "");
}

TEST_F(Standby, what_was_due_just_before_the_take_over_runs_once) {
  ASSERT_EQ(active_.stop(), 0);
  ASSERT_TRUE(standby_.start()) << standby_.errors();
  clock_.set(due_ + 5);
  int status = -1;
  EXPECT_EQ(shell("scheduler take-over", &status), "");
  ASSERT_EQ(status, 0);
  ASSERT_TRUE(comes_true([&] { return content(noted_) == "ran\n"; }));  // a request would make it look at its clock
  EXPECT_NE(shell("show scheduler status").find("\nmode: active\n"), std::string::npos);
  ASSERT_TRUE(comes_true([&] { return has_run(); })) << shell("show scheduler history");
  EXPECT_EQ(standby_.stop(), 0) << standby_.errors();
  ASSERT_TRUE(active_.start()) << active_.errors();
  EXPECT_EQ(shell("show scheduler history").find("run  schedule"), 0u);
  EXPECT_EQ(content(noted_), "ran\n");
}

TEST_F(Standby, what_was_due_long_before_the_take_over_is_missed_and_said) {
  ASSERT_EQ(active_.stop(), 0);
  ASSERT_TRUE(standby_.start()) << standby_.errors();
  clock_.set(due_ + 600);
  shell("scheduler take-over");
  EXPECT_NE(shell("show scheduler logfile").find("missed: it was due at "), std::string::npos);
  EXPECT_EQ(content(noted_), "");
}

TEST_F(Standby, a_due_time_that_the_killed_service_took_is_not_taken_again) {
  clock_.set(due_ + 1);
  shell("show running-config");  // the service looks at its clock
  ASSERT_TRUE(comes_true([&] { return has_run(); })) << shell("show scheduler history");
  active_.kill_and_wait();
  ASSERT_TRUE(standby_.start()) << standby_.errors();
  standby_.signal(SIGUSR1);
  ASSERT_TRUE(comes_true([&] { return shell("show scheduler status").find("\nmode: active\n") != std::string::npos; }));
  shell("show running-config");
  EXPECT_EQ(standby_.stop(), 0) << standby_.errors();
  EXPECT_EQ(content(noted_), "ran\n");
}

TEST_F(Standby, a_take_over_is_no_boot) {
  shell("copy running-config startup-config");
  int status = -1;
  run_shell(state_, {"-c", "configure terminal", "-c", "scheduler job name later commands true"}, &status);
  ASSERT_EQ(active_.stop(), 0);
  const std::string settings = directory_.path() + "/conf";
  std::ofstream(settings) << "[service]\nstart-as=standby\nboot-from=startup\n";
  ServiceProcess standby(state_, {"--config", settings}, SCHEDD_MOVED_CLOCK_PATH);
  standby.environment("SCHEDCLI_TEST_CLOCK=" + directory_.path() + "/clock");
  standby.environment("SCHEDCLI_BOOT_ID=another");
  ASSERT_TRUE(standby.start()) << standby.errors();
  EXPECT_EQ(shell("scheduler take-over"), "");
  EXPECT_NE(shell("show running-config").find("scheduler job name later"), std::string::npos);
  EXPECT_NE(shell("scheduler take-over").find("active already"), std::string::npos);
}

}  // namespace
}  // namespace system_test
