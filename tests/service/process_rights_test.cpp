// SPDX-License-Identifier: Apache-2.0
// Whose rights and whose limits a job has.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <linux/securebits.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "tests/service/process_fixture.h"

namespace {
bool has_more_groups = false;
}

// The groups of users as some machine may have them.
extern "C" int getgrouplist(const char *user, gid_t group, gid_t *groups, int *count) {
  static const auto real = reinterpret_cast<decltype(&getgrouplist)>(dlsym(RTLD_NEXT, "getgrouplist"));
  if (!has_more_groups) return real(user, group, groups, count);
  const gid_t all[] = {group, 4242, 4243};
  std::copy(std::begin(all), std::end(all), groups);
  return *count = 3;
}

namespace service_test {
namespace {

using service::Reason;
using ::testing::HasSubstr;

class JobOfAnotherUser : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
  }
  Starting starting;
};

TEST_F(JobOfAnotherUser, it_has_its_owners_identity_with_no_way_back) {
  EXPECT_EQ(starting
                .run(task_of("nobody",
                             "id -u; id -g; id -G; grep -E '^(Uid|Gid|CapEff)' /proc/$$/status | tr '\\t' ' '; pwd\n"))
                .output,
            "65534\n65534\n65534\nUid: 65534 65534 65534 65534\nGid: 65534 65534 65534 65534\n"
            "CapEff: 0000000000000000\n/\n");
}

// In a process of its own, which has lost the right to become another user for good.
TEST_F(JobOfAnotherUser, it_does_not_run_where_the_kernel_refuses_its_identity) {
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_CAPBSET_DROP, CAP_SETUID, 0, 0, 0);
    const JobProcess::Result result = Starting().run(task_of("nobody", "echo ran as $(id -u)\n"));
    _exit(result.output.empty() && result.reason == Reason::user ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// So it is where the kernel was told to leave a process its rights when it becomes another user.
TEST_F(JobOfAnotherUser, it_does_not_run_where_it_could_become_root_again) {
  const pid_t child = fork();
  if (child == 0) {
    if (prctl(PR_SET_SECUREBITS, SECBIT_NO_SETUID_FIXUP) != 0) _exit(2);
    const JobProcess::Result result = Starting().run(task_of("nobody", "echo ran\n"));
    const bool told =
        result.remark == "cannot start the job: user nobody could become root again: Operation not permitted";
    _exit(told && result.output.empty() && result.reason == Reason::user ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "needs the right to change what rights are left";
  EXPECT_EQ(status, 0);
}

TEST_F(JobOfAnotherUser, none_of_the_services_groups_stay_with_it) {
  const gid_t own[] = {4, 27, 100};
  gid_t before[256];
  const int count = getgroups(256, before);
  ASSERT_EQ(setgroups(3, own), 0);
  for (const bool daemons : {false, true}) {
    service::Task job = task_of("nobody", "id -G\n");
    job.leave_daemons = daemons;
    Starting with_these;
    EXPECT_EQ(with_these.run(job).output, "65534\n");
  }
  setgroups(static_cast<size_t>(count), before);
}

TEST_F(JobOfAnotherUser, all_of_its_owners_groups_are_its_own) {
  has_more_groups = true;
  EXPECT_EQ(starting.run(task_of("nobody", "id -G\n")).output, "65534 4242 4243\n");
  has_more_groups = false;
}

TEST_F(JobOfAnotherUser, its_text_is_its_owners_alone) {
  EXPECT_EQ(starting.run(task_of("daemon", "stat -c '%a %U %G' $0\n")).output, "400 daemon daemon\n");
}

TEST_F(JobOfAnotherUser, it_cannot_end_the_keeper) {
  const JobProcess::Result result = starting.run(task_of("nobody", "kill -9 $PPID 2>/dev/null || echo refused\n"));
  EXPECT_EQ(result.output, "refused\n");
  EXPECT_EQ(result.reason, Reason::ended);
}

TEST_F(JobOfAnotherUser, it_cannot_name_files_beside_its_text) {
  EXPECT_EQ(
      starting.run(task_of("nobody", "ls ${0%/*} >/dev/null 2>&1 || echo closed; echo > ${0%/*}/x || echo refused\n"))
          .output.substr(0, 7),
      "closed\n");
}

// The kernel forgets whose end a process follows when it becomes another user.
TEST_F(JobOfAnotherUser, it_ends_with_its_keeper) {
  const std::string keepers = starting.path() + "/keeper", jobs = starting.path() + "/pid";
  const auto process = starting.start(
      task_of("nobody", "echo $PPID > " + keepers + "; echo $$ > " + jobs + "; trap '' TERM HUP; exec sleep 1000\n"));
  const pid_t job = read_number(jobs), keeper = read_number(keepers);
  ASSERT_GT(job, 0);
  ASSERT_GT(keeper, 0);
  kill(keeper, SIGKILL);
  EXPECT_TRUE(comes_true([&] { return has_ended(job); }));
}

// The shell says that it cannot fork.
TEST_F(JobOfAnotherUser, a_limit_of_tasks_stops_a_fork_bomb) {
  service::Task bomb = task_of("games", "i=0; while test $i -lt 50; do sleep 1000 & i=$((i+1)); done; echo all\n");
  bomb.limits.tasks = 10;
  const JobProcess::Result result = starting.run(bomb);
  EXPECT_THAT(result.output, HasSubstr("fork"));
  EXPECT_EQ(result.output.find("all"), std::string::npos);
  EXPECT_LE(result.killed, 10u);
}

TEST(JobLimits, a_limit_of_memory_stops_a_hog) {
  service::Task hog = task(
      "head -c 200000000 /dev/zero | sort -S 190M > /dev/null; x=$(head -c 100000000 /dev/zero | tr '\\0' x); echo "
      "${#x}\n");
  hog.limits.memory_bytes = service::least_memory_bytes;
  const JobProcess::Result result = Starting().run(hog);
  EXPECT_EQ(result.output.find("100000000"), std::string::npos);
}

TEST(JobLimits, the_nice_value_is_the_jobs) {
  service::Task job = task("nice\n");
  job.limits.nice = 7;
  EXPECT_EQ(Starting().run(job).output, "7\n");
}

TEST_F(JobOfAnotherUser, a_negative_nice_value_needs_no_right_of_the_owners) {
  service::Task job = task_of("nobody", "nice\n");
  job.limits.nice = -3;
  EXPECT_EQ(starting.run(job).output, "-3\n");
}

}  // namespace
}  // namespace service_test
