// SPDX-License-Identifier: Apache-2.0
#include "shell/keyboard.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cwchar>

#include "shell/context.h"

namespace shell {

namespace {

volatile sig_atomic_t interrupted = 0;

void on_interrupt(int) {
  interrupted = 1;
}

bool read_byte(char *byte) {
  sigset_t open;
  sigprocmask(SIG_BLOCK, nullptr, &open);
  sigdelset(&open, SIGINT);
  pollfd input{STDIN_FILENO, POLLIN, 0};
  while (ppoll(&input, 1, nullptr, &open) < 0) {
    if (errno != EINTR || interrupted != 0) return false;
  }
  return read(STDIN_FILENO, byte, 1) == 1;
}

// Switches off the echo of standard input during its lifetime.
class Silence {
 public:
  Silence() : changed_(tcgetattr(STDIN_FILENO, &before_) == 0) {
    termios silent = before_;
    silent.c_lflag = (silent.c_lflag | ICANON | ECHONL) & ~static_cast<tcflag_t>(ECHO);
    silent.c_iflag |= ICRNL;
    if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~Silence() {
    if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
  }
  Silence(const Silence &) = delete;
  Silence &operator=(const Silence &) = delete;

 private:
  termios before_{};
  bool changed_;
};

}  // namespace

Interrupts::Interrupts() {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  sigprocmask(SIG_BLOCK, &interrupt, &mask_);
  struct sigaction action {};
  action.sa_handler = on_interrupt;
  sigaction(SIGINT, &action, &action_);
}

Interrupts::~Interrupts() {
  sigaction(SIGINT, &action_, nullptr);
  sigprocmask(SIG_SETMASK, &mask_, nullptr);
}

bool Interrupts::take() {
  const bool was = interrupted != 0;
  interrupted = 0;
  return was;
}

bool read_character(wchar_t *character) {
  mbstate_t state{};
  char byte = 0;
  while (read_byte(&byte)) {
    const size_t taken = std::mbrtowc(character, &byte, 1, &state);
    if (taken <= 1) return true;
    if (taken == static_cast<size_t>(-1)) state = {};  // invalid in this locale: skipped
  }
  return false;
}

bool agrees(const char *question) {
  const Interrupts interrupts;
  std::fputs(question, stdout);
  std::fflush(stdout);
  std::string answer;
  char byte = 0;
  while (read_byte(&byte)) {
    if (byte == '\n') return answer == "y" || answer == "yes";
    answer.push_back(byte);
  }
  Interrupts::take();
  std::fputc('\n', stdout);
  return false;
}

std::optional<std::string> ask_without_echo(const char *prompt) {
  const Interrupts interrupts;  // first, so that an interrupt cannot leave the echo off
  const Silence silence;
  std::fputs(prompt, stderr);
  std::string secret;
  char byte = 0;
  while (read_byte(&byte)) {  // not by stdio, in whose buffer the password would stay
    if (byte == '\n') return secret;
    secret.push_back(byte);
  }
  wipe(&secret);
  Interrupts::take();
  return std::nullopt;
}

}  // namespace shell
