// SPDX-License-Identifier: Apache-2.0
#include "shell/pager.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace shell {

namespace {

constexpr const char *less_path = "/usr/bin/less";

[[noreturn]] void become_less(int input) {
  dup2(input, STDIN_FILENO);
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  setenv("LESSSECURE", "1", 1);  // less must not let an operator start a shell
  execl(less_path, "less", "-FRX", static_cast<char *>(nullptr));
  _exit(127);
}

}  // namespace

std::optional<Pager> Pager::start() {
  if (isatty(STDOUT_FILENO) == 0 || access(less_path, X_OK) != 0) return std::nullopt;
  std::fflush(stdout);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  const pid_t child = fork();
  if (child == 0) become_less(ends[0]);
  close(ends[0]);
  const int terminal = child < 0 ? -1 : fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
  if (terminal >= 0) dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  if (terminal >= 0) return Pager(child, terminal);
  if (child > 0) waitpid(child, nullptr, 0);
  return std::nullopt;
}

Pager::Pager(Pager &&other) noexcept : child_(other.child_), terminal_(std::exchange(other.terminal_, -1)) {}

Pager::~Pager() {
  if (terminal_ < 0) return;
  std::fflush(stdout);
  clearerr(stdout);  // writing fails if less was left before it had read everything
  dup2(terminal_, STDOUT_FILENO);
  close(terminal_);
  while (waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace shell
