// SPDX-License-Identifier: Apache-2.0
// A traced child computes timers; the parent counts the system calls between its two marks.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/platform/platform.h"
#include "tests/time/moments.h"

namespace {

using platform_test::fake;

constexpr int64_t mark = SYS_getppid;

void compute_every_type() {
  const time_t now = time(nullptr);
  const sch_tminfo records[] = {time_test::daily(10, 30), time_test::weekly(3, 10, 30), time_test::monthly(31, 10, 30),
                                time_test::oneshot(2037, 1, 1, 0, 0), time_test::periodic(0, 1, 0, now)};
  sch_timeval interval;
  time_t next;
  for (int round = 0; round < 10; ++round)
    for (const sch_tminfo &record : records)
      sch_compute_timer_interval(&record, &interval, &next);
}

[[noreturn]] void traced_child() {
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  raise(SIGSTOP);
  compute_every_type();  // loads the zone
  syscall(SYS_getppid);
  compute_every_type();
  syscall(SYS_getppid);
  _exit(0);
}

// The number of the system call that the child enters, or -1 at its end.
int64_t next_call(pid_t child) {
  for (;;) {
    int status = 0;
    if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) return -1;
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return -1;
    __ptrace_syscall_info info = {};
    ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) return static_cast<int64_t>(info.entry.nr);
  }
}

bool reads_clock(int64_t call) {
  return call == SYS_time || call == SYS_clock_gettime;
}

class TimerSystemCalls : public platform_test::PlatformTest {};

TEST_F(TimerSystemCalls, none_but_the_clock_s_once_the_zone_is_loaded) {
  platform_test::set_zone("Europe/Berlin");
  fake.history_allowed = fake.buginf_allowed = fake.record_calls = false;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) traced_child();
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (!WIFSTOPPED(status)) GTEST_SKIP() << "processes cannot be traced here";
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD);
  int marks = 0;
  for (int64_t call = next_call(child); call >= 0; call = next_call(child)) {
    if (call == mark) {
      ++marks;
    } else if (marks == 1) {
      EXPECT_TRUE(reads_clock(call)) << "system call " << call;
    }
  }
  EXPECT_EQ(marks, 2);
}

}  // namespace
