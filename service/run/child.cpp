// SPDX-License-Identifier: Apache-2.0
#include "service/run/child.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include "host/files/whole_file.h"
#include "service/calendar/service_zone.h"
#include "service/run/outcome.h"

namespace service {
namespace {

constexpr int script_descriptor = 3;
constexpr char script_path[] = "/proc/self/fd/3";
constexpr int out_of_the_way = 10;  // above every descriptor that the child gives its own meaning

[[noreturn]] void give_up(Reason reason, const std::string &what) {
  const std::string line = "schedd: " + what + ": " + std::strerror(errno) + "\n";
  (void)!write(STDOUT_FILENO, line.data(), line.size());
  _exit(static_cast<int>(exit_code(reason)));
}

void arrange_descriptors(int script, int output) {
  const int null = open("/dev/null", O_RDONLY);
  if (null < 0 || dup2(null, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0 || dup2(output, STDERR_FILENO) < 0 ||
      dup2(script, script_descriptor) < 0)
    _exit(static_cast<int>(exit_code(Reason::not_started)));
  if (syscall(SYS_close_range, script_descriptor + 1, ~0u, 0) != 0) give_up(Reason::not_started, "descriptors");
}

void reset_signals() {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; number++)
    sigaction(number, &action, nullptr);  // some refuse: harmless
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// The service raises its own for its clients; programs that use select() break with more.
void reset_file_limit() {
  constexpr rlim_t usual = 1024;
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= usual) return;
  limit.rlim_cur = usual;
  setrlimit(RLIMIT_NOFILE, &limit);
}

bool is_only(const host::User &user) {
  uid_t real = 0, effective = 0, saved = 0;
  gid_t real_group = 0, effective_group = 0, saved_group = 0;
  if (getresuid(&real, &effective, &saved) != 0 || getresgid(&real_group, &effective_group, &saved_group) != 0)
    return false;
  return real == user.uid && effective == user.uid && saved == user.uid && real_group == user.gid &&
         effective_group == user.gid && saved_group == user.gid;
}

void become(const host::User &user) {
  if (initgroups(user.name.c_str(), user.gid) != 0 || setresgid(user.gid, user.gid, user.gid) != 0 ||
      setresuid(user.uid, user.uid, user.uid) != 0 || !is_only(user))
    give_up(Reason::user, "cannot become user " + user.name);
  if (user.uid == 0 || setuid(0) != 0) return;
  errno = EPERM;
  give_up(Reason::user, "user " + user.name + " could become root again");
}

// The service records a run that it did not live to see the end of as interrupted: then it must be so.
void end_with(pid_t service) {
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != service)
    _exit(static_cast<int>(exit_code(Reason::interrupted)));
}

[[noreturn]] void execute(const Task &task) {
  std::array<std::string, 10> variables = {"HOME=" + task.owner.home,
                                           "USER=" + task.owner.name,
                                           "LOGNAME=" + task.owner.name,
                                           "SHELL=" + task.owner.shell,
                                           "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                           "LANG=C.UTF-8",
                                           "PWD=" + task.owner.home,
                                           "SCHEDULE=" + task.schedule,
                                           "JOB=" + task.job,
                                           "TZ=" + service_zone().identifier()};
  if (task.owner.home.empty() || chdir(task.owner.home.c_str()) != 0) {
    variables[6] = "PWD=/";
    if (chdir("/") != 0) give_up(Reason::not_started, "/");
  }
  std::array<char *, variables.size() + 1> environment = {};
  for (size_t i = 0; i < variables.size(); i++)
    environment[i] = variables[i].data();
  std::string interpreter = task.interpreter, script = script_path;
  char *arguments[] = {interpreter.data(), script.data(), nullptr};
  execve(task.interpreter.c_str(), arguments, environment.data());
  give_up(Reason::not_started, task.interpreter);
}

[[noreturn]] void run_child(const Task &task, int script, int output, pid_t service) {
  setsid();
  arrange_descriptors(script, output);
  reset_signals();
  reset_file_limit();
  umask(077);
  if (task.change_user) become(task.owner);
  end_with(service);  // a change of identity would have cleared it
  execute(task);
}

host::FileDescriptor out_of_reach(int fd) {
  const host::FileDescriptor original(fd);
  return host::FileDescriptor(fd < 0 ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, out_of_the_way));
}

// A file in memory that nobody can change any more, whoever opens it.
host::FileDescriptor make_script(const std::string &text) {
  host::FileDescriptor file = out_of_reach(memfd_create("job", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  const std::span<const char> bytes(text);
  const bool sealed = file && host::write_at(file.get(), std::as_bytes(bytes), 0) && fchmod(file.get(), 0444) == 0 &&
                      fcntl(file.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL) == 0;
  return sealed ? std::move(file) : host::FileDescriptor();
}

std::nullopt_t fail(const char *what, std::string *error) {
  *error = std::string("cannot start the job: ") + what + ": " + std::strerror(errno);
  return std::nullopt;
}

}  // namespace

std::optional<Child> start_child(const Task &task, std::string *error) {
  const host::FileDescriptor script = make_script(task.text);
  if (!script) return fail("its text", error);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return fail("its output", error);
  Child child;
  child.output = host::FileDescriptor(ends[0]);
  const host::FileDescriptor output = out_of_reach(ends[1]);
  if (!output || fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) return fail("its output", error);
  const pid_t service = getpid();
  child.pid = fork();
  if (child.pid < 0) return fail("its process", error);
  if (child.pid == 0) run_child(task, script.get(), output.get(), service);
  child.pidfd = host::FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, child.pid, 0)));
  if (!child.pidfd) {
    const int number = errno;
    kill(child.pid, SIGKILL);
    waitid(P_PID, static_cast<id_t>(child.pid), nullptr, WEXITED);
    errno = number;
    return fail("its process", error);
  }
  return child;
}

}  // namespace service
