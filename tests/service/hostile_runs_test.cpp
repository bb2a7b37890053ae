// SPDX-License-Identifier: Apache-2.0
// Jobs that take what they can get: the service keeps its memory, everything of theirs ends, and others run meanwhile.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "service/run/history.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using service::Outcome;
using service::Reason;
using ::testing::HasSubstr;

std::string &deleted_user() {
  static std::string name;
  return name;
}

size_t most_memory_kib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6));
  return 0;
}

class HostileRuns : public ::testing::Test {
 protected:
  HostileRuns() {
    if (geteuid() == 0) {
      service::Settings settings = world_.settings;
      settings.classes.front().memory_mib = 64;
      settings.classes.front().tasks = 200;  // of all that the user runs on this machine
      settings.classes.front().grace_s = settings.stop_grace_s = 0;
      world_.use(settings);
    }
  }
  ~HostileRuns() override { deleted_user().clear(); }

  void schedule(const std::string &name, const std::string &text, const host::Caller &caller) {
    ASSERT_EQ(create_job(world_, name, text, caller), 0u);
    ASSERT_EQ(create_schedule(world_, name, {name}, daily(12, 30), caller), 0u);
  }
  void begin() {
    set_clock(noon + 30 * 60);
    world_.parts->scheduler.check();
  }
  static std::vector<Outcome> outcomes(const std::string &name) {
    const std::vector<service::HistoryRun> runs = service::read_history(*service::find_schedule(name));
    return runs.empty() ? std::vector<Outcome>() : runs.front().outcomes;
  }
  Outcome outcome(const std::string &name) {
    while (outcomes(name).empty())
      world_.loop.turn();
    return outcomes(name).front();
  }
  // Every user must get to the text of their job.
  service::Runner::Options options() const {
    chmod(open_to_all_.path().c_str(), 01777);
    service::Runner::Options chosen;
    chosen.processes.directory = open_to_all_.path();
    chosen.change_user = geteuid() == 0;
    return chosen;
  }

  const Directory open_to_all_;
  World world_{options()};
};

TEST_F(HostileRuns, a_gigabyte_of_output_is_counted_and_not_kept) {
  const size_t before = most_memory_kib();
  schedule("prints", "head -c 1073741824 /dev/zero\n", root());
  begin();
  const Outcome printed = outcome("prints");
  EXPECT_EQ(printed.output_bytes, 1073741824u);
  EXPECT_EQ(printed.wait_status, 0u);
  EXPECT_LT(most_memory_kib() - before, 64u * 1024);
}

TEST_F(HostileRuns, another_users_run_ends_while_they_go_on) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run jobs of several users";
  schedule("endless", "yes\n", nobody());
  schedule("deaf", "trap '' TERM HUP INT\nexec >&- 2>&-\nsleep 1000\n", nobody());
  schedule("other", "echo quiet\n", daemon_user());
  begin();
  EXPECT_EQ(outcome("other").wait_status, 0u);
  EXPECT_TRUE(outcomes("endless").empty());
  EXPECT_TRUE(outcomes("deaf").empty());
  world_.parts->runner.stop_all();
  EXPECT_EQ(outcome("endless").reason, Reason::stopped);
  EXPECT_EQ(outcome("deaf").reason, Reason::stopped);
}

TEST_F(HostileRuns, a_crowd_of_processes_stops_at_the_limit_of_tasks_and_ends_with_the_run) {
  if (geteuid() != 0) GTEST_SKIP() << "the limit binds everybody but root";
  schedule("crowd", "i=0\nwhile [ $i -lt 400 ]; do sleep 1000 & i=$((i+1)); done\necho all\n", nobody());
  schedule("other", "echo quiet\n", daemon_user());
  begin();
  const Outcome crowd = outcome("crowd");
  EXPECT_NE(crowd.wait_status, 0u);
  EXPECT_GT(crowd.killed, 0u);
  EXPECT_LT(crowd.killed, 200u);
  EXPECT_EQ(outcome("other").wait_status, 0u);
}

TEST_F(HostileRuns, a_hog_of_memory_is_refused_it_and_the_service_keeps_its_own) {
  if (geteuid() != 0) GTEST_SKIP() << "the class is set for root's service";
  const size_t before = most_memory_kib();
  schedule("hog", "dd if=/dev/zero of=/dev/null bs=512M count=1\n", nobody());
  begin();
  EXPECT_NE(outcome("hog").wait_status, 0u);
  EXPECT_LT(most_memory_kib() - before, 64u * 1024);
}

TEST_F(HostileRuns, a_job_that_closes_its_output_runs_to_its_end) {
  schedule("closed", "exec <&- >&- 2>&-\nexit 5\n", root());
  begin();
  const Outcome closed = outcome("closed");
  EXPECT_EQ(closed.wait_status, 5u << 8);
  EXPECT_EQ(closed.output_bytes, 0u);
}

TEST_F(HostileRuns, an_owner_who_is_deleted_in_the_middle_starts_no_further_job) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run jobs of another user";
  const std::string going = open_to_all_.path() + "/going", go = open_to_all_.path() + "/go";
  ASSERT_EQ(
      create_job(world_, "first", "echo > " + going + "\nwhile [ ! -e " + go + " ]; do sleep 0.01; done\n", nobody()),
      0u);
  ASSERT_EQ(create_job(world_, "second", "echo ran\n", nobody()), 0u);
  ASSERT_EQ(create_schedule(world_, "s", {"first", "second"}, daily(12, 30), nobody()), 0u);
  schedule("other", "echo quiet\n", daemon_user());
  begin();
  while (access(going.c_str(), F_OK) != 0)
    world_.loop.turn_without_waiting();
  deleted_user() = "nobody";
  std::ofstream(go).put('\n');
  EXPECT_EQ(outcome("other").wait_status, 0u);
  world_.settle();
  const std::vector<Outcome> run = outcomes("s");
  ASSERT_EQ(run.size(), 2u);
  EXPECT_EQ(run[0].reason, Reason::ended);
  EXPECT_EQ(run[0].wait_status, 0u);
  EXPECT_EQ(run[1].reason, Reason::user);
  EXPECT_THAT(run[1].remark, HasSubstr("there is no user nobody"));
}

}  // namespace
}  // namespace service_test

// A user whom the test has deleted is found no more.
extern "C" int getpwnam_r(const char *name, passwd *record, char *room, size_t size, passwd **found) {
  if (!service_test::deleted_user().empty() && name == service_test::deleted_user()) {
    *found = nullptr;
    return 0;
  }
  static const auto real = reinterpret_cast<decltype(&getpwnam_r)>(dlsym(RTLD_NEXT, "getpwnam_r"));
  return real(name, record, room, size, found);
}
