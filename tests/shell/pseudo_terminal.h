// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/ioctl.h>
#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>

namespace shell {

// A person at a terminal of 24 lines, whose other end is a child process.
class PseudoTerminal {
 public:
  explicit PseudoTerminal(const std::function<int()> &child);
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal &) = delete;
  PseudoTerminal &operator=(const PseudoTerminal &) = delete;

  void type(const std::string &text) const;

  // Reads until `text` has come, and takes everything up to its end from what is still to be seen. False: it did not
  // come in time, or the child has ended before.
  bool sees(const std::string &text);

  // The same for a prompt, and then until keys are read as they come.
  bool asks(const std::string &prompt);

  bool waits_without_echo();  // until the terminal's echo is off, within the same time
  int wait_for_end();         // reads to the end; the child's exit status, -1: it did not end in time
  winsize size() const;
  const std::string &everything() const { return everything_; }
  pid_t child() const { return child_; }

 private:
  bool read_more();
  bool comes_to(tcflag_t modes, tcflag_t wanted) const;

  int terminal_ = -1;
  pid_t child_ = -1;
  std::string everything_;
  size_t seen_ = 0;
};

}  // namespace shell
