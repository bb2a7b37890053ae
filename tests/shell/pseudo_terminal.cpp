// SPDX-License-Identifier: Apache-2.0
#include "tests/shell/pseudo_terminal.h"

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace shell {

namespace {

constexpr int patience_ms = 10000;  // for a loaded machine; nothing waits so long when all is well
constexpr int step_ms = 5;

}  // namespace

PseudoTerminal::PseudoTerminal(const std::function<int()> &child) {
  const winsize size{24, 80, 0, 0};
  child_ = forkpty(&terminal_, nullptr, nullptr, &size);
  if (child_ == 0) {
    setenv("TERM", "vt100", 1);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // as it is where a program has begun on a terminal
    std::exit(child());
  }
}

PseudoTerminal::~PseudoTerminal() {
  close(terminal_);
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
}

void PseudoTerminal::type(const std::string &text) const {
  for (size_t at = 0; at < text.size();) {
    const ssize_t length = write(terminal_, text.data() + at, text.size() - at);
    if (length <= 0) return;
    at += static_cast<size_t>(length);
  }
}

bool PseudoTerminal::read_more() {
  pollfd wait{terminal_, POLLIN, 0};
  if (poll(&wait, 1, patience_ms) != 1) return false;
  char buffer[4096];
  const ssize_t length = read(terminal_, buffer, sizeof buffer);
  if (length <= 0) return false;  // EIO: the other end is closed
  everything_.append(buffer, static_cast<size_t>(length));
  return true;
}

bool PseudoTerminal::sees(const std::string &text) {
  while (true) {
    const size_t found = everything_.find(text, seen_);
    if (found != std::string::npos) {
      seen_ = found + text.size();
      return true;
    }
    if (!read_more()) return false;
  }
}

bool PseudoTerminal::comes_to(tcflag_t modes, tcflag_t wanted) const {
  for (int waited = 0; waited < patience_ms; waited += step_ms) {
    termios settings{};
    if (tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & modes) == wanted) return true;
    poll(nullptr, 0, step_ms);  // the other end's settings raise no event
  }
  return false;
}

bool PseudoTerminal::asks(const std::string &prompt) {
  return sees(prompt) && comes_to(ICANON, 0);
}

bool PseudoTerminal::waits_without_echo() {
  return comes_to(ICANON | ECHO, ICANON);
}

winsize PseudoTerminal::size() const {
  winsize now{};
  ioctl(terminal_, TIOCGWINSZ, &now);
  return now;
}

int PseudoTerminal::wait_for_end() {
  while (read_more()) {
  }
  for (int waited = 0; waited < patience_ms; waited += step_ms) {
    int status = 0;
    if (waitpid(child_, &status, WNOHANG) == child_) {
      child_ = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    poll(nullptr, 0, step_ms);
  }
  return -1;
}

}  // namespace shell
