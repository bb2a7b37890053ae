// SPDX-License-Identifier: Apache-2.0
// kill -9 of the service, and of the shell, at each step of a configuration's replacement: afterwards there is the one
// before or the one behind it, never anything between.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>

#include "tests/conditions.h"
#include "tests/system/oracle/fault_control.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

using oracle::Action;
using oracle::FaultControl;

std::string job(const std::string &name, size_t length) {
  return "scheduler job name " + name + "\n" + std::string(length, 'x') + "\nend-job\n\n";
}

// What goes, what comes, what changes, settings and levels: all that has a record or a file of its own. The text is
// sent in several pieces.
const std::string before =
                      "feature scheduler\nscheduler logfile size 32\n\nscheduler transport email from a@example.net\n" +
                      job("stays", 5000) + job("goes", 50000) + job("changes", 100) +
                      "scheduler schedule name nightly\n job name stays\n job name goes\n  time daily 23:30\n"
                      "email-addr a@example.net\n\n",
                  after =
                      "feature scheduler\nscheduler logfile size 64\n\nscheduler transport email reply-to "
                      "a@example.net\n" +
                      job("comes", 60000) + job("changes", 60000) + job("stays", 5000) +
                      "scheduler schedule name nightly\n job name changes\n job name stays\n  time daily 23:31\n"
                      "scheduler disable schedule nightly\n\n"
                      "scheduler schedule name other\n  time weekly 01:02:03\n\n"
                      "logging level scheduler 3\n";

class ReplaceKill : public testing::TestWithParam<Action> {
 protected:
  ReplaceKill() {
    const std::string path = directory_.path() + "/faults";
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (ftruncate(file, sizeof *faults_) != 0) abort();
    void *memory = mmap(nullptr, sizeof *faults_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) abort();
    close(file);
    faults_ = static_cast<FaultControl *>(memory);
    faults_->wall_ms = faults_->boot_ms = 1800000000000;
    service_.environment(std::string(oracle::control_variable) + "=" + path);
    for (const auto &[name, text] : {std::pair("/before", before), std::pair("/after", after)})
      std::ofstream(directory_.path() + name) << text;
    EXPECT_TRUE(service_.start()) << service_.errors();
    EXPECT_EQ(replace("before"), 0);
    EXPECT_EQ(running(), before);
  }
  ~ReplaceKill() override { munmap(faults_, sizeof *faults_); }

  int replace(const std::string &name) {
    int status = 0;
    run_shell(state_, {"-c", "configure replace " + directory_.path() + "/" + name}, &status);
    return status;
  }
  std::string running() { return run_shell(state_, {"-c", "show running-config"}, nullptr); }

  void arm(Action action, uint64_t step) {
    faults_->first = 0;
    faults_->action = action;
    faults_->steps = 0;
    faults_->count = 1;
    faults_->first = step;
  }
  bool struck(uint64_t step) const { return faults_->steps >= step; }

  void start_anew() {
    faults_->first = 0;
    service_.kill_and_wait();
    ASSERT_TRUE(service_.start()) << service_.errors();
  }

  // Counts what a replacement that was killed has left, and goes back.
  void look() {
    const std::string found = running();
    ASSERT_TRUE(found == before || found == after) << found;
    (found == before ? left_before_ : left_after_)++;
    if (found == after) {
      ASSERT_EQ(replace("before"), 0);
    }
  }

  // Otherwise the kills were all too early or all too late.
  void expect_both_were_left() const {
    EXPECT_GT(left_before_, 1);
    EXPECT_GT(left_after_, 0);
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  FaultControl *faults_ = nullptr;
  int left_before_ = 0, left_after_ = 0;
  ServiceProcess service_{state_, {}, SCHEDD_WITH_FAULTS_PATH};
};

TEST_P(ReplaceKill, of_the_service_leaves_before_or_after) {
  bool reached = true;
  for (uint64_t step = 1; reached; step += conditions::is_long() ? 1 : 1 + step / 2) {
    SCOPED_TRACE(step);
    arm(GetParam(), step);
    replace("after");
    reached = struck(step);
    start_anew();
    ASSERT_NO_FATAL_FAILURE(look());
  }
  expect_both_were_left();
}

INSTANTIATE_TEST_SUITE_P(, ReplaceKill, testing::Values(Action::die, Action::die_half_written), [](const auto &each) {
  return std::string(each.param == Action::die ? "killed" : "killed_in_a_write");
});

class ReplaceKillShell : public ReplaceKill {
 protected:
  // Killed as it enters its nth exchange with the service. False: it had fewer.
  bool killed_at(int nth) {
    const std::string command =
        "ASAN_OPTIONS=detect_leaks=0 strace -qq -o /dev/null -e trace=sendmsg,recvmsg,sendto "
        "-e inject=sendmsg,recvmsg,sendto:signal=KILL:when=" +
        std::to_string(nth) + " " SCHEDSH_PATH " --state-dir " + state_ + " -c 'configure replace " +
        directory_.path() + "/after' >/dev/null 2>&1";
    const int status = system(command.c_str());
    return !WIFEXITED(status) || WEXITSTATUS(status) == 128 + SIGKILL;
  }
};

TEST_P(ReplaceKillShell, leaves_before_or_after) {
  bool killed = true;
  for (int nth = 1; killed; nth++) {
    SCOPED_TRACE(nth);
    killed = killed_at(nth);
    ASSERT_NO_FATAL_FAILURE(look());
  }
  expect_both_were_left();
}

INSTANTIATE_TEST_SUITE_P(, ReplaceKillShell, testing::Values(Action::none),
                         [](const auto &) { return std::string("killed"); });

}  // namespace
}  // namespace system_test
