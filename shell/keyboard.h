// SPDX-License-Identifier: Apache-2.0
// Reads standard input key by key. Control-C discards what is being typed, and does not end the program.
#pragma once

#include <signal.h>

#include <optional>
#include <string>

namespace shell {

// During its lifetime SIGINT is blocked except while waiting for a key, so that none is lost between asking for
// interrupts and waiting.
class Interrupts {
 public:
  Interrupts();
  ~Interrupts();
  Interrupts(const Interrupts &) = delete;
  Interrupts &operator=(const Interrupts &) = delete;

  static bool take();  // whether there was an interrupt since the last call

 private:
  sigset_t mask_;
  struct sigaction action_;
};

bool read_character(wchar_t *character);  // false: interrupted, or the input has ended

std::optional<std::string> ask_without_echo(const char *prompt);  // nullopt: interrupted

bool agrees(const char *question);  // false: interrupted, or anything but "y" or "yes" was typed

}  // namespace shell
