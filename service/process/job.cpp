// SPDX-License-Identifier: Apache-2.0
#include "service/process/job.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace service {
namespace {

constexpr int not_begun = 1;  // the exit status of a process that could not start the job and has reported why

[[noreturn]] void give_up(const Job &job, Stage stage) {
  report_failure(job.channel, stage, errno);
  _exit(not_begun);
}

void arrange_descriptors(const Job &job) {
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (null < 0 || dup2(null, STDIN_FILENO) < 0 || dup2(job.output, STDOUT_FILENO) < 0 ||
      dup2(job.output, STDERR_FILENO) < 0 || syscall(SYS_close_range, STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC) != 0)
    give_up(job, Stage::descriptors);
}

bool limit(int resource, rlim_t most) {
  const rlimit both = {most, most};
  return setrlimit(static_cast<__rlimit_resource>(resource), &both) == 0;
}

// The service raises its own limit for its clients; programs that use select() break with more than the usual one.
bool reset_file_limit() {
  constexpr rlim_t usual = 1024;
  rlimit files = {};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur <= usual) return true;
  files.rlim_cur = usual;
  return setrlimit(RLIMIT_NOFILE, &files) == 0;
}

void set_limits(const Job &job) {
  const Launch &launch = *job.launch;
  if (!reset_file_limit() || (launch.data_limit != 0 && !limit(RLIMIT_DATA, launch.data_limit)) ||
      (launch.task_limit != 0 && !limit(RLIMIT_NPROC, launch.task_limit)) ||
      (launch.nice != 0 && setpriority(PRIO_PROCESS, 0, launch.nice) != 0))
    give_up(job, Stage::limits);
}

bool is_only(uid_t user, gid_t group) {
  uid_t real = 0, effective = 0, saved = 0;
  gid_t real_group = 0, effective_group = 0, saved_group = 0;
  if (getresuid(&real, &effective, &saved) != 0 || getresgid(&real_group, &effective_group, &saved_group) != 0)
    return false;
  return real == user && effective == user && saved == user && real_group == group && effective_group == group &&
         saved_group == group;
}

void become_owner(const Job &job) {
  const Launch &launch = *job.launch;
  errno = 0;
  if (setgroups(launch.group_count, job.groups) != 0 || setresgid(launch.gid, launch.gid, launch.gid) != 0 ||
      setresuid(launch.uid, launch.uid, launch.uid) != 0 || !is_only(launch.uid, launch.gid))
    give_up(job, Stage::identity);
  if (launch.uid == 0 || setuid(0) != 0) return;
  errno = EPERM;
  give_up(job, Stage::irrevocable);
}

// Has the kernel kill this process when its parent (service or keeper) ends. Set after the change of identity, which
// clears it; the parent may have ended before.
void end_with(const Job &job, pid_t parent) {
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent) return;
  errno = ESRCH;
  give_up(job, Stage::orphaned);
}

void go_home(const Job &job) {
  if (job.home[0] == '/' && chdir(job.home) == 0) return;
  static char root[] = "PWD=/";
  if (job.working_directory != nullptr) *job.working_directory = root;
  if (chdir("/") != 0) give_up(job, Stage::directory);
}

// For a process that was made ahead of its due time. Whoever made it closes the gate if it is not needed.
void wait_at_gate(const Job &job) {
  char go = 0;
  ssize_t size;
  do
    size = read(job.gate, &go, sizeof go);
  while (size < 0 && errno == EINTR);
  if (size != sizeof go) _exit(not_begun);
}

}  // namespace

void report(int channel, const Report &what) {
  while (send(channel, &what, sizeof what, MSG_NOSIGNAL) < 0 && errno == EINTR) {
  }
}

void report_failure(int channel, Stage stage, int error) {
  Report failure = {};
  failure.kind = Report::Kind::failed;
  failure.stage = stage;
  failure.error = error;
  report(channel, failure);
}

void become_job(const Job &job, pid_t parent) {
  setsid();
  arrange_descriptors(job);
  set_limits(job);
  umask(077);
  if (job.gate >= 0) wait_at_gate(job);  // still with the service's identity: the owner cannot reach the process
  if (job.launch->change_user != 0) become_owner(job);
  end_with(job, parent);
  go_home(job);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  execve(job.arguments[0], job.arguments.data(), job.environment.data());
  give_up(job, Stage::interpreter);
}

pid_t fork_job(const Job &job, bool sibling) {
  clone_args how = {};
  how.flags = sibling ? CLONE_PARENT : 0;
  how.exit_signal = sibling ? 0 : SIGCHLD;  // CLONE_PARENT demands 0: the child gets its caller's
  if (job.group >= 0) {
    how.flags |= CLONE_INTO_CGROUP;
    how.cgroup = static_cast<__u64>(job.group);
  }
  return static_cast<pid_t>(syscall(SYS_clone3, &how, sizeof how));
}

}  // namespace service
