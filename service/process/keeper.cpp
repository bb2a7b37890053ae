// SPDX-License-Identifier: Apache-2.0
// The keeper of one job: a child subreaper. Everything that the job starts, even in another session, becomes the
// keeper's child when its own parent ends, so that the keeper can kill all of it. The keeper has the service's
// identity, so a job of another user cannot kill it. When the service is killed the keeper first kills the job, then
// ends.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <limits>
#include <string_view>

#include "service/process/job.h"
#include "service/process/pam_session.h"

namespace service {
namespace {

constexpr size_t descendants_max = 4096;  // that one SIGTERM reaches; SIGKILL is repeated until none is left

struct Children {
  pid_t pids[descendants_max];
  size_t count = 0;
};
Children family;

char *put(std::string_view text, char *at) {
  return std::copy(text.begin(), text.end(), at);
}

// Adds the children of one process, from /proc. If a child ends while the list is read, another may be missing in it
// until the next reading.
void add_children(pid_t parent) {
  constexpr int digits = std::numeric_limits<pid_t>::digits10 + 1;
  char path[64] = {}, *end = put("/proc/", path);
  end = std::to_chars(end, end + digits, parent).ptr;
  end = put("/task/", end);
  end = std::to_chars(end, end + digits, parent).ptr;
  put("/children", end);
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  char text[4096];
  pid_t number = 0;
  for (ssize_t size; (size = read(file, text, sizeof text)) > 0;)
    for (ssize_t i = 0; i < size; i++) {
      if (text[i] >= '0' && text[i] <= '9') {
        number = number * 10 + (text[i] - '0');
        continue;
      }
      if (number > 0 && family.count < descendants_max) family.pids[family.count++] = number;
      number = 0;
    }
  close(file);
}

void signal_children(int number) {
  family.count = 0;
  add_children(getpid());
  for (size_t i = 0; i < family.count; i++)
    kill(family.pids[i], number);
}

void signal_descendants(int number) {
  family.count = 0;
  add_children(getpid());
  for (size_t i = 0; i < family.count; i++)
    add_children(family.pids[i]);
  for (size_t i = 0; i < family.count; i++)
    kill(family.pids[i], number);
}

// Asked first: mostly a job leaves nothing, and then /proc need not be read.
bool has_children() {
  siginfo_t unused = {};
  return waitid(P_ALL, 0, &unused, WEXITED | WNOHANG | WNOWAIT | __WALL) == 0;
}

// Grandchildren become the keeper's children only when their parent has ended: so this is repeated until no child is
// left.
uint32_t end_children() {
  uint32_t ended = 0;
  while (has_children()) {
    signal_children(SIGKILL);
    pid_t gone = waitpid(-1, nullptr, __WALL);
    for (; gone > 0; gone = waitpid(-1, nullptr, WNOHANG | __WALL))
      ended++;
  }
  return ended;
}

// Collects the children that have ended. True: the job is among them.
bool collect(pid_t job, int *wait_status) {
  int status = 0;
  for (pid_t gone; (gone = waitpid(-1, &status, WNOHANG | __WALL)) > 0;)
    if (gone == job) {
      *wait_status = status;
      return true;
    }
  return false;
}

// Carries out an order of the service. False: the service has ended.
bool obey(int channel) {
  KeeperOrder order = {};
  const ssize_t size = recv(channel, &order, sizeof order, MSG_DONTWAIT);
  if (size < 0) return errno == EAGAIN || errno == EINTR;
  if (size != sizeof order) return false;
  signal_descendants(order.signal);
  return true;
}

// Waits for the job's end and returns its wait status; SIGKILL if the service has ended before it.
int wait_for_end(int channel, int signals, pid_t job) {
  int wait_status = SIGKILL;
  while (true) {
    if (collect(job, &wait_status)) return wait_status;
    pollfd watched[] = {{signals, POLLIN, 0}, {channel, POLLIN, 0}};
    if (poll(watched, 2, -1) < 0) continue;
    signalfd_siginfo news;
    if (watched[0].revents != 0) (void)!read(signals, &news, sizeof news);
    if (watched[1].revents != 0 && !obey(channel)) return wait_status;
  }
}

int watch_children() {
  // No other signal is blocked, as PAM's modules may use SIGALRM.
  sigset_t held;
  sigemptyset(&held);
  for (const int number : {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGPIPE})
    sigaddset(&held, number);
  sigprocmask(SIG_SETMASK, &held, nullptr);
  sigset_t child;
  sigemptyset(&child);
  sigaddset(&child, SIGCHLD);
  return signalfd(-1, &child, SFD_CLOEXEC | SFD_NONBLOCK);
}

// A module's program may have made a session for itself, so that the keeper's process group would not reach it.
void give_up_modules(int) {
  end_children();
  _exit(1);
}

void leave_streams() {
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    dup2(nowhere, standard);
}

// The keeper must not hold the starter's channel open, nor the job's output, whose end tells the service that the job
// has closed it.
void leave_only(int channel, int signals) {
  close(starter_channel);
  const int low = channel < signals ? channel : signals, high = channel < signals ? signals : channel;
  if (low > starter_lock + 1) syscall(SYS_close_range, starter_lock + 1, low - 1, 0);
  if (high > low + 1) syscall(SYS_close_range, low + 1, high - 1, 0);
  syscall(SYS_close_range, high + 1, ~0u, 0);
}

[[noreturn]] void end_keeper(const Job &job, Stage stage) {
  report_failure(job.channel, stage, errno);
  _exit(1);
}

}  // namespace

void keep_job(Job &job, pid_t service) {
  setsid();
  const int signals = watch_children();
  if (signals < 0 || prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) end_keeper(job, Stage::process);
  if (getppid() != service) _exit(1);
  leave_streams();
  PamSession session;
  if (job.launch->pam != 0) {
    signal(give_up_signal, give_up_modules);
    if (!session.open(job)) _exit(1);
    session.add_environment(&job);
  }
  const pid_t self = getpid();
  const pid_t child = fork_job(job, false);
  if (child < 0) end_keeper(job, Stage::process);
  if (child == 0) become_job(job, self);
  const int channel = job.channel;
  leave_only(channel, signals);
  Report end = {};
  end.kind = Report::Kind::begun;
  if (job.launch->pam != 0) report(channel, end);  // otherwise nobody waits for it
  end.wait_status = wait_for_end(channel, signals, child);
  const bool leave = job.launch->leave_daemons != 0;
  if (!leave) end.killed = end_children();
  session.close();
  if (!leave) end_children();  // PAM's session modules may have started programs
  end.kind = Report::Kind::ended;
  report(channel, end);
  _exit(0);
}

}  // namespace service
