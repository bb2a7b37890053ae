// SPDX-License-Identifier: Apache-2.0
// Standard input, key by key, where control-C gives up what is being typed and ends nothing else.
#pragma once

#include <signal.h>

#include <optional>
#include <string>

namespace shell {

// While it lives, an interrupt is let in only while a key is awaited, so that none is lost between the question and the
// answer.
class Interrupts {
 public:
  Interrupts();
  ~Interrupts();
  Interrupts(const Interrupts &) = delete;
  Interrupts &operator=(const Interrupts &) = delete;

  static bool take();  // whether there was one since the last time

 private:
  sigset_t mask_;
  struct sigaction action_;
};

bool read_character(wchar_t *character);  // false: interrupted, or the input has ended

std::optional<std::string> ask_without_echo(const char *prompt);  // nullopt: given up

}  // namespace shell
