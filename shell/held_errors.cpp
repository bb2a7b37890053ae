// SPDX-License-Identifier: Apache-2.0
#include "shell/held_errors.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace shell {

HeldErrors::HeldErrors() {
  std::fflush(stderr);
  held_ = memfd_create("messages", MFD_CLOEXEC);
  if (held_ >= 0) shown_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  if (shown_ >= 0) dup2(held_, STDERR_FILENO);
}

void HeldErrors::restore() {
  if (shown_ < 0) return;
  std::fflush(stderr);
  dup2(shown_, STDERR_FILENO);
  close(shown_);
  shown_ = -1;
}

std::string HeldErrors::take() {
  restore();
  std::string text;
  char buffer[4096];
  for (ssize_t length = 0; (length = pread(held_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;)
    text.append(buffer, static_cast<size_t>(length));
  return text;
}

HeldErrors::~HeldErrors() {
  restore();
  if (held_ >= 0) close(held_);
}

}  // namespace shell
